// A 30-minute take held in memory: the virtual capture input is fed in device-sized blocks of 512
// frames from a thread of its own (which thereby runs the capture callback, as the engine's
// capture thread would), while a second thread keeps the other core busy. Every frame of the take
// is checked afterwards, and the growth of the process's memory is set beside the take's own size.
#include "engine/api.h"
#include "engine/testing.h"
#include "recording/capture.h"
#include "support/offscreen_app.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int kMinutes = 30;
constexpr std::uint64_t kFrames = 44100ull * 60 * kMinutes;
constexpr unsigned kDeviceBlock = 512;

// The input's frames: values that tell each frame from its neighbours.
std::int16_t leftOf(std::uint64_t i) {
    return static_cast<std::int16_t>(static_cast<int>((i * 2654435761u) >> 17 & 0x7fff) - 16384);
}
std::int16_t rightOf(std::uint64_t i) {
    return static_cast<std::int16_t>(static_cast<int>(i % 30000) - 15000);
}

// Resident memory now and at its peak, in bytes.
void memory(double& rss, double& peak) {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("VmRSS:", 0) == 0) rss = std::stod(line.substr(6)) * 1024;
        if (line.rfind("VmHWM:", 0) == 0) peak = std::stod(line.substr(6)) * 1024;
    }
}

double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

} // namespace

int main() {
    engine::testing::useVirtualDevice(true);
    velvora::testing::OffscreenApp program;
    velvora::App& app = program.app();
    BASS_Init(-1, 44100, 0, nullptr, nullptr);
    BASS_RecordInit(0);
    app.s.capture.recBufStep = 200000;

    double rss0 = 0, peak0 = 0;
    memory(rss0, peak0);
    velvora::recording::StartCapture(app);
    if (!app.s.capture.recChan) {
        std::fprintf(stderr, "the capture did not start\n");
        return 1;
    }

    std::atomic<bool> done{false};
    std::thread busy([&] {
        volatile std::uint64_t x = 0;
        while (!done.load(std::memory_order_relaxed)) x = x * 6364136223846793005ull + 1;
    });
    const double t0 = now();
    std::thread feeder([] {
        std::vector<std::int16_t> block(kDeviceBlock * 2);
        for (std::uint64_t at = 0; at < kFrames; at += kDeviceBlock) {
            const auto n = static_cast<unsigned>(std::min<std::uint64_t>(kDeviceBlock, kFrames - at));
            block.resize(n * 2);
            for (unsigned f = 0; f < n; ++f) {
                block[2 * f] = leftOf(at + f);
                block[2 * f + 1] = rightOf(at + f);
            }
            engine::testing::pushCaptureInput(block);
            engine::testing::advance(n);
        }
    });
    feeder.join();
    const double fed = now() - t0;
    done = true;
    busy.join();
    velvora::recording::StopCapture(app);

    double rss1 = 0, peak1 = 0;
    memory(rss1, peak1);
    const auto& c = app.s.capture;
    const std::uint64_t kept = c.recBuffer.empty() ? 0 : static_cast<std::uint64_t>(c.recLength - 44) / 4;
    std::uint64_t wrong = 0;
    if (!c.recBuffer.empty()) {
        const std::uint8_t* data = c.recBuffer.data() + 44;
        for (std::uint64_t i = 0; i < kept; ++i) {
            std::int16_t s[2];
            std::memcpy(s, data + i * 4, 4);
            if (s[0] != leftOf(i) || s[1] != rightOf(i)) ++wrong;
        }
    }
    // Whole blocks of 100 ms arrive; 30 minutes are exactly 18000 of them.
    const std::uint64_t lost = kFrames - kept + wrong;
    const double takeMb = static_cast<double>(c.recLength) / 1e6;
    const double growthMb = (peak1 - rss0) / 1e6;
    std::printf("%d-minute take: %.1f s to feed (%.0fx real time), %llu frames kept, %llu wrong\n", kMinutes,
                fed, kMinutes * 60 / fed, static_cast<unsigned long long>(kept),
                static_cast<unsigned long long>(wrong));
    std::printf("take %.1f MB; resident memory grew by %.1f MB at its peak (%.1f MB now)\n", takeMb, growthMb,
                (rss1 - rss0) / 1e6);
    std::printf("RESULT long_take minutes=%d lost_frames=%llu rss_over_take_mb=%.1f\n", kMinutes,
                static_cast<unsigned long long>(lost), growthMb - takeMb);
    velvora::recording::releaseCaptureBuffer(app);
    BASS_RecordFree();
    BASS_Free();
    return lost == 0 ? 0 : 1;
}
