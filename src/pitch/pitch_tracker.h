// The singer's pitch while they sing: the capture hands its blocks over without waiting, and a
// thread of the tracker's own reads the pitch from them; the window's timer takes the readings.
#pragma once

#include "pitch/pitch_detector.h"
#include "pitch/sample_ring.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

namespace velvora::pitch {

class PitchTracker {
  public:
    explicit PitchTracker(int sampleRate);
    ~PitchTracker();
    PitchTracker(const PitchTracker&) = delete;
    PitchTracker& operator=(const PitchTracker&) = delete;

    // On the capture's thread: interleaved 16-bit stereo frames, read as their mono mix. Never
    // waits; what the ring cannot hold (the reader fell two seconds behind) is dropped and counted.
    void push(const std::int16_t* stereo, std::size_t frames);
    // The readings made since the last call, oldest first; their times count from the first
    // sample pushed.
    std::vector<PitchFrame> takeReadings();
    // Waits until every sample pushed so far has been read.
    void drain();
    std::uint64_t droppedSamples() const { return dropped_.load(); }
    double hopSeconds() const { return static_cast<double>(PitchDetector::kHop) / rate_; }

  private:
    void run();

    int rate_;
    SampleRing ring_;
    std::atomic<std::uint64_t> pushed_{0};
    std::atomic<std::uint64_t> dropped_{0};
    std::uint64_t analysed_ = 0; // guarded by mutex_
    std::atomic<bool> stop_{false};
    std::mutex mutex_;
    std::condition_variable wake_;        // samples arrived, or stop
    std::condition_variable analysed_cv_; // the reader caught up with some
    std::vector<PitchFrame> readings_;    // guarded by mutex_
    std::thread thread_;
};

} // namespace velvora::pitch
