// CPU cost of the voice chain: reverb + seven-band peaking EQ + compressor on a 44.1 kHz stereo
// decoding stream read with BASS_ChannelGetData, as a multiple of real time on one core.
#include "engine/api.h"

#include <sndfile.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

int main() {
    const int rate = 44100;
    const double seconds = 60;
    const auto dir =
        std::filesystem::temp_directory_path() / ("velvora_bench_fx_" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    const std::string path = (dir / "music.wav").string();
    {
        // A mix of tones and noise, so that no stage meets silence.
        std::vector<short> pcm(static_cast<std::size_t>(seconds * rate) * 2);
        std::uint32_t x = 1;
        for (std::size_t i = 0; i < pcm.size() / 2; ++i) {
            x = x * 1664525u + 1013904223u;
            const double t = static_cast<double>(i) / rate;
            const double v = 0.3 * std::sin(2 * M_PI * 220 * t) + 0.2 * std::sin(2 * M_PI * 3300 * t) +
                             0.05 * (static_cast<double>(x >> 16) / 32768.0 - 1.0);
            pcm[i * 2] = pcm[i * 2 + 1] = static_cast<short>(v * 32767);
        }
        SF_INFO info{};
        info.channels = 2;
        info.samplerate = rate;
        info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
        SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
        if (!f) return 1;
        sf_writef_short(f, pcm.data(), static_cast<sf_count_t>(pcm.size() / 2));
        sf_close(f);
    }
    if (!BASS_Init(0, rate, 0, nullptr, nullptr)) return 1;

    // The same file read bare first, so that decoding is not counted as the chain's cost.
    const auto readAll = [&](bool withChain) {
        const HSTREAM h =
            BASS_StreamCreateFile(false, path.c_str(), 0, 0, BASS_STREAM_DECODE | BASS_SAMPLE_FLOAT);
        if (withChain) {
            const HFX rev = BASS_ChannelSetFX(h, BASS_FX_DX8_REVERB, 0);
            const BASS_DX8_REVERB r{0.0f, -3.0f, 1200.0f, 0.3f};
            BASS_FXSetParameters(rev, &r);
            const HFX eq = BASS_ChannelSetFX(h, BASS_FX_BFX_PEAKEQ, 0);
            const float centres[7] = {80, 200, 1500, 4000, 7500, 10000, 12000};
            for (int b = 0; b < 7; ++b) {
                const BASS_BFX_PEAKEQ band{b, 2.5f, 1.0f, centres[b], static_cast<float>(b % 2 ? 4 : -3), -1};
                BASS_FXSetParameters(eq, &band);
            }
            BASS_ChannelSetFX(h, BASS_FX_BFX_COMPRESSOR2, 1);
        }
        std::vector<float> buf(4096 * 2);
        const auto t0 = std::chrono::steady_clock::now();
        double frames = 0;
        for (DWORD got;
             (got = BASS_ChannelGetData(h, buf.data(), static_cast<DWORD>(buf.size() * 4))) != ~DWORD{0};)
            frames += got / 8.0;
        if (frames < seconds * rate) std::printf("short read: %.0f frames\n", frames);
        const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        BASS_StreamFree(h);
        return s;
    };
    const double bare = readAll(false);
    const double chain = readAll(true);
    const double fxSeconds = std::max(1e-6, chain - bare);
    std::printf("decode only: %.3f s; with reverb + 7-band EQ + compressor: %.3f s for %.0f s of audio\n",
                bare, chain, seconds);
    std::printf("chain alone: %.1f x real time; decode + chain: %.1f x real time\n", seconds / fxSeconds,
                seconds / chain);
    BASS_Free();
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
    std::printf("RESULT fx_chain xrt=%.1f with_decode_xrt=%.1f\n", seconds / fxSeconds, seconds / chain);
    return 0;
}
