// MP3 files built byte by byte for tests, benchmarks and fuzz seeds: ID3v2 tags and their frames,
// synchronised lyric frames, MPEG frame headers with a Xing header, ID3v1 tags and Lyrics3 blocks.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

namespace velvora::testing::mp3 {

inline std::string bytes(std::initializer_list<int> values) {
    std::string out;
    for (int v : values) out += static_cast<char>(v);
    return out;
}

inline std::string be32(std::uint32_t v) {
    return bytes({static_cast<int>(v >> 24) & 255, static_cast<int>(v >> 16) & 255,
                  static_cast<int>(v >> 8) & 255, static_cast<int>(v) & 255});
}

// Seven bits in each byte, as an ID3v2 tag size is written.
inline std::string synchsafe(std::uint32_t v) {
    return bytes({static_cast<int>(v >> 21) & 127, static_cast<int>(v >> 14) & 127,
                  static_cast<int>(v >> 7) & 127, static_cast<int>(v) & 127});
}

// A frame with its size written plainly (as ID3v2.3 has it) unless `sizeField` is given.
inline std::string frame(const std::string& id, const std::string& data, int flags = 0,
                         const std::string& sizeField = {}) {
    const std::string size = sizeField.empty() ? be32(static_cast<std::uint32_t>(data.size())) : sizeField;
    return id + size + bytes({(flags >> 8) & 255, flags & 255}) + data;
}

// A text frame in ISO-8859-1: the encoding byte 0, then the text.
inline std::string textFrame(const std::string& id, const std::string& text) {
    return frame(id, std::string(1, '\0') + text);
}

// The tag: header (version `major`, `flags`), the frames, `padding` zero bytes. The size field is
// the true size unless `declaredSize` is given.
inline std::string tag(const std::string& frames, int flags = 0, int major = 3, std::size_t padding = 0,
                       long long declaredSize = -1) {
    const std::size_t size = frames.size() + padding;
    return "ID3" + bytes({major, 0, flags}) +
           synchsafe(
               static_cast<std::uint32_t>(declaredSize >= 0 ? declaredSize : static_cast<long long>(size))) +
           frames + std::string(padding, '\0');
}

struct SyltEntry {
    std::string text;
    std::uint32_t time;
};

// UTF-16 with a little-endian byte order mark, from ASCII text.
inline std::string utf16(const std::string& ascii) {
    std::string out = bytes({0xFF, 0xFE});
    for (char c : ascii) out += std::string(1, c) + '\0';
    return out;
}

// A SYLT frame's data: encoding, "eng", milliseconds, lyrics, the descriptor, then each entry's
// text, its terminator and its time stamp.
inline std::string syltData(const std::vector<SyltEntry>& entries, const std::string& descriptor = "words",
                            bool wide = false) {
    const std::string zero = wide ? std::string(2, '\0') : std::string(1, '\0');
    auto text = [&](const std::string& s) { return wide ? utf16(s) : s; };
    std::string d = bytes({wide ? 1 : 0}) + "eng" + bytes({2, 1}) + text(descriptor) + zero;
    for (const SyltEntry& e : entries) d += text(e.text) + zero + be32(e.time);
    return d;
}

inline std::string syltFrame(const std::vector<SyltEntry>& entries, bool wide = false) {
    return frame("SYLT", syltData(entries, "words", wide));
}

// One MPEG-1 layer III frame, 128 kbit/s, 44.1 kHz, stereo, no CRC, 417 bytes; with a Xing
// header naming `xingFrames` frames when that is not negative.
inline std::string mpegFrame(long long xingFrames = -1, int b1 = 0xFB, int b2 = 0x90, int b3 = 0x00) {
    std::string f = bytes({0xFF, b1, b2, b3});
    f.resize(417, '\0');
    if (xingFrames >= 0) f.replace(36, 12, "Xing" + be32(1) + be32(static_cast<std::uint32_t>(xingFrames)));
    return f;
}

inline std::string fixed(const std::string& text, std::size_t width) {
    std::string out = text.substr(0, width);
    out.resize(width, '\0');
    return out;
}

inline std::string id3v1(const std::string& title, const std::string& artist, const std::string& album = "",
                         const std::string& year = "", const std::string& comment = "", int genre = 0) {
    return "TAG" + fixed(title, 30) + fixed(artist, 30) + fixed(album, 30) + fixed(year, 4) +
           fixed(comment, 30) + bytes({genre});
}

// A Lyrics3 v2 block: LYRICSBEGIN, the fields (name, five-digit length, text), the six-digit size,
// LYRICS200. `sizeField` replaces the true size when given.
inline std::string lyrics3(const std::vector<std::pair<std::string, std::string>>& fields,
                           const std::string& sizeField = {}) {
    std::string body = "LYRICSBEGIN";
    for (const auto& [name, text] : fields) {
        std::string length = std::to_string(text.size());
        body += name + std::string(5 - length.size(), '0') + length + text;
    }
    std::string size = std::to_string(body.size());
    size = std::string(6 - size.size(), '0') + size;
    return body + (sizeField.empty() ? size : sizeField) + "LYRICS200";
}

inline void write(const std::filesystem::path& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

} // namespace velvora::testing::mp3
