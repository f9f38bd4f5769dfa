// WAV files the encoding tests write byte by byte, so that every header field, chunk and cut can
// be chosen; a folder of their own for each test.
#pragma once

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

namespace enctest {

using Bytes = std::vector<std::uint8_t>;

inline void put16(Bytes& b, unsigned v) {
    b.push_back(std::uint8_t(v));
    b.push_back(std::uint8_t(v >> 8));
}
inline void put32(Bytes& b, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) b.push_back(std::uint8_t(v >> (8 * i)));
}
inline void putId(Bytes& b, const char* id) {
    for (int i = 0; i < 4; ++i) b.push_back(static_cast<std::uint8_t>(id[i]));
}
inline void putChunk(Bytes& b, const char* id, const Bytes& body,
                     std::optional<std::uint32_t> statedSize = {}) {
    putId(b, id);
    put32(b, statedSize.value_or(static_cast<std::uint32_t>(body.size())));
    b.insert(b.end(), body.begin(), body.end());
    if (body.size() & 1) b.push_back(0);
}

struct Format {
    unsigned tag = 1;
    unsigned channels = 2;
    std::uint32_t rate = 44100;
    unsigned bits = 16;
};

inline Bytes fmtBody(const Format& f) {
    Bytes b;
    const unsigned align = f.channels * ((f.bits + 7) / 8);
    put16(b, f.tag);
    put16(b, f.channels);
    put32(b, f.rate);
    put32(b, f.rate * align);
    put16(b, align);
    put16(b, f.bits);
    return b;
}

// A RIFF/WAVE file of the given chunks, its RIFF size stated truly.
inline Bytes riff(const Bytes& chunks) {
    Bytes b;
    putId(b, "RIFF");
    put32(b, static_cast<std::uint32_t>(chunks.size() + 4));
    putId(b, "WAVE");
    b.insert(b.end(), chunks.begin(), chunks.end());
    return b;
}

inline Bytes wav(const Format& f, const Bytes& data) {
    Bytes chunks;
    putChunk(chunks, "fmt ", fmtBody(f));
    putChunk(chunks, "data", data);
    return riff(chunks);
}

inline Bytes samplesAsBytes(const std::vector<std::int16_t>& s) {
    Bytes b;
    for (std::int16_t v : s) put16(b, static_cast<std::uint16_t>(v));
    return b;
}

// Stereo frames that differ in every frame and channel.
inline std::vector<std::int16_t> pattern(std::size_t frames) {
    std::vector<std::int16_t> out(frames * 2);
    std::uint32_t x = 2463534242u;
    for (auto& s : out) {
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
        s = static_cast<std::int16_t>(x & 0xffff);
    }
    return out;
}

// Left a sum of 440 and 1320 Hz, right of 660 and 2100 Hz, so that a swap or shift shows.
inline std::vector<std::int16_t> twoTone(std::size_t frames, double rate = 44100) {
    std::vector<std::int16_t> out(frames * 2);
    for (std::size_t i = 0; i < frames; ++i) {
        const double t = double(i) / rate;
        const double l = 0.35 * std::sin(2 * M_PI * 440 * t) + 0.25 * std::sin(2 * M_PI * 1320 * t);
        const double r = 0.35 * std::sin(2 * M_PI * 660 * t) + 0.25 * std::sin(2 * M_PI * 2100 * t);
        out[2 * i] = static_cast<std::int16_t>(std::lround(l * 32767));
        out[2 * i + 1] = static_cast<std::int16_t>(std::lround(r * 32767));
    }
    return out;
}

inline void writeFile(const std::filesystem::path& p, const Bytes& b) {
    std::ofstream out(p, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(b.data()), static_cast<std::streamsize>(b.size()));
}

inline Bytes readFile(const std::filesystem::path& p) {
    std::ifstream in(p, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A stereo 16-bit WAV of the samples at `path`.
inline std::string writeStereoWav(const std::filesystem::path& p, const std::vector<std::int16_t>& samples,
                                  std::uint32_t rate = 44100) {
    writeFile(p, wav(Format{1, 2, rate, 16}, samplesAsBytes(samples)));
    return p.string();
}

class Folder {
  public:
    Folder() {
        static int n = 0;
        path_ = std::filesystem::temp_directory_path() /
                ("velvora_encoding_" + std::to_string(::getpid()) + "_" + std::to_string(n++));
        std::filesystem::create_directories(path_);
    }
    ~Folder() {
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }
    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

// The names of the files in a folder.
inline std::vector<std::string> filesIn(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const auto& e : std::filesystem::directory_iterator(folder))
        names.push_back(e.path().filename().string());
    return names;
}

} // namespace enctest
