// Small song files the tests write: a karaoke MIDI file with lyric marks, and a WAV tone.
#pragma once

#include "support/mp3_bytes.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace velvora::testing {

// A format 1 KAR-like file: a tempo of `usPerQuarter`, a "Words" track with the syllables as text
// events `ticksApart` apart (the first at tick `ticksApart`), and a melody note under each.
std::string karaokeMidi(const std::vector<std::string>& syllables, int ticksApart = 48,
                        unsigned usPerQuarter = 500000, int division = 96);

// Sixteen-bit PCM WAV at 44100 Hz of the given interleaved samples.
void writeWav(const std::filesystem::path& path, const std::vector<std::int16_t>& samples, int channels);
// Sixteen-bit PCM WAV of a sine, `seconds` long, at 44100 Hz, mono or stereo.
void writeToneWav(const std::filesystem::path& path, double seconds, double hz = 440.0, int channels = 2);

// A tone of `seconds` encoded to MP3 under `folder` / `name`, behind an ID3v2.3 tag that holds a
// title and `entries` in a SYLT frame.
std::filesystem::path writeSyltSong(const std::filesystem::path& folder, const std::string& name,
                                    const std::vector<mp3::SyltEntry>& entries, double seconds);

// A typical karaoke verse, syllables with the usual "\" and "/" line marks.
std::vector<std::string> twinkleSyllables();

} // namespace velvora::testing
