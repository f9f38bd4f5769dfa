// What the crash child sings and plays: each frame's samples follow from its index, so that any
// frame read back can be checked against what was supplied.
#pragma once

#include <cstdint>

namespace crashtest {

inline std::int16_t voiceLeft(std::uint64_t i) {
    return static_cast<std::int16_t>(static_cast<int>((i * 2654435761u) >> 17 & 0x7fff) - 16384);
}
inline std::int16_t voiceRight(std::uint64_t i) {
    return static_cast<std::int16_t>(static_cast<int>(i % 30000) - 15000);
}
// The backing song, a 16-bit WAV file played in a loop: a ramp on the left, its mirror on the
// right, repeating every kSongPeriod frames.
constexpr std::uint64_t kSongPeriod = 20000;
inline std::int16_t songLeft(std::uint64_t i) {
    return static_cast<std::int16_t>(static_cast<int>(i % kSongPeriod) - 10000);
}
inline std::int16_t songRight(std::uint64_t i) {
    return static_cast<std::int16_t>(10000 - static_cast<int>(i % kSongPeriod));
}
// The song's file, written by the child in the program folder it records in.
constexpr char kSongFile[] = "crash song.wav";

// The child writes how many frames it has fed so far here (8 bytes, little-endian), after each
// block has gone through the capture.
constexpr char kFedFile[] = "fed.count";

} // namespace crashtest
