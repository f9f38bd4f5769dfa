// The package mixdown: three 3-minute MP3 stems through tempo streams (tempo 0) into a decoding
// mixer, read out in 20000-byte blocks, against `sox -m` mixing the same files to WAV.
#include "engine/api.h"

#include <sndfile.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kRate = 44100;
constexpr double kSeconds = 180;

bool writeMp3(const std::string& path, double freq) {
    SF_INFO info{};
    info.channels = 2;
    info.samplerate = kRate;
    info.format = SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III;
    SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!f) return false;
    std::vector<float> block(kRate * 2);
    for (int s = 0; s < kSeconds; ++s) {
        for (int i = 0; i < kRate; ++i) {
            const double t = s + static_cast<double>(i) / kRate;
            block[i * 2] = block[i * 2 + 1] = static_cast<float>(0.3 * std::sin(2 * M_PI * freq * t));
        }
        sf_writef_float(f, block.data(), kRate);
    }
    sf_close(f);
    return true;
}

double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

} // namespace

int main() {
    const auto dir = std::filesystem::temp_directory_path() / ("velvora_mixdown_" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    std::vector<std::string> stems;
    for (double f : {440.0, 550.0, 660.0}) {
        stems.push_back((dir / ("stem" + std::to_string(static_cast<int>(f)) + ".mp3")).string());
        if (!writeMp3(stems.back(), f)) {
            std::fprintf(stderr, "cannot write MP3 stems with libsndfile\n");
            return 1;
        }
    }

    if (!BASS_Init(0, kRate, 0, nullptr, nullptr)) return 1;
    const double t0 = now();
    const HSTREAM mixer = BASS_Mixer_StreamCreate(kRate, 2, 0x210000);
    for (const std::string& path : stems) {
        const HSTREAM file = BASS_StreamCreateFile(false, path.c_str(), 0, 0, 0x200100);
        const HSTREAM tempo = BASS_FX_TempoCreate(file, 0x210000);
        BASS_ChannelSetAttribute(tempo, BASS_ATTRIB_TEMPO, 0);
        if (!BASS_Mixer_StreamAddChannel(mixer, tempo, 0)) return 1;
    }
    std::vector<char> buffer(20000);
    unsigned long long bytes = 0;
    while (BASS_ChannelIsActive(mixer)) {
        const DWORD got = BASS_ChannelGetData(mixer, buffer.data(), 20000);
        if (got == 0xFFFFFFFF) break;
        bytes += got;
    }
    const double ours = now() - t0;
    BASS_Free();
    const double audioSeconds = static_cast<double>(bytes) / 4 / kRate;

    const std::string out = (dir / "sox.wav").string();
    const std::string cmd =
        "sox -m '" + stems[0] + "' '" + stems[1] + "' '" + stems[2] + "' '" + out + "' 2>/dev/null";
    const double t1 = now();
    const int rc = std::system(cmd.c_str());
    const double sox = now() - t1;
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
    if (rc != 0) {
        std::fprintf(stderr, "sox could not mix the MP3 stems (is libsox-fmt-mp3 installed?)\n");
        return 1;
    }

    const double oursXrt = audioSeconds / ours;
    const double soxXrt = kSeconds / sox;
    std::printf("ours: %.1f s of audio in %.2f s (%.1fx real time)\n", audioSeconds, ours, oursXrt);
    std::printf("sox -m: %.1f s of audio in %.2f s (%.1fx real time)\n", kSeconds, sox, soxXrt);
    std::printf("RESULT mixdown ours_xrt=%.1f sox_xrt=%.1f ratio=%.2f\n", oursXrt, soxXrt, oursXrt / soxXrt);
    return 0;
}
