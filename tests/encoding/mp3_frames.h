// Walks the MPEG audio frames of an MP3 file's bytes, so that tests can read what each frame header
// says. Bytes before the first frame (a reserved tag area) are skipped; from there on each frame
// must follow the last one directly.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <vector>

namespace enctest {

struct FrameHeader {
    int mpegVersion = 0; // 1, 2 or 25 (2.5)
    int layer = 0;
    bool crc = false;
    int kbps = 0;
    int rate = 0;
    bool padding = false;
    bool privateBit = false;
    int mode = 0; // 0 stereo, 1 joint stereo, 2 dual channel, 3 mono
    bool copyright = false;
    bool original = false;
    int emphasis = 0;
    std::size_t offset = 0;
    std::size_t length = 0;
};

inline bool parseHeader(const std::uint8_t* b, FrameHeader& h) {
    if (b[0] != 0xFF || (b[1] & 0xE0) != 0xE0) return false;
    const int v = (b[1] >> 3) & 3, layer = (b[1] >> 1) & 3, bi = b[2] >> 4, si = (b[2] >> 2) & 3;
    if (v == 1 || layer != 1 || bi == 0 || bi == 15 || si == 3) return false;
    static const int kbps1[] = {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320};
    static const int kbps2[] = {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160};
    static const int rates[] = {44100, 48000, 32000};
    h.mpegVersion = v == 3 ? 1 : v == 2 ? 2 : 25;
    h.layer = 3;
    h.crc = (b[1] & 1) == 0;
    h.kbps = h.mpegVersion == 1 ? kbps1[bi] : kbps2[bi];
    h.rate = rates[si] / (h.mpegVersion == 1 ? 1 : h.mpegVersion == 2 ? 2 : 4);
    h.padding = (b[2] >> 1) & 1;
    h.privateBit = b[2] & 1;
    h.mode = b[3] >> 6;
    h.copyright = (b[3] >> 3) & 1;
    h.original = (b[3] >> 2) & 1;
    h.emphasis = b[3] & 3;
    const int perFrame = h.mpegVersion == 1 ? 144 : 72;
    h.length = static_cast<std::size_t>(perFrame * 1000 * h.kbps / h.rate + (h.padding ? 1 : 0));
    return true;
}

// The frames from the first header on; empty when the chain breaks before the bytes end.
inline std::vector<FrameHeader> mp3Frames(const std::vector<std::uint8_t>& bytes,
                                          std::size_t* leading = nullptr) {
    std::vector<FrameHeader> out;
    std::size_t at = 0;
    FrameHeader h;
    while (at + 4 <= bytes.size() && !parseHeader(&bytes[at], h)) ++at;
    if (leading) *leading = at;
    while (at + 4 <= bytes.size()) {
        if (!parseHeader(&bytes[at], h)) return {};
        h.offset = at;
        out.push_back(h);
        at += h.length;
    }
    if (at != bytes.size()) return {};
    return out;
}

// The distinct values the frames' headers take, field by field.
struct FrameValues {
    std::set<int> mpegVersion, kbps, rate, mode;
    std::set<bool> crc, privateBit, copyright, original;
};

inline FrameValues valuesOf(const std::vector<FrameHeader>& fs) {
    FrameValues v;
    for (const FrameHeader& f : fs) {
        v.mpegVersion.insert(f.mpegVersion);
        v.kbps.insert(f.kbps);
        v.rate.insert(f.rate);
        v.mode.insert(f.mode);
        v.crc.insert(f.crc);
        v.privateBit.insert(f.privateBit);
        v.copyright.insert(f.copyright);
        v.original.insert(f.original);
    }
    return v;
}

} // namespace enctest
