// Playing channels: each has a ring of decoded frames at the device rate, filled ahead by the
// engine's update thread (or by testing::advance on the virtual device) and emptied by the device
// callback, which only mixes what is ready.
//
// Ring indexes count every frame ever written to a channel's ring (they never wrap); the device
// callback publishes how far it has read and at which device frame, so the frame being heard now is
// known for every channel: read index less the device frames not yet heard.
#pragma once

#include "pipeline/channel.h"
#include "pipeline/rate_converter.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace engine {

class Playback {
  public:
    enum State : int { kStopped = 0, kPlaying = 1, kPaused = 3 };
    static constexpr unsigned kRingFrames = 16384; // power of two
    static constexpr unsigned kHistoryFrames = 16384;
    static constexpr std::uint64_t kNoEnd = ~std::uint64_t{0};

    explicit Playback(Channel& channel);

    Channel& channel;
    std::atomic<int> state{kStopped};

    // --- Update side (one filler at a time) ---
    // Decodes until about `target` frames are buffered, or the end, or a stalled mixer.
    void fill(unsigned target, unsigned deviceRate);
    // Drops everything buffered (a seek or a stop); the device callback skips it. Returns the ring
    // index from which new frames will come.
    std::uint64_t flush();
    std::uint64_t epoch() const { return epoch_.load(std::memory_order_acquire); }
    std::uint64_t writeIndex() const { return write_.load(std::memory_order_acquire); }
    std::uint64_t endIndex() const { return endIndex_.load(std::memory_order_acquire); }

    // --- Device callback side: no lock, no allocation ---
    // Adds what is ready; false when the channel had fewer frames ready than asked, after it had
    // begun to sound and before its end (an underrun of the ring).
    bool mixInto(float* out, unsigned frames, std::uint64_t deviceEnd);

    // --- Anyone ---
    // The ring index being heard now; one before the first frame to come while nothing has been
    // mixed since the start or the last flush.
    double heardIndex() const;
    // True once the end has been heard.
    bool endHeard() const;
    // The last `frames` frames heard (stereo float, volume applied); false when none played yet.
    bool lastHeard(float* out, unsigned frames) const;

  private:
    std::unique_ptr<float[]> ring_;
    std::atomic<std::uint64_t> write_{0};
    std::atomic<std::uint64_t> read_{0};
    std::atomic<std::uint64_t> discardTo_{0};
    std::atomic<std::uint64_t> endIndex_{kNoEnd};
    std::atomic<std::uint64_t> epoch_{0};
    std::atomic<bool> sounding_{false}; // frames were mixed since the start or the last flush
    std::mutex pushMutex_;              // a push against a flush; never taken by the device callback

    // Published by the device callback: read index and device frame at the end of its last mix.
    std::atomic<unsigned> seq_{0};
    std::atomic<std::uint64_t> doneRead_{0};
    std::atomic<std::uint64_t> doneDevice_{0};

    std::unique_ptr<std::atomic<float>[]> history_;
    std::atomic<std::uint64_t> historyWrite_{0};
    std::atomic<std::uint64_t> historyDevice_{0};

    RateConverter converter_;
    std::uint64_t converterEpoch_ = 0;
    std::vector<float> scratch_;
};

// The set of playing channels the device callback sees, published atomically.
class PlayList {
  public:
    void add(const ChannelPtr& channel);
    void remove(Channel* channel);
    void clear();
    std::vector<ChannelPtr> snapshot();

    // Device callback: mixes every playing channel; returns how many ran short.
    unsigned mix(float* out, unsigned frames, std::uint64_t deviceEnd);

  private:
    struct List {
        std::vector<Playback*> items;
    };
    void publish(std::unique_ptr<List> next);

    std::mutex mutex_;
    std::vector<ChannelPtr> owners_;
    std::unique_ptr<List> current_;
    std::atomic<List*> live_{nullptr};
    std::atomic<bool> inMix_{false};
    std::atomic<std::uint64_t> mixCount_{0};
};

} // namespace engine
