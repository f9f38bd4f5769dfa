// A fixed ring of samples between one writer thread and one reader thread, without locks: the
// writer never waits, and what does not fit is refused (and left to the writer to count).
#pragma once

#include <atomic>
#include <cstddef>
#include <vector>

namespace velvora::pitch {

class SampleRing {
  public:
    explicit SampleRing(std::size_t capacity) : buffer_(capacity + 1) {}

    // Writer side: stores what fits of `count` samples, returns how many.
    std::size_t write(const float* samples, std::size_t count) {
        const std::size_t head = head_.load(std::memory_order_relaxed);
        const std::size_t tail = tail_.load(std::memory_order_acquire);
        const std::size_t room = (tail + buffer_.size() - head - 1) % buffer_.size();
        const std::size_t n = count < room ? count : room;
        for (std::size_t i = 0; i < n; ++i) buffer_[(head + i) % buffer_.size()] = samples[i];
        head_.store((head + n) % buffer_.size(), std::memory_order_release);
        return n;
    }
    // Reader side: takes up to `count` samples, returns how many.
    std::size_t read(float* out, std::size_t count) {
        const std::size_t tail = tail_.load(std::memory_order_relaxed);
        const std::size_t head = head_.load(std::memory_order_acquire);
        const std::size_t held = (head + buffer_.size() - tail) % buffer_.size();
        const std::size_t n = count < held ? count : held;
        for (std::size_t i = 0; i < n; ++i) out[i] = buffer_[(tail + i) % buffer_.size()];
        tail_.store((tail + n) % buffer_.size(), std::memory_order_release);
        return n;
    }

  private:
    std::vector<float> buffer_;
    std::atomic<std::size_t> head_{0}; // next slot the writer fills
    std::atomic<std::size_t> tail_{0}; // next slot the reader takes
};

} // namespace velvora::pitch
