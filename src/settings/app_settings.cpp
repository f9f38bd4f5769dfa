#include "settings/app_settings.h"

#include "core/files.h"
#include "core/vb_text.h"
#include "settings/text_file.h"

#include <cmath>

namespace velvora::settings {

namespace {

// The files are one short line; anything longer than this is not one of ours.
constexpr std::size_t kMaxSettingsBytes = 4096;

std::optional<std::string> readSmallFile(const std::string& path) {
    auto head = readFileHead(path, kMaxSettingsBytes);
    if (!head || head->cut) return std::nullopt;
    return std::move(head->text);
}

// A whole number in text within [lo, hi], with nothing but blanks around it.
std::optional<long> wholeNumber(const std::string& item, long lo, long hi) {
    const std::string t = vb::Trim(item);
    if (t.empty()) return std::nullopt;
    std::size_t i = (t[0] == '-' || t[0] == '+') ? 1 : 0;
    if (i == t.size()) return std::nullopt;
    for (std::size_t j = i; j < t.size(); ++j)
        if (t[j] < '0' || t[j] > '9') return std::nullopt;
    if (t.size() > 8) return std::nullopt;
    const long v = std::stol(t);
    if (v < lo || v > hi) return std::nullopt;
    return v;
}

// The text up to the first line end, which must close the file's one line.
std::optional<std::string> firstLine(const std::string& text) {
    const std::size_t end = text.find_first_of("\r\n");
    const std::string line = text.substr(0, end);
    for (unsigned char c : line)
        if (c < 0x20 && c != '\t') return std::nullopt;
    return line;
}

} // namespace

std::string configLine(const ConfigState& c) {
    return "\"OK\"," + std::to_string(c.configByte) + ",,,,,,," + (c.configFlag ? "#TRUE#" : "#FALSE#") +
           ",,," + std::to_string(c.configWord) + "\r\n";
}

std::optional<ConfigState> parseConfig(const std::string& text) {
    const std::optional<std::string> line = firstLine(text);
    if (!line) return std::nullopt;
    const std::vector<std::string> items = vb::SplitWriteLine(*line);
    if (items.size() != 12) return std::nullopt;
    ConfigState c;
    c.configState = items[0];
    const auto byte = wholeNumber(items[1], 0, 255);
    const auto word = wholeNumber(items[11], -32768, 32767);
    if (!byte || !word) return std::nullopt;
    if (items[8] == "#TRUE#")
        c.configFlag = true;
    else if (items[8] == "#FALSE#")
        c.configFlag = false;
    else
        return std::nullopt;
    for (int unset : {2, 3, 4, 5, 6, 7, 9, 10})
        if (!vb::Trim(items[static_cast<std::size_t>(unset)]).empty()) return std::nullopt;
    c.configByte = static_cast<std::uint8_t>(*byte);
    c.configWord = static_cast<std::int16_t>(*word);
    return c;
}

std::optional<std::int16_t> parseRecordingValue(const std::string& text) {
    const std::optional<std::string> line = firstLine(text);
    if (!line) return std::nullopt;
    const auto v = wholeNumber(*line, -32768, 32767);
    if (!v) return std::nullopt;
    return static_cast<std::int16_t>(*v);
}

std::string confsave(App& app) {
    return replaceFile(joinPath(app.appFolder, "config.vrk"), configLine(app.s.config));
}

void confload(App& app) {
    const auto text = readSmallFile(resolveCaseInsensitive(app.appFolder, "config.vrk"));
    if (!text) return;
    const auto parsed = parseConfig(*text);
    if (!parsed) return;
    const std::int16_t keepRecording = app.s.config.recordingValue;
    app.s.config = *parsed;
    app.s.config.recordingValue = keepRecording;
}

void visionLoad(App& app) {
    const auto text = readSmallFile(resolveCaseInsensitive(app.appFolder, "recording.vrk"));
    if (!text) return;
    if (const auto v = parseRecordingValue(*text)) app.s.config.recordingValue = *v;
}

} // namespace velvora::settings
