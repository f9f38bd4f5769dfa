#include "dsp/effects.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace engine {

namespace {

bool in(float v, float lo, float hi) {
    return std::isfinite(v) && v >= lo && v <= hi;
}
bool validChannel(int lChannel) {
    return lChannel >= -1;
}
double dbToGain(double db) {
    return std::pow(10.0, db / 20.0);
}
// One-pole smoothing coefficient for a time constant of `ms`.
double timeCoef(double ms, double rate) {
    return std::exp(-1.0 / (ms * 0.001 * rate));
}

} // namespace

std::shared_ptr<Effect> Effect::make(DWORD type, DWORD freq, DWORD chans) {
    std::shared_ptr<Effect> fx;
    switch (type) {
    case BASS_FX_DX8_REVERB:
        fx = std::make_shared<ReverbEffect>(freq, chans);
        break;
    case BASS_FX_BFX_VOLUME:
        fx = std::make_shared<VolumeEffect>(chans);
        break;
    case BASS_FX_BFX_PEAKEQ:
        fx = std::make_shared<PeakEqEffect>(freq, chans);
        break;
    case BASS_FX_BFX_COMPRESSOR2:
        fx = std::make_shared<CompressorEffect>(freq, chans);
        break;
    default:
        return nullptr;
    }
    fx->type = type;
    return fx;
}

// ---- Volume ----

void VolumeEffect::process(Channel&, float* buffer, unsigned frames) {
    std::lock_guard lock(mutex_);
    const float v = p_.fVolume;
    if (v == 1.0f) return;
    for (unsigned c = 0; c < chans_; ++c) {
        if (!channelSelected(p_.lChannel, c)) continue;
        for (unsigned f = 0; f < frames; ++f) buffer[static_cast<std::size_t>(f) * chans_ + c] *= v;
    }
}

int VolumeEffect::getParameters(void* params) {
    std::lock_guard lock(mutex_);
    std::memcpy(params, &p_, sizeof p_);
    return 0;
}

int VolumeEffect::setParameters(const void* params) {
    BASS_BFX_VOLUME p;
    std::memcpy(&p, params, sizeof p);
    if (!validChannel(p.lChannel) || !in(p.fVolume, 0.0f, 1000.0f)) return BASS_ERROR_ILLPARAM;
    std::lock_guard lock(mutex_);
    p_ = p;
    return 0;
}

// ---- Peaking equaliser ----

void Biquad::peaking(double rate, double center, double gainDb, double bandwidthOct, double q) {
    const double pi = std::acos(-1.0);
    const double a = std::pow(10.0, gainDb / 40.0);
    const double w0 = 2 * pi * center / rate;
    const double sn = std::sin(w0), cs = std::cos(w0);
    const double alpha =
        bandwidthOct > 0 ? sn * std::sinh(std::log(2.0) / 2 * bandwidthOct * w0 / sn) : sn / (2 * q);
    const double a0 = 1 + alpha / a;
    b0 = (1 + alpha * a) / a0;
    b1 = -2 * cs / a0;
    b2 = (1 - alpha * a) / a0;
    a1 = -2 * cs / a0;
    a2 = (1 - alpha / a) / a0;
}

PeakEqEffect::PeakEqEffect(DWORD freq, DWORD chans) : freq_(freq), chans_(chans) {
    const BASS_BFX_PEAKEQ def{0, 1.0f, 0.0f, 1000.0f, 0.0f, BASS_BFX_CHANALL};
    bands_.emplace(0, makeBand(def));
}

PeakEqEffect::Band PeakEqEffect::makeBand(const BASS_BFX_PEAKEQ& p) const {
    Band b;
    b.p = p;
    b.coef.peaking(freq_, p.fCenter, p.fGain, p.fBandwidth, p.fQ);
    b.state.assign(static_cast<std::size_t>(chans_) * 4, 0.0);
    return b;
}

void PeakEqEffect::process(Channel&, float* buffer, unsigned frames) {
    std::lock_guard lock(mutex_);
    for (auto& [index, band] : bands_) {
        if (band.p.fGain == 0.0f) continue; // flat: passes the samples untouched
        const Biquad& k = band.coef;
        for (unsigned c = 0; c < chans_; ++c) {
            if (!channelSelected(band.p.lChannel, c)) continue;
            double* s = &band.state[static_cast<std::size_t>(c) * 4];
            double x1 = s[0], x2 = s[1], y1 = s[2], y2 = s[3];
            for (unsigned f = 0; f < frames; ++f) {
                float& v = buffer[static_cast<std::size_t>(f) * chans_ + c];
                const double x = v;
                double y = k.b0 * x + k.b1 * x1 + k.b2 * x2 - k.a1 * y1 - k.a2 * y2;
                if (std::abs(y) < 1e-30) y = 0; // no denormals in the tail
                x2 = x1;
                x1 = x;
                y2 = y1;
                y1 = y;
                v = static_cast<float>(y);
            }
            s[0] = x1, s[1] = x2, s[2] = y1, s[3] = y2;
        }
    }
}

