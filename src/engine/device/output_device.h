// The engine's one output: the backend in use, the clock of what is being heard, and a keeper that
// lets a song go on when the device goes away.
//
// The clock. Each time the device asks for a block it says how many frames it will still play
// before that block's first frame (`delay`). So at `t` seconds after the block was rendered, the
// frame being heard is blockStart - delay + t * rate, and never past what was rendered. The block's
// start, size, delay and time are published under a sequence lock; readers never block the device.
//
// The keeper. When the backend fails (the sound server quit, the card was pulled) or stops asking
// for audio for longer than a second, the no-sound clock takes its place, so positions, syncs and
// the end of the song move on in silence; every second the keeper tries to open the lost device
// again and, when it opens, hands the mix back to it. Swaps never let two devices mix at once:
// every backend renders through a slot with a generation, and only the current generation mixes.
//
// Threads: render() runs on the device's thread (no lock, no allocation); open(), close() and the
// accessors on any thread; the keeper on a thread of its own.
#pragma once

#include "device/output_backend.h"
#include "testing.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace engine {

// Underflows, ring underruns, devices lost and regained (testing.h says what each counts).
using OutputHealth = testing::OutputHealth;

class OutputDevice {
  public:
    // Fills `out` (zeroed by the caller) with `frames` frames of the mix whose last frame is device
    // frame `deviceEnd`; returns how many playing channels ran short. On the device's thread.
    using MixFn = unsigned (*)(void* ctx, float* out, unsigned frames, std::uint64_t deviceEnd);
    // Opens the device again after it was lost; null while it is still away.
    using Reopen = std::function<std::unique_ptr<OutputBackend>()>;

    OutputDevice(MixFn mix, void* ctx) : mix_(mix), mixCtx_(ctx) {}
    ~OutputDevice() { close(); }
    OutputDevice(const OutputDevice&) = delete;
    OutputDevice& operator=(const OutputDevice&) = delete;

    // Starts `backend`; false when it does not start or an output is open already. With `reopen`,
    // a real-time backend is watched and replaced as described above.
    bool open(std::unique_ptr<OutputBackend> backend, unsigned rate, Reopen reopen);
    // Stops the keeper and the backend. Nothing renders once it returns.
    void close();
    bool isOpen() const { return open_.load(std::memory_order_acquire); }

    unsigned rate() const { return rate_.load(std::memory_order_relaxed); }
    // The device's own buffering in frames, as set up (each block reports its actual delay).
    unsigned latencyFrames() const { return latency_.load(std::memory_order_relaxed); }
    bool realtime() const { return realtime_.load(std::memory_order_relaxed); }
    std::uint64_t framesRendered() const { return rendered_.load(std::memory_order_acquire); }
    // The device frame being heard now (fractional on a real-time device).
    double heardFrame() const;
    std::string name() const;
    OutputHealth health() const;

    // Runs `fn` on the backend under the output's lock (the virtual device's advance).
    template <typename Fn>
    void withBackend(Fn&& fn) {
        std::lock_guard lock(mutex_);
        fn(backend_.get());
    }

  private:
    struct Slot {
        OutputDevice* device;
        unsigned generation;
    };
    static void renderThunk(void* ctx, float* out, unsigned frames, double delay);
    void render(const Slot& slot, float* out, unsigned frames, double delay);
    // Starts `next` in place of the backend in use and stops the old one. False when it fails to
    // start (the old one stays).
    bool swapTo(std::unique_ptr<OutputBackend> next, bool fallback);
    void keeperMain();

    const MixFn mix_;
    void* const mixCtx_;

    mutable std::mutex mutex_; // guards backend_, slot_, onFallback_
    std::unique_ptr<OutputBackend> backend_;
    std::unique_ptr<Slot> slot_;
    bool onFallback_ = false;
    Reopen reopen_;

    std::atomic<bool> open_{false};
    std::atomic<bool> realtime_{false};
    std::atomic<unsigned> rate_{44100};
    std::atomic<unsigned> latency_{0};
    std::atomic<unsigned> generation_{0};
    std::atomic<bool> rendering_{false};

    // The last block, under a sequence lock (odd while it changes).
    std::atomic<unsigned> seq_{0};
    std::atomic<std::uint64_t> blockStart_{0};
    std::atomic<unsigned> blockFrames_{0};
    std::atomic<double> blockDelay_{0};
    std::atomic<long long> blockNs_{0};
    std::atomic<std::uint64_t> rendered_{0};
    mutable std::atomic<double> lastHeard_{0};

    std::atomic<unsigned> deviceUnderrunsBefore_{0}; // of backends that were replaced
    std::atomic<unsigned> ringUnderruns_{0};
    std::atomic<unsigned> failures_{0};
    std::atomic<unsigned> recoveries_{0};

    std::mutex keeperMutex_;
    std::condition_variable keeperWake_;
    bool keeperRunning_ = false;
    std::thread keeper_;
};

} // namespace engine
