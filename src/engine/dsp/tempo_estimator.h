// The tempo a person would tap along to. SoundTouch's detector finds the period at which the music
// repeats best, which on a click every beat is often two or three beats (175 BPM comes out as 58).
// Its figure is kept as the seed; the estimator then weighs the figure's small multiples and
// fractions by how well the onsets of the same audio support each of them, with a mild preference
// for the tempos people tap, and picks the best inside the range asked for.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace soundtouch {
class BPMDetect;
}

namespace engine {

class TempoEstimator {
  public:
    TempoEstimator(unsigned chans, unsigned rate);
    ~TempoEstimator();
    TempoEstimator(const TempoEstimator&) = delete;
    TempoEstimator& operator=(const TempoEstimator&) = delete;

    // Interleaved float frames of the span being measured.
    void input(const float* frames, unsigned count);
    // The span's tempo inside [low, high] (`minMax`: low word, high word; 0 for the usual tapping
    // range); 0 when the span has no tempo to find.
    float bpm(std::uint32_t minMax) const;

  private:
    double support(double bpm) const;

    unsigned chans_, rate_;
    std::unique_ptr<soundtouch::BPMDetect> detector_;
    // Energy per hop of the mono sum, and the hop being filled.
    std::vector<float> energy_;
    double hopSum_ = 0;
    unsigned hopFill_ = 0;
};

} // namespace engine
