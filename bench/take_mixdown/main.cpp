// The take's mixdown: AudioMixer joining a 3-minute backing track and a 3-minute voice track into
// LiveTrack.wav, against `sox -m` mixing the same two WAV files, in the same run. Each is timed
// three times and the best run counts; the figures are times real time.
#include "engine/api.h"
#include "engine/testing.h"
#include "recording/mixdown.h"
#include "recording/take_files.h"
#include "support/offscreen_app.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace fs = std::filesystem;

namespace {

constexpr double kSeconds = 180;

double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

std::string quoted(const fs::path& p) {
    return "'" + p.string() + "'";
}

} // namespace

int main() {
    if (std::system("command -v sox >/dev/null 2>&1") != 0) {
        std::fprintf(stderr, "sox is not installed (scripts/install-deps)\n");
        return 1;
    }
    engine::testing::useVirtualDevice(true);
    velvora::testing::OffscreenApp program;
    velvora::App& app = program.app();
    const fs::path folder = program.folder.path();
    fs::create_directories(folder / "TKKK");
    BASS_Init(-1, 44100, 0, nullptr, nullptr);

    const auto frames = static_cast<std::size_t>(kSeconds * 44100);
    const fs::path backing = folder / "TKKK" / "BackingTrack.WAV";
    const fs::path voice = folder / "TKKK" / "vocaltrack.wav";
    recordingtest::writeWav(backing, recordingtest::voice(frames, 1, 9000));
    recordingtest::writeWav(voice, recordingtest::voice(frames, 2, 9000));

    double ours = 1e9, sox = 1e9;
    for (int run = 0; run < 3; ++run) {
        app.s.recordArmed = true;
        program.dialogs.answerFile(std::nullopt);
        double t0 = now();
        velvora::recording::AudioMixer(app);
        ours = std::min(ours, now() - t0);
        const auto mixed = recordingtest::readWav(folder / "LiveTrack.wav");
        if (mixed.samples.size() != frames * 2) {
            std::fprintf(stderr, "LiveTrack.wav holds %zu samples, not %zu\n", mixed.samples.size(),
                         frames * 2);
            return 1;
        }

        const std::string command = "sox -m -v 1 " + quoted(backing) + " -v 1 " + quoted(voice) + " " +
                                    quoted(folder / "sox_mix.wav");
        t0 = now();
        if (std::system(command.c_str()) != 0) {
            std::fprintf(stderr, "sox failed\n");
            return 1;
        }
        sox = std::min(sox, now() - t0);
    }
    program.dialogs.clear();
    BASS_Free();
    const double oursXrt = kSeconds / ours, soxXrt = kSeconds / sox;
    std::printf("AudioMixer, a %.0f s take: %.3f s (%.1fx real time)\n", kSeconds, ours, oursXrt);
    std::printf("sox -m, the same two files: %.3f s (%.1fx real time)\n", sox, soxXrt);
    std::printf("RESULT take_mixdown ours_xrt=%.1f sox_xrt=%.1f ratio=%.2f\n", oursXrt, soxXrt,
                oursXrt / soxXrt);
    return 0;
}
