// How late a delayed sync's callback comes after its audio is heard, on the no-sound device in
// real time. Four looping 20 ms streams, staggered, raise an end sync at each loop point; in the
// callback the channel's heard position tells how far past the loop point playback already is.
#include "engine/api.h"

#include <sndfile.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kRate = 44100;
constexpr int kLoopFrames = kRate / 50; // 20 ms
constexpr int kSyncs = 1000;

std::mutex mutex;
std::vector<double> lateness;

void onEnd(HSYNC, DWORD channel, DWORD, void*) {
    const QWORD pos = BASS_ChannelGetPosition(channel, BASS_POS_BYTE);
    if (pos == ~QWORD{0}) return;
    double frames = static_cast<double>(pos / 4);
    // Just after the loop point the position is small; a callback before its moment would still
    // see the end of the previous pass.
    if (frames > kLoopFrames / 2) frames -= kLoopFrames;
    std::lock_guard lock(mutex);
    if (lateness.size() < kSyncs) lateness.push_back(frames * 1000.0 / kRate);
}

} // namespace

int main() {
    const auto dir =
        std::filesystem::temp_directory_path() / ("velvora_synclate_" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    const std::string path = (dir / "loop.wav").string();
    {
        SF_INFO info{};
        info.channels = 2;
        info.samplerate = kRate;
        info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
        SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
        if (!f) return 1;
        std::vector<short> silence(kLoopFrames * 2, 100);
        sf_writef_short(f, silence.data(), kLoopFrames);
        sf_close(f);
    }
    if (!BASS_Init(0, kRate, 0, nullptr, nullptr)) return 1;
    for (int i = 0; i < 4; ++i) {
        const HSTREAM h = BASS_StreamCreateFile(false, path.c_str(), 0, 0, BASS_SAMPLE_LOOP);
        BASS_ChannelSetSync(h, BASS_SYNC_END, 0, &onEnd, nullptr);
        BASS_ChannelPlay(h, false);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    for (;;) {
        {
            std::lock_guard lock(mutex);
            if (lateness.size() >= kSyncs) break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    BASS_Free();
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
    std::vector<double> sorted = lateness;
    std::sort(sorted.begin(), sorted.end());
    const double p50 = sorted[sorted.size() / 2];
    const double p99 = sorted[sorted.size() * 99 / 100];
    std::printf("%zu delayed syncs: min %.3f ms, p50 %.3f ms, p99 %.3f ms, max %.3f ms\n", sorted.size(),
                sorted.front(), p50, p99, sorted.back());
    std::printf("RESULT sync_lateness p50_ms=%.3f p99_ms=%.3f\n", p50, p99);
    return 0;
}
