// A tempo stream: a decoding source played faster or slower (BASS_ATTRIB_TEMPO, percent) and
// higher or lower (BASS_ATTRIB_TEMPO_PITCH, semitones) through SoundTouch. Its positions and
// length are those of the source.
#pragma once

#include "pipeline/channel.h"

#include <soundtouch/SoundTouch.h>

#include <vector>

namespace engine {

class TempoStream final : public Channel {
  public:
    TempoStream(ChannelPtr source, DWORD flags);

    unsigned produce(float* out, unsigned frames, bool* ended) override;
    double positionFrame() const override { return outPos_; }
    std::int64_t lengthFrames() const override { return source_->lengthFrames(); }
    bool seekFrame(std::uint64_t frame) override;
    bool toFrame(QWORD pos, DWORD mode, std::uint64_t& frame) const override;
    bool fromFrame(double frame, DWORD mode, QWORD& pos) const override;
    bool lengthIn(DWORD mode, QWORD& out) const override;
    bool setAttribute(DWORD attrib, float value) override;
    bool getAttribute(DWORD attrib, float& value) const override;
    void onFree() override;

    // Source frames per output frame (1.0 at tempo 0).
    float rateRatio() const { return ratio_.load(std::memory_order_relaxed); }

  private:
    void applySettings();

    ChannelPtr source_;
    bool freeSource_;
    soundtouch::SoundTouch st_;
    float tempo_ = 0; // percent
    float pitch_ = 0; // semitones
    std::atomic<float> ratio_{1.0f};
    bool bypass_ = true; // tempo and pitch at 0 since the last seek: the source passes untouched
    double outPos_ = 0;
    bool sourceEnded_ = false;
    bool flushed_ = false;
    std::vector<float> in_;
};

} // namespace engine
