// A 30-minute take held in memory, recorded twice side by side: once with the take's journal on
// (the voice also written to disk as it is sung) and once without, the reference. The virtual
// capture input is fed in device-sized blocks of 512 frames from a thread of its own (which
// thereby runs the capture callback, as the engine's capture thread would), while a second thread
// keeps the other core busy. Every frame of each take is checked afterwards, and of the journal's
// file too; the growth of the process's memory is set beside the take's own size, and the
// journal's cost is told as the CPU time of the take and the worst time one block took to pass
// through the capture (the capture thread's worst wake-up).
#include "engine/api.h"
#include "engine/testing.h"
#include "recording/capture.h"
#include "recording/take_journal.h"
#include "support/offscreen_app.h"

#include <time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
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

double cpuOf(clockid_t clock) {
    timespec t{};
    clock_gettime(clock, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

// Frames of `data` (interleaved stereo 16-bit) that are not the input's own.
std::uint64_t wrongFrames(const std::uint8_t* data, std::uint64_t frames) {
    std::uint64_t wrong = 0;
    for (std::uint64_t i = 0; i < frames; ++i) {
        std::int16_t s[2];
        std::memcpy(s, data + i * 4, 4);
        if (s[0] != leftOf(i) || s[1] != rightOf(i)) ++wrong;
    }
    return wrong;
}

struct Take {
    std::uint64_t lost = 0;
    double fedSeconds = 0, cpuSeconds = 0, worstBlockMs = 0, takeMb = 0, growthMb = 0, rssNowMb = 0;
};

Take record(velvora::App& app, bool journal) {
    Take t;
    app.s.capture.journalOn = journal;
    double rss0 = 0, peak0 = 0;
    memory(rss0, peak0);
    velvora::recording::StartCapture(app);
    if (!app.s.capture.recChan) {
        t.lost = kFrames;
        return t;
    }
    std::atomic<bool> done{false};
    std::atomic<double> busyCpu{0};
    std::thread busy([&] {
        volatile std::uint64_t x = 0;
        while (!done.load(std::memory_order_relaxed)) x = x * 6364136223846793005ull + 1;
        busyCpu = cpuOf(CLOCK_THREAD_CPUTIME_ID);
    });
    const double cpu0 = cpuOf(CLOCK_PROCESS_CPUTIME_ID);
    const double t0 = now();
    double worst = 0;
    std::thread feeder([&worst] {
        std::vector<std::int16_t> block(kDeviceBlock * 2);
        for (std::uint64_t at = 0; at < kFrames; at += kDeviceBlock) {
            const auto n = static_cast<unsigned>(std::min<std::uint64_t>(kDeviceBlock, kFrames - at));
            block.resize(n * 2);
            for (unsigned f = 0; f < n; ++f) {
                block[2 * f] = leftOf(at + f);
                block[2 * f + 1] = rightOf(at + f);
            }
            const double b0 = now();
            engine::testing::pushCaptureInput(block);
            engine::testing::advance(n);
            worst = std::max(worst, now() - b0);
        }
    });
    feeder.join();
    t.fedSeconds = now() - t0;
    done = true;
    busy.join();
    velvora::recording::StopCapture(app); // the journal's writer finishes here
    t.cpuSeconds = cpuOf(CLOCK_PROCESS_CPUTIME_ID) - cpu0 - busyCpu;
    t.worstBlockMs = worst * 1000;

    double rss1 = 0, peak1 = 0;
    memory(rss1, peak1);
    const auto& c = app.s.capture;
    const std::uint64_t kept = c.recBuffer.empty() ? 0 : static_cast<std::uint64_t>(c.recLength - 44) / 4;
    const std::uint64_t wrong = c.recBuffer.empty() ? 0 : wrongFrames(c.recBuffer.data() + 44, kept);
    t.lost = kFrames - kept + wrong;
    if (journal) {
        // Every frame is in the journal too.
        const std::string path = velvora::recording::journalVoicePath(app);
        std::ifstream in(path, std::ios::binary);
        std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                                        std::istreambuf_iterator<char>());
        const std::uint64_t inJournal = bytes.size() > velvora::recording::kJournalHeaderBytes
                                            ? (bytes.size() - velvora::recording::kJournalHeaderBytes) / 4
                                            : 0;
        t.lost +=
            kFrames - std::min(kFrames, inJournal) +
            wrongFrames(bytes.data() + velvora::recording::kJournalHeaderBytes, std::min(kFrames, inJournal));
        velvora::recording::removeJournal(app);
    }
    t.takeMb = static_cast<double>(c.recLength) / 1e6;
    t.growthMb = (peak1 - rss0) / 1e6;
    t.rssNowMb = (rss1 - rss0) / 1e6;
    velvora::recording::releaseCaptureBuffer(app);
    return t;
}

void report(const char* name, const Take& t) {
    std::printf(
        "%s: %.1f s to feed (%.0fx real time), %llu frames lost, %.2f s of CPU, worst block %.2f ms\n", name,
        t.fedSeconds, kMinutes * 60 / t.fedSeconds, static_cast<unsigned long long>(t.lost), t.cpuSeconds,
        t.worstBlockMs);
}

} // namespace

int main() {
    engine::testing::useVirtualDevice(true);
    velvora::testing::OffscreenApp program;
    velvora::App& app = program.app();
    BASS_Init(-1, 44100, 0, nullptr, nullptr);
    BASS_RecordInit(0);
    app.s.capture.recBufStep = 200000;

    const Take with = record(app, true);
    const Take without = record(app, false);
    report("with the journal", with);
    report("without (reference)", without);
    std::printf("take %.1f MB; resident memory grew by %.1f MB at its peak (%.1f MB after the take)\n",
                with.takeMb, with.growthMb, with.rssNowMb);
    std::printf(
        "RESULT long_take minutes=%d lost_frames=%llu rss_over_take_mb=%.1f journal_cpu_s=%.2f "
        "reference_cpu_s=%.2f cpu_ratio=%.2f journal_worst_block_ms=%.2f reference_worst_block_ms=%.2f\n",
        kMinutes, static_cast<unsigned long long>(with.lost + without.lost), with.growthMb - with.takeMb,
        with.cpuSeconds, without.cpuSeconds, with.cpuSeconds / std::max(without.cpuSeconds, 1e-9),
        with.worstBlockMs, without.worstBlockMs);
    BASS_RecordFree();
    BASS_Free();
    return with.lost + without.lost == 0 ? 0 : 1;
}
