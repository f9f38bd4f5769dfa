#include "support/song_files.h"

#include "support/midi_writer.h"

#include <cmath>
#include <cstdint>
#include <fstream>

namespace velvora::testing {

std::string karaokeMidi(const std::vector<std::string>& syllables, int ticksApart, unsigned usPerQuarter,
                        int division) {
    using miditest::Track;
    Track conductor;
    conductor.meta(0, 0x03, "Karaoke test").tempo(0, usPerQuarter).end(0);
    Track words;
    words.meta(0, 0x03, "Words").text(0, "@KMIDI KARAOKE FILE").text(0, "@TTest Song");
    for (const std::string& s : syllables) words.text(static_cast<std::uint32_t>(ticksApart), s);
    words.end(static_cast<std::uint32_t>(ticksApart));
    Track melody;
    melody.program(0, 3, 73);
    int key = 60;
    for (std::size_t i = 0; i < syllables.size(); ++i) {
        melody.on(i == 0 ? static_cast<std::uint32_t>(ticksApart) : 0, 3, key);
        melody.off(static_cast<std::uint32_t>(ticksApart), 3, key);
        key = key == 67 ? 60 : key + 1;
    }
    melody.end(0);
    return miditest::smf(1, division, {conductor, words, melody});
}

void writeWav(const std::filesystem::path& path, const std::vector<std::int16_t>& samples, int channels) {
    const std::uint32_t rate = 44100;
    const auto dataBytes = static_cast<std::uint32_t>(samples.size() * 2);
    std::ofstream out(path, std::ios::binary);
    auto le = [&](std::uint32_t v, int n) {
        for (int i = 0; i < n; ++i) out.put(static_cast<char>((v >> (8 * i)) & 0xff));
    };
    out << "RIFF";
    le(36 + dataBytes, 4);
    out << "WAVEfmt ";
    le(16, 4);
    le(1, 2);
    le(static_cast<std::uint32_t>(channels), 2);
    le(rate, 4);
    le(rate * static_cast<std::uint32_t>(channels) * 2, 4);
    le(static_cast<std::uint32_t>(channels) * 2, 2);
    le(16, 2);
    out << "data";
    le(dataBytes, 4);
    for (std::int16_t v : samples) le(static_cast<std::uint16_t>(v), 2);
}

void writeToneWav(const std::filesystem::path& path, double seconds, double hz, int channels) {
    const auto frames = static_cast<std::size_t>(seconds * 44100);
    std::vector<std::int16_t> samples;
    samples.reserve(frames * static_cast<std::size_t>(channels));
    for (std::size_t i = 0; i < frames; ++i) {
        const auto v = static_cast<std::int16_t>(std::lround(12000 * std::sin(2 * M_PI * hz * i / 44100.0)));
        for (int c = 0; c < channels; ++c) samples.push_back(v);
    }
    writeWav(path, samples, channels);
}

std::vector<std::string> twinkleSyllables() {
    return {"\\Twin", "kle ",   "twin", "kle ", "lit",   "tle ", "star",  "/How ", "I ",     "won",
            "der ",   "what ",  "you ", "are",  "/Up ",  "a",    "bove ", "the ",  "world ", "so ",
            "high",   "/Like ", "a ",   "dia",  "mond ", "in ",  "the ",  "sky"};
}

} // namespace velvora::testing
