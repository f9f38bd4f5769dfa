// CD+G decoding speed: a busy four-minute file (pages of tiles, XOR highlights, smooth and whole
// scrolls, colour table loads; written here) shown at 30 frames a second, that is every frame
// decoded and turned into RGB, against `ffmpeg -i FILE -f null -` decoding the same file (every
// packet, as it does). Both include reading the file; ffmpeg's figure includes its start-up. Speeds
// are in times real time, from processor time (ours: this process's; ffmpeg's: the child's, as
// getrusage counts it), because the machines this runs on are shared and their wall clock swings
// by a factor of two between runs; wall-clock times are printed too. The runs alternate, and each
// figure is the best of its runs.
//
// Then the seek a player makes when the user drags to the end: from a screen at the song's start
// to the screen after its last packet, restart point restored and the rest replayed, timed many
// times; the figure is the median (the slowest is printed too: on a shared machine it is noise).
// Beside it, seek_any_ms: the slowest of seeks from the start to 200 places over the song.
#include "cdg/busy_song.h"
#include "cdg/decoder.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <time.h>

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kSeconds = 240;
constexpr int kFramesPerSecond = 30;
constexpr int kRuns = 5;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

double processSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

double childrenSeconds() {
    rusage u{};
    getrusage(RUSAGE_CHILDREN, &u);
    return static_cast<double>(u.ru_utime.tv_sec + u.ru_stime.tv_sec) +
           static_cast<double>(u.ru_utime.tv_usec + u.ru_stime.tv_usec) * 1e-6;
}

std::vector<std::uint8_t> readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), {});
}

} // namespace

int main() {
    using namespace velvora::cdg;
    const auto dir = std::filesystem::temp_directory_path() / "velvora-bench-cdg";
    std::filesystem::create_directories(dir);
    const std::string file = (dir / "busy.cdg").string();
    {
        const std::vector<std::uint8_t> bytes = velvora::testing::busyCdg(kSeconds);
        std::ofstream(file, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
    if (std::system("ffmpeg -version >/dev/null 2>&1") != 0) {
        std::printf("ffmpeg is not installed (scripts/install-deps installs it)\n");
        return 1;
    }

    double ours = 1e9, theirs = 1e9;
    std::uint64_t checksum = 0;
    std::size_t points = 0, saved = 0;
    const std::size_t frames = static_cast<std::size_t>(kSeconds) * kFramesPerSecond;
    std::vector<std::uint8_t> rgb(std::size_t{kShownWidth} * kShownHeight * 3);
    const std::string command = "ffmpeg -v error -nostdin -i '" + file + "' -f null - >/dev/null 2>&1";
    for (int run = 0; run < kRuns; ++run) {
        const auto wall = Clock::now();
        const double cpu = processSeconds();
        Decoder d(readFile(file));
        const double opened = processSeconds() - cpu;
        for (std::size_t f = 0; f < frames; ++f) {
            d.seek(Decoder::packetAt(static_cast<double>(f) / kFramesPerSecond)).shownRgb(rgb);
            checksum += rgb[(f * 7919) % rgb.size()];
        }
        const double took = processSeconds() - cpu;
        std::printf("ours run %d: %zu frames in %.3f s (opening %.1f ms; wall %.3f s)\n", run + 1, frames,
                    took, opened * 1e3, secondsSince(wall));
        ours = std::min(ours, took);
        points = d.restartPointCount();
        saved = d.savedScreenCount();

        const auto ffWall = Clock::now();
        const double ffCpu = childrenSeconds();
        const int status = std::system(command.c_str());
        const double ffTook = childrenSeconds() - ffCpu;
        if (status != 0) {
            std::printf("ffmpeg failed on %s\n", file.c_str());
            return 1;
        }
        std::printf("ffmpeg run %d: %.3f s (wall %.3f s)\n", run + 1, ffTook, secondsSince(ffWall));
        theirs = std::min(theirs, ffTook);
    }
    std::printf("restart points %zu, of them saved screens %zu (%.1f MB); checksum %llu\n", points, saved,
                static_cast<double>(saved) * kWidth * kHeight / 2 / 1e6,
                static_cast<unsigned long long>(checksum));

    Decoder d(readFile(file));
    std::vector<double> seeks;
    for (int i = 0; i < 50; ++i) {
        d.seek(static_cast<std::size_t>(i % 5)); // back at the start
        const auto start = Clock::now();
        const Screen& s = d.seek(d.packetCount());
        seeks.push_back(secondsSince(start) * 1e3);
        checksum += s.pixel(i % kWidth, i % kHeight);
    }
    std::sort(seeks.begin(), seeks.end());
    // Seeks from the start to 200 places over the song, each the best of three: the slowest is
    // the longest replay from a restart point.
    double slowestAnywhere = 0;
    for (std::size_t k = 1; k <= 200; ++k) {
        const std::size_t target = d.packetCount() * k / 200 - k % 3;
        double best = 1e9;
        for (int r = 0; r < 3; ++r) {
            d.seek(0);
            const auto start = Clock::now();
            checksum += d.seek(target).pixel(10, 10);
            best = std::min(best, secondsSince(start) * 1e3);
        }
        slowestAnywhere = std::max(slowestAnywhere, best);
    }
    std::printf("seek from the start to 200 places: slowest %.3f ms\n", slowestAnywhere);
    std::printf("seek to the end: median %.3f ms, slowest %.3f ms (%zu packets)\n", seeks[seeks.size() / 2],
                seeks.back(), d.packetCount());

    const double oursXrt = kSeconds / ours, ffmpegXrt = kSeconds / theirs;
    std::printf("RESULT cdg ours_xrt=%.1f ffmpeg_xrt=%.1f seek_end_ms=%.3f seek_any_ms=%.3f ratio=%.2f\n",
                oursXrt, ffmpegXrt, seeks[seeks.size() / 2], slowestAnywhere, oursXrt / ffmpegXrt);
    std::filesystem::remove_all(dir);
    return 0;
}
