#include "tags/mpeg_info.h"

#include "core/vb_text.h"

#include <array>
#include <cmath>
#include <cstring>
#include <limits>

namespace velvora::tags {

namespace {

constexpr long long kId3v1Size = 128;
constexpr std::size_t kHeadSize = 4096;

// An ID3v1 text: zero characters removed, decoded, trimmed.
std::string v1Field(const std::uint8_t* bytes, std::size_t n) {
    std::string kept;
    for (std::size_t i = 0; i < n; ++i)
        if (bytes[i] != 0) kept += static_cast<char>(bytes[i]);
    return vb::Trim(vb::decodeText(kept));
}

// Kilobits a second for the high four bits of the third header byte, one table for every layer;
// `v` is 2 for MPEG 1.0 and 1 for MPEG 2.0.
int bitRate(int k, int v) {
    if (v == 2) {
        if (k <= 5) return (k + 3) * 8;
        if (k <= 9) return (k - 5) * 16 + 64;
        if (k <= 13) return (k - 9) * 32 + 128;
        return 320;
    }
    if (k <= 7) return k * 8;
    return (k - 8) * 16 + 64;
}

std::int32_t clampToInt32(long long v) {
    if (v > std::numeric_limits<std::int32_t>::max()) return std::numeric_limits<std::int32_t>::max();
    if (v < std::numeric_limits<std::int32_t>::min()) return std::numeric_limits<std::int32_t>::min();
    return static_cast<std::int32_t>(v);
}

} // namespace

void mMP3::ReadEndTags(const std::string& path) {
    info.Path = path;
    FileBytes file(path);
    ReadEndTags(file);
}

void mMP3::ReadEndTags(ByteSource& file) {
    const std::string path = info.Path;
    info = Mp3Info{};
    info.Path = path;
    hasId3v1 = false;
    lyricTagFlag = false;
    lyrics3Start = 0;
    durationSeconds = 0;
    const long long length = static_cast<long long>(file.size());

    std::string mark;
    if (file.readText(length - kId3v1Size, 3, mark) && mark == "TAG") {
        std::uint8_t v1[kId3v1Size - 3];
        if (file.read(static_cast<std::uint64_t>(length - kId3v1Size + 3), sizeof v1, v1)) {
            info.Title = v1Field(v1, 30);
            info.Artist = v1Field(v1 + 30, 30);
            info.Album = v1Field(v1 + 60, 30);
            info.Year = v1Field(v1 + 90, 4);
            info.Comment = v1Field(v1 + 94, 30);
            info.Genre = v1[124] + 1;
            hasId3v1 = true;
        }
    }

    // The Lyrics3 footer "LYRICS200" ends the file, or stands just before the ID3v1 tag.
    const long long footer = hasId3v1 ? length - kId3v1Size - 9 : length - 9;
    if (file.readText(footer, 6, mark) && mark == "LYRICS") {
        // A block whose fields run outside the file leaves the flag false.
        lyricTagFlag = ReadLyrics3(file, footer).value_or(false);
        hasTagLyrics = true;
    }
    ReadMpegHeader(file);
}

std::optional<bool> mMP3::ReadLyrics3(ByteSource& file, long long footer) {
    std::string text;
    if (!file.readText(footer, 9, text) || text != "LYRICS200") return false;

    // Positions below are 1-based, as the block's own size counts them; p is the footer's.
    const long long p = footer + 1;
    std::string digits = "000000";
    if (file.readText(footer - 6, 6, text)) digits = text;
    const double size = vb::Val(digits);
    const double start = std::nearbyint(static_cast<double>(p - 6) - size);
    if (!(start >= std::numeric_limits<std::int32_t>::min() &&
          start <= std::numeric_limits<std::int32_t>::max()))
        return false;
    const auto begin = static_cast<long long>(start);
    file.readText(begin - 1, 11, text);
    lyrics3Start = static_cast<std::int32_t>(begin);
    if (text != "LYRICSBEGIN") return false;

    // Fields: a three-letter name, a five-digit length, that many characters.
    for (long long pos = begin + 11; pos < p - 9;) {
        std::string name, lengthText, field;
        if (!file.readText(pos - 1, 3, name) || !file.readText(pos + 2, 5, lengthText)) return std::nullopt;
        const double fieldLength = std::nearbyint(vb::Val(lengthText));
        if (!(fieldLength >= 0 && fieldLength <= static_cast<double>(file.size()))) return std::nullopt;
        const auto n = static_cast<long long>(fieldLength);
        if (!file.readText(pos + 7, n, field)) return std::nullopt;
        if (name == "LYR") info.LyricsText = vb::Trim(vb::decodeText(field));
        pos += 8 + n;
    }
    return true;
}

std::optional<XingResult> mMP3::XingBitRate(std::uint64_t fileLength, std::int32_t frames) {
    long long remaining = static_cast<long long>(frames) - 57;
    std::int32_t seconds = 0;
    while (remaining > 0) {
        ++seconds;
        remaining -= 38;
        if (seconds % 3 == 0) remaining -= 1;
    }
    if (seconds == 0) return std::nullopt;
    XingResult r;
    r.seconds = seconds;
    r.BitRate =
        vb::CStr(std::floor(static_cast<double>(fileLength) * 8.0 / (seconds * 1000.0))) + " Kbit (VBR)";
    return r;
}

void mMP3::ReadMpegHeader(ByteSource& file) {
    // The first 4096 bytes; what a shorter file does not fill stays zero.
    std::array<std::uint8_t, kHeadSize> head{};
    file.read(0, static_cast<std::size_t>(std::min<std::uint64_t>(kHeadSize, file.size())), head.data());

    std::size_t at = 0;
    bool found = false;
    for (; at + 4 < kHeadSize; ++at) {
        if (head[at] == 255 && (InRange(head[at + 1], 250, 255) || InRange(head[at + 1], 242, 247))) {
            found = true;
            break;
        }
    }
    if (!found) return;
    const int b1 = head[at + 1], b2 = head[at + 2], b3 = head[at + 3];

    info.Crc = (b1 & 1) == 0 ? "Yes" : "No";
    const bool mpeg2 = InRange(b1, 242, 247);
    info.Version = mpeg2 ? "MPEG 2.0" : "MPEG 1.0";
    const int v = mpeg2 ? 1 : 2;
    if (InRange(b1, 250, 251) || InRange(b1, 242, 243))
        info.Layer = "layer 3";
    else if (InRange(b1, 252, 253) || InRange(b1, 244, 245))
        info.Layer = "layer 2";
    else
        info.Layer = "layer 1";

    const int n = b2 & 15;
    const double base = n <= 3 ? 22.05 : n <= 7 ? 24 : 16;
    info.Frequency = vb::CStr(base * v) + " Hz";

    const int kbit = bitRate(b2 >> 4, v);
    const long long length = static_cast<long long>(file.size());
    const auto bytesPerMs = static_cast<long long>(std::floor(kbit / 8.0));
    // A bit rate of 0 divides by zero: the read ends with what it has.
    if (bytesPerMs == 0) return;
    durationSeconds = clampToInt32(length / bytesPerMs / 1000);

    std::int32_t seconds;
    if (at + 40 <= kHeadSize && std::memcmp(&head[at + 36], "Xing", 4) == 0) {
        // Three bytes of the four-byte frame count; beyond the bytes read, the read ends.
        if (at + 48 > kHeadSize) return;
        const std::int32_t frames = (head[at + 45] << 16) | (head[at + 46] << 8) | head[at + 47];
        const std::optional<XingResult> xing = XingBitRate(file.size(), frames);
        if (!xing) return;
        seconds = xing->seconds;
        info.BitRate = xing->BitRate;
    } else {
        info.BitRate = std::to_string(kbit) + " Kbps";
        seconds = durationSeconds;
    }

    const std::int32_t h = seconds / 3600;
    const std::int32_t m = (seconds / 60) % 60;
    const std::int32_t s = seconds % 60;
    info.Duration =
        (h > 0 ? vb::Format(h, "00") + ":" : std::string()) + vb::Format(m, "00") + ":" + vb::Format(s, "00");

    int flags = b3 & 15;
    info.Copyrighted = (flags & ~7) == 8 ? " Yes" : " No";
    if ((flags & ~7) == 8) flags -= 8;
    info.Original = (flags & 4) != 0 ? " Yes" : " No";
    if ((flags & 4) != 0) flags -= 4;
    static const char* const emphasis[] = {" None", " 50/15 microsec", " invalid", " CITT j. 17"};
    info.Emphasis = emphasis[flags & 3];
    static const char* const modes[] = {" Stereo", " Joint Stereo", " 2 Channel", " Mono"};
    info.ChannelMode = modes[(b3 >> 6) & 3];

    info.SizeMb = vb::CStr(std::floor(static_cast<double>(length) / 1024 / 1024 * 100) / 100) + " MB";
}

} // namespace velvora::tags
