// Writes Standard MIDI File bytes for tests: tracks of events, then the file.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <string>
#include <vector>

namespace miditest {

inline std::string vlq(std::uint32_t v) {
    std::string out(1, static_cast<char>(v & 0x7f));
    while (v >>= 7) out.insert(out.begin(), static_cast<char>(0x80 | (v & 0x7f)));
    return out;
}

inline std::string be(std::uint32_t v, int bytes) {
    std::string out;
    for (int i = bytes - 1; i >= 0; --i) out += static_cast<char>((v >> (8 * i)) & 0xff);
    return out;
}

class Track {
  public:
    // An event after `delta` ticks, given as its bytes.
    Track& raw(std::uint32_t delta, std::initializer_list<int> bytes) {
        data += vlq(delta);
        for (int b : bytes) data += static_cast<char>(b);
        return *this;
    }
    Track& on(std::uint32_t delta, int ch, int key, int vel = 100) {
        return raw(delta, {0x90 | ch, key, vel});
    }
    Track& off(std::uint32_t delta, int ch, int key) { return raw(delta, {0x80 | ch, key, 0}); }
    Track& cc(std::uint32_t delta, int ch, int n, int v) { return raw(delta, {0xb0 | ch, n, v}); }
    Track& program(std::uint32_t delta, int ch, int p) { return raw(delta, {0xc0 | ch, p}); }
    Track& meta(std::uint32_t delta, int type, const std::string& payload) {
        data += vlq(delta);
        data += '\xff';
        data += static_cast<char>(type);
        data += vlq(static_cast<std::uint32_t>(payload.size()));
        data += payload;
        return *this;
    }
    Track& tempo(std::uint32_t delta, std::uint32_t us) { return meta(delta, 0x51, be(us, 3)); }
    Track& lyric(std::uint32_t delta, const std::string& text) { return meta(delta, 0x05, text); }
    Track& text(std::uint32_t delta, const std::string& text) { return meta(delta, 0x01, text); }
    Track& sysex(std::uint32_t delta, int status, const std::string& payload) {
        data += vlq(delta);
        data += static_cast<char>(status);
        data += vlq(static_cast<std::uint32_t>(payload.size()));
        data += payload;
        return *this;
    }
    Track& end(std::uint32_t delta = 0) { return meta(delta, 0x2f, ""); }

    std::string data;
};

inline std::string smf(int format, int division, const std::vector<Track>& tracks, int declared = -1) {
    std::string out = "MThd" + be(6, 4) + be(format, 2) +
                      be(declared < 0 ? static_cast<std::uint32_t>(tracks.size()) : declared, 2) +
                      be(division, 2);
    for (const Track& t : tracks) out += "MTrk" + be(static_cast<std::uint32_t>(t.data.size()), 4) + t.data;
    return out;
}

inline void writeFile(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

} // namespace miditest
