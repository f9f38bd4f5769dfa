// The pitch of a voice, block by block: aubio's YIN (its "yinfast" form, the same difference
// function computed through FFTs) over a sliding window, one reading every hop. (aubio's YIN-FFT
// variant reports no confidence in the Debian build, so silence and noise could not be told.) Not for the
// device callback: it allocates while it starts and takes a few tens of microseconds a hop; the pitch tracker
// runs it on a thread of its own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace velvora::pitch {

struct PitchFrame {
    // The middle of the analysed window, in seconds from the first sample fed (below 0 for the
    // first few readings).
    double seconds = 0;
    // The fundamental in Hz; 0 when the window holds no clear pitch (silence, noise, a consonant).
    float hz = 0;
};

class PitchDetector {
  public:
    static constexpr int kWindow = 1024;
    static constexpr int kHop = 256;

    explicit PitchDetector(int sampleRate);
    ~PitchDetector();
    PitchDetector(const PitchDetector&) = delete;
    PitchDetector& operator=(const PitchDetector&) = delete;

    // Feeds mono samples (full scale +-1); a reading is appended to `out` for every hop completed.
    void feed(const float* samples, std::size_t count, std::vector<PitchFrame>& out);
    double hopSeconds() const { return static_cast<double>(kHop) / rate_; }

  private:
    struct Aubio; // aubio's detector with its in and out vectors
    int rate_;
    std::unique_ptr<Aubio> aubio_;
    std::size_t filled_ = 0; // samples of the current hop in the in vector
    std::uint64_t hops_ = 0; // hops analysed so far
};

// The lowest and highest fundamentals a singer's reading is taken at; outside them it is 0.
constexpr float kLowestHz = 60.0f;
constexpr float kHighestHz = 1500.0f;

} // namespace velvora::pitch
