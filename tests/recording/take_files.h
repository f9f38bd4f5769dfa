// What the take tests read and write: WAV files taken apart into their header fields and 16-bit
// samples, a decoding stream read to its end, a voice of pseudo-random samples, and an MP3 song.
#pragma once

#include "engine/testing.h"

#include <sndfile.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace recordingtest {

inline std::uint32_t le32(const std::string& b, std::size_t at) {
    std::uint32_t v = 0;
    for (int i = 3; i >= 0; --i) v = v << 8 | static_cast<std::uint8_t>(b[at + static_cast<std::size_t>(i)]);
    return v;
}
inline std::uint16_t le16(const std::string& b, std::size_t at) {
    return static_cast<std::uint16_t>(static_cast<std::uint8_t>(b[at]) | static_cast<std::uint8_t>(b[at + 1])
                                                                             << 8);
}

inline std::string readBytes(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A canonical 44-byte header and the samples its data size covers.
struct Wav {
    bool canonical = false;
    std::uint64_t fileSize = 0;
    std::uint32_t riffSize = 0, fmtSize = 0, rate = 0, byteRate = 0, dataSize = 0;
    std::uint16_t format = 0, channels = 0, blockAlign = 0, bits = 0;
    std::vector<std::int16_t> samples;
};

inline Wav readWav(const std::filesystem::path& path) {
    Wav w;
    const std::string b = readBytes(path);
    w.fileSize = b.size();
    if (b.size() < 44) return w;
    w.canonical =
        b.compare(0, 4, "RIFF") == 0 && b.compare(8, 8, "WAVEfmt ") == 0 && b.compare(36, 4, "data") == 0;
    w.riffSize = le32(b, 4);
    w.fmtSize = le32(b, 16);
    w.format = le16(b, 20);
    w.channels = le16(b, 22);
    w.rate = le32(b, 24);
    w.byteRate = le32(b, 28);
    w.blockAlign = le16(b, 32);
    w.bits = le16(b, 34);
    w.dataSize = le32(b, 40);
    const std::size_t n = std::min<std::size_t>(w.dataSize, b.size() - 44) / 2;
    w.samples.resize(n);
    for (std::size_t i = 0; i < n; ++i) w.samples[i] = static_cast<std::int16_t>(le16(b, 44 + 2 * i));
    return w;
}

// Every sample of a decoding stream, as 16-bit; the stream is freed. Empty for no stream.
inline std::vector<std::int16_t> decodeAll(HSTREAM h) {
    std::vector<std::int16_t> out;
    std::vector<std::int16_t> block(8192);
    for (;;) {
        const DWORD got = BASS_ChannelGetData(h, block.data(), static_cast<DWORD>(block.size() * 2));
        if (got == static_cast<DWORD>(-1) || got == 0) break;
        out.insert(out.end(), block.begin(), block.begin() + got / 2);
    }
    BASS_StreamFree(h);
    return out;
}

// Interleaved stereo samples that no song would give: a fixed pseudo-random sequence.
inline std::vector<std::int16_t> voice(std::size_t frames, std::uint32_t seed = 12345, int amplitude = 8000) {
    std::vector<std::int16_t> v(frames * 2);
    std::uint32_t x = seed;
    for (auto& s : v) {
        x = x * 1664525u + 1013904223u;
        s = static_cast<std::int16_t>(static_cast<int>(x >> 16) % (2 * amplitude + 1) - amplitude);
    }
    return v;
}

// A stereo MP3 of two tones, `seconds` long, at 44100 Hz.
inline bool writeMp3Song(const std::filesystem::path& path, double seconds) {
    SF_INFO info{};
    info.channels = 2;
    info.samplerate = 44100;
    info.format = SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III;
    SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!f) return false;
    const auto frames = static_cast<std::size_t>(seconds * 44100);
    std::vector<float> pcm(frames * 2);
    for (std::size_t i = 0; i < frames; ++i) {
        pcm[2 * i] = static_cast<float>(0.3 * std::sin(2 * M_PI * 330.0 * static_cast<double>(i) / 44100));
        pcm[2 * i + 1] =
            static_cast<float>(0.3 * std::sin(2 * M_PI * 495.0 * static_cast<double>(i) / 44100));
    }
    sf_writef_float(f, pcm.data(), static_cast<sf_count_t>(frames));
    sf_close(f);
    return true;
}

} // namespace recordingtest

namespace recordingtest {

// The virtual capture device's inputs for one test; the single microphone again afterwards.
struct InputsScope {
    explicit InputsScope(std::vector<engine::testing::VirtualInput> inputs) {
        engine::testing::setVirtualInputs(std::move(inputs));
    }
    ~InputsScope() { engine::testing::setVirtualInputs({{"Virtual Microphone", true}}); }
    InputsScope(const InputsScope&) = delete;
    InputsScope& operator=(const InputsScope&) = delete;
};

} // namespace recordingtest

namespace recordingtest {

// A 16-bit PCM WAV holding `samples` (interleaved) with the header the program writes.
inline void writeWav(const std::filesystem::path& path, const std::vector<std::int16_t>& samples,
                     std::uint16_t channels = 2, std::uint32_t rate = 44100) {
    std::ofstream out(path, std::ios::binary);
    auto le = [&](std::uint32_t v, int n) {
        for (int i = 0; i < n; ++i) out.put(static_cast<char>((v >> (8 * i)) & 0xff));
    };
    const auto bytes = static_cast<std::uint32_t>(samples.size() * 2);
    out << "RIFF";
    le(36 + bytes, 4);
    out << "WAVEfmt ";
    le(16, 4);
    le(1, 2);
    le(channels, 2);
    le(rate, 4);
    le(rate * channels * 2u, 4);
    le(channels * 2u, 2);
    le(16, 2);
    out << "data";
    le(bytes, 4);
    out.write(reinterpret_cast<const char*>(samples.data()), static_cast<std::streamsize>(bytes));
}

} // namespace recordingtest
