#include "pitch/pitch_tracker.h"

#include <algorithm>

namespace velvora::pitch {

namespace {
constexpr std::size_t kRingSeconds = 2;
constexpr std::size_t kChunk = 1024;
} // namespace

PitchTracker::PitchTracker(int sampleRate)
    : rate_(sampleRate), ring_(static_cast<std::size_t>(sampleRate) * kRingSeconds),
      thread_([this] { run(); }) {}

PitchTracker::~PitchTracker() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stop_ = true;
    }
    wake_.notify_one();
    thread_.join();
}

void PitchTracker::push(const std::int16_t* stereo, std::size_t frames) {
    float mono[kChunk];
    while (frames > 0) {
        const std::size_t n = std::min(frames, kChunk);
        for (std::size_t i = 0; i < n; ++i)
            mono[i] = (static_cast<float>(stereo[2 * i]) + static_cast<float>(stereo[2 * i + 1])) / 65536.0f;
        const std::size_t written = ring_.write(mono, n);
        dropped_ += n - written;
        pushed_ += written;
        stereo += 2 * n;
        frames -= n;
    }
    wake_.notify_one();
}

std::vector<PitchFrame> PitchTracker::takeReadings() {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<PitchFrame> out;
    out.swap(readings_);
    return out;
}

void PitchTracker::drain() {
    const std::uint64_t target = pushed_.load();
    wake_.notify_one();
    std::unique_lock<std::mutex> lock(mutex_);
    analysed_cv_.wait(lock, [&] { return analysed_ >= target; });
}

void PitchTracker::run() {
    PitchDetector detector(rate_);
    std::vector<float> chunk(kChunk);
    std::vector<PitchFrame> made;
    for (;;) {
        const std::size_t n = ring_.read(chunk.data(), chunk.size());
        if (n == 0) {
            std::unique_lock<std::mutex> lock(mutex_);
            if (stop_) return;
            // A push between the empty read and this wait notifies while the lock is not held,
            // so the wait is bounded rather than trusted.
            wake_.wait_for(lock, std::chrono::milliseconds(5));
            continue;
        }
        made.clear();
        detector.feed(chunk.data(), n, made);
        {
            std::lock_guard<std::mutex> lock(mutex_);
            readings_.insert(readings_.end(), made.begin(), made.end());
            analysed_ += n;
        }
        analysed_cv_.notify_all();
    }
}

} // namespace velvora::pitch
