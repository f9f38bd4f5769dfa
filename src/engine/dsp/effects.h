// The built-in effects: gain, peaking equaliser, compressor, room reverb. Each keeps its parameters
// under a small lock of its own (setParameters from the API thread, process() on the producing
// thread); a parameter record out of range is refused and leaves the effect as it was.
#pragma once

#include "pipeline/chain.h"

#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace engine {

class Effect : public Stage {
  public:
    DWORD type = 0;
    // Both return a BASS error code (0 on success).
    virtual int getParameters(void* params) = 0;
    virtual int setParameters(const void* params) = 0;

    // Makes the effect of `type` for a channel of `freq` and `chans`; null for an unknown type.
    static std::shared_ptr<Effect> make(DWORD type, DWORD freq, DWORD chans);

  protected:
    std::mutex mutex_;
};

// True when channel `c` (from 0) is addressed by an lChannel value: -1 or 0 all, else a bit mask.
inline bool channelSelected(int lChannel, unsigned c) {
    if (lChannel == -1 || lChannel == 0) return true;
    return c < 31 && (static_cast<unsigned>(lChannel) & (1u << c)) != 0;
}

// A biquad in direct form I, the RBJ peaking equaliser.
struct Biquad {
    double b0 = 1, b1 = 0, b2 = 0, a1 = 0, a2 = 0;
    void peaking(double rate, double center, double gainDb, double bandwidthOct, double q);
};

class VolumeEffect final : public Effect {
  public:
    explicit VolumeEffect(DWORD chans) : chans_(chans) {}
    void process(Channel& ch, float* buffer, unsigned frames) override;
    int getParameters(void* params) override;
    int setParameters(const void* params) override;

  private:
    DWORD chans_;
    BASS_BFX_VOLUME p_{BASS_BFX_CHANALL, 1.0f};
};

class PeakEqEffect final : public Effect {
  public:
    PeakEqEffect(DWORD freq, DWORD chans);
    void process(Channel& ch, float* buffer, unsigned frames) override;
    int getParameters(void* params) override;
    int setParameters(const void* params) override;

  private:
    struct Band {
        BASS_BFX_PEAKEQ p;
        Biquad coef;
        std::vector<double> state; // x1, x2, y1, y2 per channel
    };
    Band makeBand(const BASS_BFX_PEAKEQ& p) const;
    DWORD freq_, chans_;
    std::map<int, Band> bands_;
};

class CompressorEffect final : public Effect {
  public:
    CompressorEffect(DWORD freq, DWORD chans);
    void process(Channel& ch, float* buffer, unsigned frames) override;
    int getParameters(void* params) override;
    int setParameters(const void* params) override;

  private:
    void derive();
    DWORD freq_, chans_;
    BASS_BFX_COMPRESSOR2 p_{0.0f, -15.0f, 3.0f, 10.0f, 200.0f, BASS_BFX_CHANALL};
    double attack_ = 0, release_ = 0, slope_ = 0, makeup_ = 1;
    double env_ = 0;
};

// A feedback delay network of eight lines under an orthogonal (Hadamard) matrix. Each line's loop
// gain makes a 60 dB decay in fReverbTime; a shelf in each loop (crossing over near 4 kHz) gives
// the highs the shorter decay fReverbTime * fHighFreqRTRatio. Left feeds the even lines, right the
// odd ones; the even lines make the left output, the odd ones the right.
class ReverbEffect final : public Effect {
  public:
    ReverbEffect(DWORD freq, DWORD chans);
    void process(Channel& ch, float* buffer, unsigned frames) override;
    int getParameters(void* params) override;
    int setParameters(const void* params) override;

    static constexpr int kLines = 8;

  private:
    void derive();
    DWORD freq_, chans_;
    BASS_DX8_REVERB p_{0.0f, 0.0f, 1000.0f, 0.001f};
    std::vector<float> line_[kLines];
    unsigned pos_[kLines] = {};
    float gLow_[kLines] = {}, gHigh_[kLines] = {}, lp_[kLines] = {};
    float shelfPole_ = 0;
    float inGain_ = 1, wetGain_ = 1;
};

} // namespace engine
