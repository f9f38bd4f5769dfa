// Voices the pitch tests sing with: a tone with a voice's first harmonics that follows a melody
// (or a shift of it), and the detector's readings of it.
#pragma once

#include "pitch/melody.h"
#include "pitch/pitch_detector.h"

#include <cmath>
#include <vector>

namespace velvora::pitch::testing {

constexpr int kRate = 44100;

inline double keyHz(double key) {
    return 440.0 * std::pow(2.0, (key - 69.0) / 12.0);
}

// `seconds` of mono voice singing `melody` `shift` semitones away, `lag` seconds late; silent
// between notes. A slow vibrato of 20 cents, as singers hold a note.
inline std::vector<float> singMelody(const Melody& melody, double seconds, double shift = 0, double lag = 0) {
    std::vector<float> out(static_cast<std::size_t>(seconds * kRate));
    double phase = 0;
    for (std::size_t i = 0; i < out.size(); ++i) {
        const double t = static_cast<double>(i) / kRate;
        const int key = keyAt(melody, t - lag);
        if (key < 0) {
            phase = 0;
            continue;
        }
        const double vibrato = 0.2 * std::sin(2 * M_PI * 5.5 * t);
        phase += 2 * M_PI * keyHz(key + shift + vibrato) / kRate;
        out[i] = static_cast<float>(0.3 * std::sin(phase) + 0.15 * std::sin(2 * phase) +
                                    0.08 * std::sin(3 * phase));
    }
    return out;
}

inline std::vector<PitchFrame> detect(const std::vector<float>& voice) {
    PitchDetector detector(kRate);
    std::vector<PitchFrame> frames;
    // In blocks of a capture's size, as the tracker is fed.
    constexpr std::size_t kBlock = 4410;
    for (std::size_t at = 0; at < voice.size(); at += kBlock)
        detector.feed(voice.data() + at, std::min(kBlock, voice.size() - at), frames);
    return frames;
}

} // namespace velvora::pitch::testing
