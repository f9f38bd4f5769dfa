// Small MIDI files for the scanner's tests, written byte by byte.
#pragma once

#include "core/state/midi_scan_state.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <string>

namespace velvora::testing {

inline std::string B(std::initializer_list<int> list) {
    std::string out;
    for (int b : list) out += static_cast<char>(b);
    return out;
}

// "MThd", length 6 and the three words as given.
inline std::string midiHeader(int format, int tracks, int division) {
    return "MThd" + B({0, 0, 0, 6, (format >> 8) & 255, format & 255, (tracks >> 8) & 255, tracks & 255,
                       (division >> 8) & 255, division & 255});
}

// A chunk with its big-endian length; the id is "MTrk" unless told otherwise.
inline std::string midiTrack(const std::string& body, const std::string& id = "MTrk") {
    const auto n = static_cast<std::uint32_t>(body.size());
    return id +
           B({static_cast<int>(n >> 24), static_cast<int>((n >> 16) & 255), static_cast<int>((n >> 8) & 255),
              static_cast<int>(n & 255)}) +
           body;
}

// A meta event at delta 0: 00 FF type length text (length as one byte).
inline std::string meta(int type, const std::string& text) {
    return B({0, 0xFF, type, static_cast<int>(text.size())}) + text;
}

inline std::string endOfTrack() {
    return B({0, 0xFF, 0x2F, 0});
}

inline std::string tempoEvent(int a, int b, int c) {
    return B({0, 0xFF, 0x51, 3, a, b, c});
}

inline std::string writeFile(const std::filesystem::path& path, const std::string& data) {
    std::ofstream(path, std::ios::binary) << data;
    return path.string();
}

// A scan state holding the given file bytes, as the scanner would have read them.
inline MidiScanState scanOf(const std::string& bytes) {
    MidiScanState s;
    s.midiBuffer = bytes;
    return s;
}

} // namespace velvora::testing
