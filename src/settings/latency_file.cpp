#include "settings/latency_file.h"

#include "core/files.h"
#include "settings/text_file.h"

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <sstream>

namespace velvora::settings {

namespace {

constexpr std::size_t kMaxLatencyBytes = 256;
constexpr const char* kLatencyFile = "latency.vrk";

// A plain decimal number (digits with at most one point), nothing else.
std::optional<double> decimal(const std::string& item) {
    if (item.empty() || item.size() > 12) return std::nullopt;
    int points = 0;
    for (char c : item) {
        if (c == '.')
            ++points;
        else if (c < '0' || c > '9')
            return std::nullopt;
    }
    if (points > 1 || item == ".") return std::nullopt;
    return std::stod(item);
}

} // namespace

std::string latencyLine(const LatencyCalibration& c) {
    char line[96];
    if (c.outputMs >= 0)
        std::snprintf(line, sizeof line, "%.2f %.2f %.2f\r\n", c.roundTripMs, c.spreadMs, c.outputMs);
    else
        std::snprintf(line, sizeof line, "%.2f %.2f\r\n", c.roundTripMs, c.spreadMs);
    return line;
}

std::optional<LatencyCalibration> parseLatency(const std::string& text) {
    const std::string line = text.substr(0, text.find_first_of("\r\n"));
    std::istringstream in(line);
    std::string a, b, c, extra;
    if (!(in >> a >> b) || (in >> c && in >> extra)) return std::nullopt;
    const auto roundTrip = decimal(a);
    const auto spread = decimal(b);
    if (!roundTrip || !spread || *roundTrip > kMaxRoundTripMs || *spread > kMaxRoundTripMs)
        return std::nullopt;
    // The output's part, when kept, is a part of the round trip.
    const auto output = c.empty() ? std::optional<double>(-1.0) : decimal(c);
    if (!output || *output > *roundTrip) return std::nullopt;
    // Anything but line ends after the line is not ours.
    if (text.find_first_not_of("\r\n", line.size()) != std::string::npos) return std::nullopt;
    return LatencyCalibration{*roundTrip, *spread, *output};
}

void latencyLoad(App& app) {
    app.s.capture.calibration.reset();
    const auto head = readFileHead(resolveCaseInsensitive(app.appFolder, kLatencyFile), kMaxLatencyBytes);
    if (!head || head->cut) return;
    app.s.capture.calibration = parseLatency(head->text);
}

std::string latencySave(App& app) {
    const std::string path = joinPath(app.appFolder, kLatencyFile);
    if (!app.s.capture.calibration) {
        std::error_code ec;
        std::filesystem::remove(path, ec);
        return ec ? ec.message() : std::string();
    }
    return replaceFile(path, latencyLine(*app.s.capture.calibration));
}

} // namespace velvora::settings
