#include "support/song_files.h"

#include "encoding/wav_to_mp3.h"
#include "support/midi_writer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <fstream>
#include <iterator>

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

std::filesystem::path writeSyltSong(const std::filesystem::path& folder, const std::string& name,
                                    const std::vector<mp3::SyltEntry>& entries, double seconds) {
    const std::filesystem::path wav = folder / (name + ".tone.wav");
    const std::filesystem::path bare = folder / (name + ".tone.mp3");
    writeToneWav(wav, seconds);
    const encoding::ConvertOutcome made = encoding::convertWavToMp3(wav.string(), bare.string(), "velvora");
    EXPECT_EQ(made.status, encoding::ConvertOutcome::Done) << made.description;
    std::ifstream in(bare, std::ios::binary);
    const std::string audio((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    in.close();
    std::filesystem::remove(wav);
    std::filesystem::remove(bare);
    const std::filesystem::path song = folder / name;
    mp3::write(song, mp3::tag(mp3::textFrame("TIT2", "Evening") + mp3::syltFrame(entries)) + audio);
    return song;
}

std::vector<std::string> twinkleSyllables() {
    return {"\\Twin", "kle ",   "twin", "kle ", "lit",   "tle ", "star",  "/How ", "I ",     "won",
            "der ",   "what ",  "you ", "are",  "/Up ",  "a",    "bove ", "the ",  "world ", "so ",
            "high",   "/Like ", "a ",   "dia",  "mond ", "in ",  "the ",  "sky"};
}

} // namespace velvora::testing
