// Reads a channel at another rate and channel count: what a playing channel needs for the device
// and a mixer for each source. At the same rate frames pass through untouched (sample-exact); at
// another rate a cubic (Catmull-Rom) interpolator runs over the source frames.
#pragma once

#include "pipeline/channel.h"

#include <vector>

namespace engine {

class RateConverter {
  public:
    // Reads up to `frames` frames of `outChans` channels at `outRate` into `out`. Returns the frames
    // written; sets *ended when the source has ended and all of it was delivered. `ctx` describes
    // out[0] (see PullContext).
    unsigned read(Channel& src, float* out, unsigned frames, unsigned outRate, unsigned outChans,
                  const PullContext& ctx, bool* ended);
    // Forgets buffered source frames (after a seek).
    void reset();

  private:
    std::vector<float> in_;  // source frames, src.chans per frame
    std::vector<float> tmp_; // one block at the same rate
    unsigned inFrames_ = 0;
    double pos_ = 1.0; // read position in in_ of the next output frame
    bool primed_ = false;
    bool srcEnded_ = false;
};

// Maps interleaved frames from `inChans` to `outChans` channels (mono spread, extra dropped,
// stereo to mono averaged) into `out`.
void mapChannels(const float* in, unsigned inChans, float* out, unsigned outChans, unsigned frames);

} // namespace engine
