// The round trip from the output to the input, measured: a short train of clicks is played while
// the input that is on is captured, and each click is found in the capture by cross-correlation.
// With a measurement kept, the mixes read a take's voice that much earlier, so that it lines up
// with the backing the singer heard; the take's files themselves never change.
#pragma once

#include "core/app.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velvora::recording {

constexpr unsigned kCalibrationRate = 44100;

// The clicks as they are played: mono, at kCalibrationRate, and where each one begins.
struct ClickTrain {
    std::vector<float> samples;
    std::vector<std::size_t> starts;
    std::size_t clickFrames = 0;
};
ClickTrain makeClickTrain();

// Finds each click of `train` in `captured` (mono, kCalibrationRate, beginning when the train
// began), each before the next click is played (under 500 ms). The round trip is the median of the clicks'
// delays and the spread their largest distance from it; none when fewer than half were heard.
std::optional<LatencyCalibration> findRoundTrip(const ClickTrain& train, const std::vector<float>& captured);

struct CalibrationOutcome {
    std::optional<LatencyCalibration> measured;
    std::string message; // what the window shows
};

// Plays the click train on the output while capturing the input that is on, waits on the
// program's clock until the train and the longest round trip have passed, and measures: the clicks'
// delay in the capture, less the time the capture ran before the clicks were started.
CalibrationOutcome CalibrateLatency(App& app);

// "Latency: 87 ms ± 1 ms".
std::string latencyText(const LatencyCalibration& c);

// How many frames at 44100 Hz the voice of a take is read earlier: the time the take's capture ran
// before its song was first heard, as the engine reported it, and the input's latency (or, when the
// output's part of the round trip is not known, the time to the song's start and the whole round
// trip); 0 without a calibration.
std::uint32_t voiceShiftFrames(const App& app);

// The vocal track a package encodes, as a name inside TKKK: with a calibration, a copy of
// vocaltrack.wav that begins the round trip later ("vocaltrack-aligned.wav"), written beside it;
// without one, or when the take's file is not a plain PCM wave, vocaltrack.wav itself.
std::string alignedVocalTrack(App& app);

} // namespace velvora::recording
