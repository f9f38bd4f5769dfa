// Tempo detection on generated click tracks: our BASS_FX_BPM_DecodeGet beside `soundstretch FILE
// -bpm` on the same files. A figure counts as right within 1 BPM of the tempo a person taps, the
// beat: a double or a half is an error of its full size, for both tools.
#include "engine/api.h"

#include <sndfile.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

// Two kinds of click track: the same short click on every beat, and a drum machine's beat with a
// low kick on the strong beats and the click on the others.
enum class Track { Clicks, KickAndClick };

std::string writeClicks(const std::filesystem::path& dir, double bpm, Track kind) {
    const int rate = 44100;
    const double seconds = 30;
    std::vector<short> out(static_cast<std::size_t>(seconds * rate) * 2, 0);
    const double beat = 60.0 / bpm * rate;
    int n = 0;
    for (double at = 0; at < seconds * rate; at += beat, ++n) {
        const bool kick = kind == Track::KickAndClick && n % 2 == 0;
        for (int i = 0; i < 4000; ++i) {
            const auto f = static_cast<std::size_t>(at) + i;
            if (f >= out.size() / 2) break;
            const double amp = 20000 * std::exp(-i / (kick ? 600.0 : 350.0));
            const double phase = kick ? 2 * M_PI * 150.0 * i / rate : i * 0.25;
            out[f * 2] = out[f * 2 + 1] = static_cast<short>(amp * std::sin(phase));
        }
    }
    const std::string path = (dir / ((kind == Track::Clicks ? "clicks_" : "kick_") +
                                     std::to_string(static_cast<int>(bpm)) + ".wav"))
                                 .string();
    SF_INFO info{};
    info.channels = 2;
    info.samplerate = rate;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!f) return {};
    sf_writef_short(f, out.data(), static_cast<sf_count_t>(out.size() / 2));
    sf_close(f);
    return path;
}

float soundstretchBpm(const std::string& path) {
    const std::string cmd = "soundstretch '" + path + "' -bpm 2>&1";
    FILE* p = popen(cmd.c_str(), "r");
    if (!p) return 0;
    std::array<char, 512> line{};
    float bpm = 0;
    while (std::fgets(line.data(), line.size(), p)) {
        const std::string s(line.data());
        const auto at = s.find("Detected BPM rate");
        if (at != std::string::npos) std::sscanf(s.c_str() + at, "Detected BPM rate %f", &bpm);
    }
    pclose(p);
    return bpm;
}

} // namespace

int main() {
    const auto dir =
        std::filesystem::temp_directory_path() / ("velvora_bench_bpm_" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    if (!BASS_Init(0, 44100, 0, nullptr, nullptr)) {
        std::printf("BASS_Init failed: %d\n", BASS_ErrorGetCode());
        return 1;
    }
    double oursMax[2] = {0, 0}, theirsMax[2] = {0, 0};
    for (const Track kind : {Track::Clicks, Track::KickAndClick})
        for (const double truth : {60.0, 70.0, 85.0, 95.0, 110.0, 120.0, 140.0, 160.0, 175.0, 180.0}) {
            const std::string path = writeClicks(dir, truth, kind);
            const HSTREAM h = BASS_StreamCreateFile(false, path.c_str(), 0, 0, BASS_STREAM_DECODE);
            const float ours = h ? BASS_FX_BPM_DecodeGet(h, 0, 30, 0, 0, nullptr, nullptr) : 0.0f;
            BASS_StreamFree(h);
            const float theirs = soundstretchBpm(path);
            const double eo = std::abs(ours - truth), et = std::abs(theirs - truth);
            const int k = kind == Track::Clicks ? 0 : 1;
            oursMax[k] = std::max(oursMax[k], eo);
            theirsMax[k] = std::max(theirsMax[k], et);
            std::printf("%-15s %6.1f BPM: ours %7.2f (err %.2f)  soundstretch %7.2f (err %.2f)\n",
                        k == 0 ? "clicks" : "kick and click", truth, ours, eo, theirs, et);
        }
    BASS_Free();
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
    // Both kinds are reported: on the same click every beat, soundstretch takes a third of 175.
    std::printf("RESULT bpm ours_max_err=%.2f soundstretch_max_err=%.2f clicks_ours_max_err=%.2f "
                "clicks_soundstretch_max_err=%.2f kick_ours_max_err=%.2f kick_soundstretch_max_err=%.2f\n",
                std::max(oursMax[0], oursMax[1]), std::max(theirsMax[0], theirsMax[1]), oursMax[0],
                theirsMax[0], oursMax[1], theirsMax[1]);
    return 0;
}
