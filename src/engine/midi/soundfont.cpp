#include "midi/soundfont.h"

#include "api.h"

#include <cstring>
#include <cwchar>
#include <fstream>
#include <vector>

namespace engine {

namespace {

std::uint32_t le32(const unsigned char* p) {
    return std::uint32_t(p[0]) | std::uint32_t(p[1]) << 8 | std::uint32_t(p[2]) << 16 |
           std::uint32_t(p[3]) << 24;
}

std::string zstring(const unsigned char* p, std::uint32_t n) {
    std::uint32_t len = 0;
    while (len < n && p[len] != 0) ++len;
    return std::string(reinterpret_cast<const char*>(p), len);
}

void appendUtf8(std::string& out, char32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xc0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3f));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xe0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3f));
        out += static_cast<char>(0x80 | (c & 0x3f));
    } else if (c < 0x110000) {
        out += static_cast<char>(0xf0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3f));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3f));
        out += static_cast<char>(0x80 | (c & 0x3f));
    }
}

} // namespace

std::string pathArgument(const void* file, std::uint32_t flags) {
    if (!file) return {};
    if (!(flags & BASS_UNICODE)) return static_cast<const char*>(file);
    std::string out;
    for (const wchar_t* w = static_cast<const wchar_t*>(file); *w; ++w)
        appendUtf8(out, static_cast<char32_t>(*w));
    return out;
}

bool readSoundFontInfo(const std::string& path, SoundFont& out, int& error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        error = BASS_ERROR_FILEOPEN;
        return false;
    }
    unsigned char head[12];
    if (!in.read(reinterpret_cast<char*>(head), 12) || std::memcmp(head, "RIFF", 4) != 0 ||
        std::memcmp(head + 8, "sfbk", 4) != 0) {
        error = BASS_ERROR_FILEFORM;
        return false;
    }
    out.path = path;
    bool sawSamples = false;
    // Walk the top-level LIST chunks; only INFO is read whole, sdta only for its sample size.
    for (;;) {
        unsigned char chunk[12];
        if (!in.read(reinterpret_cast<char*>(chunk), 8)) break;
        const std::uint32_t size = le32(chunk + 4);
        const std::streamoff next = static_cast<std::streamoff>(in.tellg()) + size + (size & 1);
        if (std::memcmp(chunk, "LIST", 4) == 0 && size >= 4 &&
            in.read(reinterpret_cast<char*>(chunk + 8), 4)) {
            if (std::memcmp(chunk + 8, "INFO", 4) == 0 && size < (1u << 20)) {
                std::vector<unsigned char> info(size - 4);
                if (!in.read(reinterpret_cast<char*>(info.data()), static_cast<std::streamsize>(info.size())))
                    break;
                for (std::size_t p = 0; p + 8 <= info.size();) {
                    const std::uint32_t n = le32(&info[p + 4]);
                    if (n > info.size() - p - 8) break;
                    const std::string text = zstring(&info[p + 8], n);
                    if (std::memcmp(&info[p], "INAM", 4) == 0) out.name = text;
                    if (std::memcmp(&info[p], "ICOP", 4) == 0) out.copyright = text;
                    if (std::memcmp(&info[p], "ICMT", 4) == 0) out.comment = text;
                    p += 8 + n + (n & 1);
                }
            } else if (std::memcmp(chunk + 8, "sdta", 4) == 0) {
                unsigned char sub[8];
                if (in.read(reinterpret_cast<char*>(sub), 8) && std::memcmp(sub, "smpl", 4) == 0) {
                    out.sampleBytes = le32(sub + 4);
                    sawSamples = true;
                }
            }
        }
        in.clear();
        in.seekg(next);
        if (!in) break;
    }
    if (!sawSamples) {
        error = BASS_ERROR_FILEFORM;
        return false;
    }
    return true;
}

} // namespace engine