int PeakEqEffect::getParameters(void* params) {
    BASS_BFX_PEAKEQ p;
    std::memcpy(&p, params, sizeof p);
    if (p.lBand < 0 || p.lBand > 63) return BASS_ERROR_ILLPARAM;
    std::lock_guard lock(mutex_);
    auto it = bands_.find(p.lBand);
    // A band never set reads as the defaults (it is flat).
    const BASS_BFX_PEAKEQ out = it != bands_.end()
                                    ? it->second.p
                                    : BASS_BFX_PEAKEQ{p.lBand, 1.0f, 0.0f, 1000.0f, 0.0f, BASS_BFX_CHANALL};
    std::memcpy(params, &out, sizeof out);
    return 0;
}

int PeakEqEffect::setParameters(const void* params) {
    BASS_BFX_PEAKEQ p;
    std::memcpy(&p, params, sizeof p);
    if (p.lBand < 0 || p.lBand > 63 || !validChannel(p.lChannel)) return BASS_ERROR_ILLPARAM;
    if (!in(p.fBandwidth, 0.0f, 10.0f) || !in(p.fGain, -60.0f, 60.0f)) return BASS_ERROR_ILLPARAM;
    if (!in(p.fCenter, 1.0f, static_cast<float>(freq_) / 2) || p.fCenter >= static_cast<float>(freq_) / 2)
        return BASS_ERROR_ILLPARAM;
    if (p.fBandwidth == 0.0f && !in(p.fQ, 0.01f, 100.0f)) return BASS_ERROR_ILLPARAM;
    if (p.fBandwidth != 0.0f && !(std::isfinite(p.fQ))) return BASS_ERROR_ILLPARAM;
    Band b = makeBand(p);
    std::lock_guard lock(mutex_);
    auto it = bands_.find(p.lBand);
    if (it != bands_.end()) {
        b.state = std::move(it->second.state); // the filter goes on from where it was: no click
        it->second = std::move(b);
    } else {
        bands_.emplace(p.lBand, std::move(b));
    }
    return 0;
}

// ---- Compressor ----

CompressorEffect::CompressorEffect(DWORD freq, DWORD chans) : freq_(freq), chans_(chans) {
    derive();
}

void CompressorEffect::derive() {
    attack_ = timeCoef(p_.fAttack, freq_);
    release_ = timeCoef(p_.fRelease, freq_);
    slope_ = 1.0 - 1.0 / p_.fRatio;
    makeup_ = dbToGain(p_.fGain);
}

void CompressorEffect::process(Channel&, float* buffer, unsigned frames) {
    std::lock_guard lock(mutex_);
    const double threshold = p_.fThreshold;
    double env = env_;
    for (unsigned f = 0; f < frames; ++f) {
        float* frame = buffer + static_cast<std::size_t>(f) * chans_;
        // The peak of the addressed channels drives one gain for all of them (linked stereo).
        double peak = 0;
        for (unsigned c = 0; c < chans_; ++c)
            if (channelSelected(p_.lChannel, c))
                peak = std::max(peak, static_cast<double>(std::abs(frame[c])));
        const double k = peak > env ? attack_ : release_;
        env = k * env + (1 - k) * peak;
        double gain = makeup_;
        if (env > 1e-9) {
            const double levelDb = 20 * std::log10(env);
            if (levelDb > threshold) gain *= dbToGain(-(levelDb - threshold) * slope_);
        }
        for (unsigned c = 0; c < chans_; ++c)
            if (channelSelected(p_.lChannel, c)) frame[c] = static_cast<float>(frame[c] * gain);
    }
    env_ = env < 1e-30 ? 0 : env;
}

int CompressorEffect::getParameters(void* params) {
    std::lock_guard lock(mutex_);
    std::memcpy(params, &p_, sizeof p_);
    return 0;
}

int CompressorEffect::setParameters(const void* params) {
    BASS_BFX_COMPRESSOR2 p;
    std::memcpy(&p, params, sizeof p);
    if (!in(p.fGain, -60.0f, 60.0f) || !in(p.fThreshold, -90.0f, 0.0f) || !in(p.fRatio, 1.0f, 1000.0f) ||
        !in(p.fAttack, 0.01f, 1000.0f) || !in(p.fRelease, 0.01f, 5000.0f) || !validChannel(p.lChannel))
        return BASS_ERROR_ILLPARAM;
    std::lock_guard lock(mutex_);
    p_ = p;
    derive();
    return 0;
}

