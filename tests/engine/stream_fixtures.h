// Small audio files written for the stream tests.
#pragma once

#include <sndfile.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

namespace fixtures {

inline std::filesystem::path tempDir() {
    static const std::filesystem::path dir = [] {
        auto d = std::filesystem::temp_directory_path() / ("velvora_streams_" + std::to_string(::getpid()));
        std::filesystem::create_directories(d);
        return d;
    }();
    return dir;
}

// Writes interleaved 16-bit samples as a WAV (or, with `format`, another libsndfile format).
inline std::string writeAudio(const std::string& name, const std::vector<std::int16_t>& samples, int chans,
                              int rate, int format = SF_FORMAT_WAV | SF_FORMAT_PCM_16) {
    const std::string path = (tempDir() / name).string();
    SF_INFO info{};
    info.channels = chans;
    info.samplerate = rate;
    info.format = format;
    SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!f) return {};
    sf_writef_short(f, samples.data(), static_cast<sf_count_t>(samples.size() / chans));
    sf_close(f);
    return path;
}

// A stereo sine of `freq` Hz at `amplitude` (0..1 of full scale).
inline std::vector<std::int16_t> sine(double freq, double seconds, int rate = 44100, double amplitude = 0.5,
                                      int chans = 2) {
    const auto frames = static_cast<std::size_t>(seconds * rate);
    std::vector<std::int16_t> out(frames * chans);
    for (std::size_t i = 0; i < frames; ++i) {
        const auto v =
            static_cast<std::int16_t>(std::lround(amplitude * 32767 * std::sin(2 * M_PI * freq * i / rate)));
        for (int c = 0; c < chans; ++c) out[i * chans + c] = v;
    }
    return out;
}

// Noise-like samples that differ in every frame and channel, so that any shift shows.
inline std::vector<std::int16_t> pattern(std::size_t frames, int chans = 2) {
    std::vector<std::int16_t> out(frames * chans);
    std::uint32_t x = 12345;
    for (auto& s : out) {
        x = x * 1664525u + 1013904223u;
        s = static_cast<std::int16_t>((x >> 16) & 0x7fff) - 16384;
    }
    return out;
}

inline std::string writeBytes(const std::string& name, const std::string& bytes) {
    const std::string path = (tempDir() / name).string();
    FILE* f = std::fopen(path.c_str(), "wb");
    if (f) {
        std::fwrite(bytes.data(), 1, bytes.size(), f);
        std::fclose(f);
    }
    return path;
}

// Frequency from the rising zero crossings of one channel of interleaved frames.
inline double zeroCrossingFrequency(const std::vector<float>& interleaved, std::size_t from, std::size_t to,
                                    int rate) {
    std::size_t first = 0, last = 0, count = 0;
    for (std::size_t i = from + 1; i < to; ++i) {
        if (interleaved[(i - 1) * 2] < 0 && interleaved[i * 2] >= 0) {
            if (count == 0) first = i;
            last = i;
            ++count;
        }
    }
    if (count < 2) return 0;
    return static_cast<double>(count - 1) * rate / static_cast<double>(last - first);
}

} // namespace fixtures
