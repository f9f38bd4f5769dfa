// latency.vrk, beside recording.vrk in the program folder: the round trip from the output to the
// input that the live input window measured, and its spread, in milliseconds.
#pragma once

#include "core/app.h"

#include <optional>
#include <string>

namespace velvora::settings {

// Reads latency.vrk into the session's calibration; a missing or damaged file leaves none.
void latencyLoad(App& app);
// Writes the session's calibration to latency.vrk, replacing it (removing it when there is none).
// Returns the system's words when the file cannot be written, empty on success.
std::string latencySave(App& app);

// The file's one line and its reading; exposed for the tests and the fuzzer.
std::string latencyLine(const LatencyCalibration& c);
std::optional<LatencyCalibration> parseLatency(const std::string& text);

// The longest round trip taken as real: beyond it a file or a measurement is not believed.
constexpr double kMaxRoundTripMs = 1000.0;

} // namespace velvora::settings
