// The program's own settings files: config.vrk (a configuration was saved) and recording.vrk.
#pragma once

#include "core/app.h"

#include <optional>
#include <string>

namespace velvora::settings {

// Writes config.vrk in the program folder, replacing it. Returns the system's words when the
// file cannot be written, empty on success.
std::string confsave(App& app);
// Reads config.vrk; a missing or damaged file changes nothing.
void confload(App& app);
// Reads the number in recording.vrk; a missing or damaged file changes nothing.
void visionLoad(App& app);

// The line config.vrk holds, and its reading; exposed for the tests and the fuzzer.
std::string configLine(const ConfigState& c);
std::optional<ConfigState> parseConfig(const std::string& text);
std::optional<std::int16_t> parseRecordingValue(const std::string& text);

} // namespace velvora::settings
