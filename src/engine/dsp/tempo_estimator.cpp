#include "dsp/tempo_estimator.h"

#include <soundtouch/BPMDetect.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace engine {

namespace {

constexpr unsigned kHop = 256;   // frames per energy value: 5.8 ms at 44.1 kHz
constexpr double kUsualLow = 55; // the tapping range when none is asked for
constexpr double kUsualHigh = 190;
constexpr double kPreferredBpm = 120;    // centre of the tempos people tap...
constexpr double kPreferenceOctaves = 1; // ...and how fast the preference falls off, in octaves
constexpr double kCloseToBest = 0.85;    // a score this near the best one counts as as good

// The seed's relatives worth weighing: a detector that locks on a bar or a half bar is off by
// one of these.
constexpr std::array<double, 11> kRatios{1.0 / 4, 1.0 / 3, 1.0 / 2, 2.0 / 3, 3.0 / 4, 1.0,
                                         4.0 / 3, 3.0 / 2, 2.0,     3.0,     4.0};

// Doubles or halves a tempo into [low, high].
double fold(double bpm, double low, double high) {
    for (int i = 0; i < 8 && low > 0 && bpm < low; ++i) bpm *= 2;
    for (int i = 0; i < 8 && bpm > high; ++i) bpm /= 2;
    return bpm;
}

// Onsets from hop energies: the rise of the compressed energy, lightly smoothed so that an onset
// that straddles two hops still lines up with its neighbours one beat away. Mean removed.
std::vector<double> onsets(const std::vector<float>& energy) {
    std::vector<double> out(energy.size(), 0.0);
    if (energy.size() < 3) return out;
    double mean = 0;
    for (float e : energy) mean += e;
    mean /= static_cast<double>(energy.size());
    if (mean <= 0) return out;
    double previous = std::log1p(1000.0 * energy[0] / mean);
    std::vector<double> rise(energy.size(), 0.0);
    for (std::size_t i = 1; i < energy.size(); ++i) {
        const double c = std::log1p(1000.0 * energy[i] / mean);
        rise[i] = std::max(0.0, c - previous);
        previous = c;
    }
    double sum = 0;
    for (std::size_t i = 1; i + 1 < rise.size(); ++i) {
        out[i] = 0.25 * rise[i - 1] + 0.5 * rise[i] + 0.25 * rise[i + 1];
        sum += out[i];
    }
    const double avg = sum / static_cast<double>(out.size());
    for (double& v : out) v -= avg;
    return out;
}

// Autocorrelation at a fractional lag (in hops), per overlapping pair, over that at lag 0.
double correlation(const std::vector<double>& x, double lag) {
    const auto whole = static_cast<std::size_t>(lag);
    const double frac = lag - static_cast<double>(whole);
    if (whole + 1 >= x.size()) return 0;
    double zero = 0;
    for (double v : x) zero += v * v;
    if (zero <= 0) return 0;
    double at = 0;
    const std::size_t pairs = x.size() - whole - 1;
    for (std::size_t i = 0; i < pairs; ++i)
        at += x[i] * ((1 - frac) * x[i + whole] + frac * x[i + whole + 1]);
    return (at / static_cast<double>(pairs)) / (zero / static_cast<double>(x.size()));
}

} // namespace

TempoEstimator::TempoEstimator(unsigned chans, unsigned rate)
    : chans_(std::max(1u, chans)), rate_(std::max(1u, rate)),
      detector_(std::make_unique<soundtouch::BPMDetect>(static_cast<int>(chans_), static_cast<int>(rate_))) {}

TempoEstimator::~TempoEstimator() = default;

void TempoEstimator::input(const float* frames, unsigned count) {
    detector_->inputSamples(frames, static_cast<int>(count));
    for (unsigned f = 0; f < count; ++f) {
        double mono = 0;
        for (unsigned c = 0; c < chans_; ++c) mono += frames[static_cast<std::size_t>(f) * chans_ + c];
        mono /= chans_;
        hopSum_ += mono * mono;
        if (++hopFill_ == kHop) {
            energy_.push_back(static_cast<float>(hopSum_));
            hopSum_ = 0;
            hopFill_ = 0;
        }
    }
}

float TempoEstimator::bpm(std::uint32_t minMax) const {
    const double seed = std::max(0.0f, detector_->getBpm());
    if (seed <= 0) return 0;
    double low = minMax & 0xffff, high = minMax >> 16;
    if (minMax == 0) {
        low = kUsualLow;
        high = kUsualHigh;
    }
    if (high == 0) high = std::numeric_limits<double>::infinity();
    if (low > high) return static_cast<float>(seed); // a range that holds nothing: the seed as it is

    const std::vector<double> x = onsets(energy_);
    const double hopsPerMinute = 60.0 * rate_ / kHop;
    struct Weighed {
        double bpm, score;
    };
    std::vector<Weighed> weighed;
    double bestScore = 0;
    for (const double r : kRatios) {
        const double candidate = seed * r;
        if (candidate < low || candidate > high) continue;
        const double lag = hopsPerMinute / candidate;
        // Onsets one beat apart, and (half as much) two beats apart: a fraction of the true beat
        // finds little at its own period, a multiple finds as much as the beat does.
        const double support = correlation(x, lag) + 0.5 * correlation(x, 2 * lag);
        const double octaves = std::log2(candidate / kPreferredBpm) / kPreferenceOctaves;
        weighed.push_back({candidate, std::max(0.0, support) * std::exp(-0.5 * octaves * octaves)});
        bestScore = std::max(bestScore, weighed.back().score);
    }
    if (bestScore <= 0) return static_cast<float>(fold(seed, low, high));
    // Every multiple of the beat is supported about as well as the beat itself; the beat is the
    // fastest of those that come close to the best.
    double best = 0;
    for (const Weighed& w : weighed)
        if (w.score >= kCloseToBest * bestScore) best = std::max(best, w.bpm);
    return static_cast<float>(best);
}

} // namespace engine