// ---- Reverb ----

ReverbEffect::ReverbEffect(DWORD freq, DWORD chans) : freq_(freq), chans_(chans) {
    // Mutually prime lengths between 32 and 68 ms at 44.1 kHz: a dense, even echo pattern.
    static constexpr unsigned kLengths[kLines] = {1427, 1637, 1871, 2053, 2311, 2539, 2767, 3001};
    for (int i = 0; i < kLines; ++i) {
        const auto n = std::max<unsigned>(
            16, static_cast<unsigned>(std::lround(kLengths[i] * static_cast<double>(freq_) / 44100.0)));
        line_[i].assign(n, 0.0f);
    }
    derive();
}

void ReverbEffect::derive() {
    const double pi = std::acos(-1.0);
    const double t60 = p_.fReverbTime * 0.001;
    const double t60High = t60 * p_.fHighFreqRTRatio;
    for (int i = 0; i < kLines; ++i) {
        const double delay = static_cast<double>(line_[i].size()) / freq_;
        gLow_[i] = static_cast<float>(std::pow(10.0, -3.0 * delay / t60));
        gHigh_[i] = static_cast<float>(std::pow(10.0, -3.0 * delay / t60High));
    }
    shelfPole_ = static_cast<float>(std::exp(-2 * pi * std::min(4000.0, freq_ * 0.4) / freq_));
    inGain_ = static_cast<float>(dbToGain(p_.fInGain));
    // -96 dB is "no reverberation": exactly the dry signal.
    wetGain_ = p_.fReverbMix <= -96.0f ? 0.0f : static_cast<float>(dbToGain(p_.fReverbMix));
}

void ReverbEffect::process(Channel&, float* buffer, unsigned frames) {
    std::lock_guard lock(mutex_);
    const unsigned chans = chans_;
    const float wetScale = wetGain_ * 0.5f;
    const float norm = 1.0f / std::sqrt(static_cast<float>(kLines));
    const float pole = shelfPole_;
    for (unsigned f = 0; f < frames; ++f) {
        float* frame = buffer + static_cast<std::size_t>(f) * chans;
        const float inL = frame[0] * inGain_;
        const float inR = (chans > 1 ? frame[1] : frame[0]) * inGain_;
        float v[kLines];
        float outL = 0, outR = 0;
        for (int i = 0; i < kLines; ++i) {
            const float y = line_[i][pos_[i]];
            if (i & 1)
                outR += (i & 2) ? -y : y;
            else
                outL += (i & 2) ? -y : y;
            // The loop's shelf: gLow below the crossover, about gHigh above it.
            lp_[i] = (1 - pole) * y + pole * lp_[i] + 1e-20f;
            v[i] = gHigh_[i] * y + (gLow_[i] - gHigh_[i]) * lp_[i];
        }
        // Hadamard 8x8 by butterflies, normalised: orthogonal, so the loop loses only by the gains.
        for (int span = 1; span < kLines; span *= 2)
            for (int i = 0; i < kLines; i += 2 * span)
                for (int j = i; j < i + span; ++j) {
                    const float a = v[j], b = v[j + span];
                    v[j] = a + b;
                    v[j + span] = a - b;
                }
        for (int i = 0; i < kLines; ++i) {
            line_[i][pos_[i]] = v[i] * norm + ((i & 1) ? inR : inL);
            if (++pos_[i] == line_[i].size()) pos_[i] = 0;
        }
        frame[0] = inL + outL * wetScale;
        if (chans > 1) frame[1] = inR + outR * wetScale;
        for (unsigned c = 2; c < chans; ++c) frame[c] = frame[c] * inGain_ + 0.5f * (outL + outR) * wetScale;
    }
}

int ReverbEffect::getParameters(void* params) {
    std::lock_guard lock(mutex_);
    std::memcpy(params, &p_, sizeof p_);
    return 0;
}

int ReverbEffect::setParameters(const void* params) {
    BASS_DX8_REVERB p;
    std::memcpy(&p, params, sizeof p);
    if (!in(p.fInGain, -96.0f, 0.0f) || !in(p.fReverbMix, -96.0f, 0.0f) ||
        !in(p.fReverbTime, 0.001f, 3000.0f) || !in(p.fHighFreqRTRatio, 0.001f, 0.999f))
        return BASS_ERROR_ILLPARAM;
    std::lock_guard lock(mutex_);
    p_ = p;
    derive();
    return 0;
}

} // namespace engine
