#include "encoding/raised_error.h"

#include <array>
#include <string_view>

namespace velvora::encoding {

namespace {

template <std::size_t N>
std::string textOf(const std::array<std::string_view, N>& table, int code) {
    if (code < 1 || static_cast<std::size_t>(code) > N) return {};
    return std::string(table[static_cast<std::size_t>(code) - 1]);
}

constexpr std::array<std::string_view, 9> kReaderTexts = {
    "Only stereo 16 bit wave files supported.",
    "Unable to open file.",
    "Not a Wave file.",
    "Unable to retrieve format chunk",
    "Error reading format",
    "No Wave File Open",
    "Insufficient memory",
    "Position out of range",
    "Cannot change buffer size whilst a file is open.",
};

constexpr std::array<std::string_view, 5> kWriterTexts = {
    "Unable to allocate output buffer for writing",
    "Unable to open file for writing",
    "Cannot write more data than is available in the buffer",
    "File not open for writing",
    "Failed to write buffer to file",
};

constexpr std::array<std::string_view, 5> kLameTexts = {
    "Invalid Format",         "Invalid Format Parameters", "Out of LAME handles",
    "LAME handle is invalid", "Buffer is too small",
};

} // namespace

RaisedError wavReaderError(const std::string& appName, int code) {
    return RaisedError(kWavReaderErrorBase + code, appName + ".cWavePlayer", textOf(kReaderTexts, code));
}

RaisedError mp3WriterError(const std::string& appName, const std::string& routine, int code) {
    return RaisedError(kMp3WriterErrorBase + code, appName + "." + routine, textOf(kWriterTexts, code));
}

RaisedError lameError(const std::string& appName, const std::string& routine, int code, bool isLame) {
    std::string text;
    if (isLame)
        text = textOf(kLameTexts, code);
    else if (code == 1)
        text = "Lame engine not initialised";
    return RaisedError(kLameErrorBase + code, appName + "." + routine, std::move(text));
}

} // namespace velvora::encoding
