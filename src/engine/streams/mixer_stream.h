// A mixer: the sum of decoding sources, each at its BASS_ATTRIB_VOL, converted to the mixer's
// rate and channel count, and clipped to 16 bits unless the mixer is float.
#pragma once

#include "pipeline/channel.h"
#include "pipeline/rate_converter.h"

#include <mutex>
#include <vector>

namespace engine {

class MixerStream final : public Channel {
  public:
    MixerStream(DWORD freq, DWORD chans, DWORD flags);

    bool addSource(const ChannelPtr& source);
    unsigned pullStep(float* out, unsigned frames, const PullContext& ctx, bool* ended) override;
    double positionFrame() const override { return decodedPos_.load(std::memory_order_relaxed); }
    bool seekFrame(std::uint64_t frame) override;

  private:
    struct Source {
        ChannelPtr channel;
        RateConverter converter;
        bool ended = false;
    };
    std::mutex sourcesMutex_;
    std::vector<std::shared_ptr<Source>> sources_;
    std::vector<std::shared_ptr<Source>> active_; // the producer's copy
    std::vector<float> tmp_;
    double produced_ = 0;
};

} // namespace engine
