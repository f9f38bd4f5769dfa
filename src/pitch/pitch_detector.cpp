#include "pitch/pitch_detector.h"

#include <aubio/aubio.h>

#include <algorithm>

namespace velvora::pitch {

namespace {
// Readings the detector is less sure of than this are no pitch: breath, noise and the mixed
// windows of a note change.
constexpr smpl_t kMinConfidence = 0.6f;
// Quieter than this (dB full scale) is silence.
constexpr smpl_t kSilenceDb = -55.0f;
} // namespace

struct PitchDetector::Aubio {
    explicit Aubio(int sampleRate) {
        char method[] = "yinfast";
        char unit[] = "Hz";
        detector = new_aubio_pitch(method, kWindow, kHop, static_cast<uint_t>(sampleRate));
        aubio_pitch_set_unit(detector, unit);
        aubio_pitch_set_silence(detector, kSilenceDb);
    }
    ~Aubio() {
        del_fvec(out);
        del_fvec(in);
        del_aubio_pitch(detector);
    }
    Aubio(const Aubio&) = delete;
    Aubio& operator=(const Aubio&) = delete;

    aubio_pitch_t* detector = nullptr;
    fvec_t* in = new_fvec(kHop);
    fvec_t* out = new_fvec(1);
};

PitchDetector::PitchDetector(int sampleRate)
    : rate_(sampleRate), aubio_(std::make_unique<Aubio>(sampleRate)) {}

PitchDetector::~PitchDetector() = default;

void PitchDetector::feed(const float* samples, std::size_t count, std::vector<PitchFrame>& out) {
    while (count > 0) {
        const std::size_t take = std::min<std::size_t>(count, kHop - filled_);
        std::copy(samples, samples + take, aubio_->in->data + filled_);
        filled_ += take;
        samples += take;
        count -= take;
        if (filled_ < static_cast<std::size_t>(kHop)) break;
        filled_ = 0;
        aubio_pitch_do(aubio_->detector, aubio_->in, aubio_->out);
        ++hops_;
        PitchFrame frame;
        // The window ends with this hop; its middle is half a window back (before the first
        // sample for the first readings, whose windows begin in silence).
        const double end = static_cast<double>(hops_ * kHop);
        frame.seconds = (end - kWindow / 2.0) / rate_;
        const float hz = aubio_->out->data[0];
        if (aubio_pitch_get_confidence(aubio_->detector) >= kMinConfidence && hz >= kLowestHz &&
            hz <= kHighestHz)
            frame.hz = hz;
        out.push_back(frame);
    }
}

} // namespace velvora::pitch
