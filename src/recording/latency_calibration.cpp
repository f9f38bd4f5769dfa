#include "recording/latency_calibration.h"

#include "core/files.h"
#include "recording/capture.h"
#include "recording/wav_header.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <mutex>

namespace velvora::recording {

namespace {

constexpr unsigned kClicks = 10;
constexpr std::size_t kLeadFrames = kCalibrationRate / 10;   // 100 ms of silence first
constexpr std::size_t kClickSpacing = kCalibrationRate / 2;  // a click each 500 ms
constexpr std::size_t kClickFrames = kCalibrationRate / 500; // 2 ms of noise each
// The longest round trip looked for: a click is searched for only before the next one comes, so
// that no click is taken for its neighbour.
constexpr std::size_t kMaxLagFrames = kClickSpacing - kClickFrames;
// A click is heard where the capture matches its shape this well (normalised correlation).
constexpr double kMatch = 0.5;
// Below this level (RMS of the matched stretch) nothing is taken as heard.
constexpr double kFloor = 1e-3;

double ms(double frames) {
    return frames * 1000.0 / kCalibrationRate;
}

// A deterministic burst of white noise, faded in and out: its correlation has one sharp peak.
std::vector<float> clickShape() {
    std::vector<float> c(kClickFrames);
    std::uint32_t x = 0x12345678u;
    for (std::size_t i = 0; i < c.size(); ++i) {
        x = x * 1664525u + 1013904223u;
        const double noise = static_cast<double>(x >> 8) / (1u << 24) * 2.0 - 1.0;
        const double window = std::sin(M_PI * (static_cast<double>(i) + 0.5) / static_cast<double>(c.size()));
        c[i] = static_cast<float>(0.7 * noise * window);
    }
    return c;
}

// The capture of a calibration, filled on the engine's capture thread.
struct Captured {
    std::mutex mutex;
    std::vector<float> mono;
};

BOOL collect(HRECORD, const void* buffer, DWORD length, void* user) {
    auto& c = *static_cast<Captured*>(user);
    const auto* s = static_cast<const std::int16_t*>(buffer);
    std::lock_guard lock(c.mutex);
    for (DWORD i = 0; i + 1 < length / 2; i += 2) c.mono.push_back((s[i] + s[i + 1]) / 65536.0f);
    return 1;
}

// The train as a 16-bit stereo wave in memory, for the engine's file stream.
std::vector<std::uint8_t> waveBytes(const std::vector<float>& mono) {
    const auto data = static_cast<std::uint32_t>(mono.size() * 4);
    const auto header = headerBytes(WavRiffHeader{data + kWavHeaderBytes - 8},
                                    pcmFormat(2, kCalibrationRate, 16), WavDataHeader{data});
    std::vector<std::uint8_t> bytes(header.begin(), header.end());
    bytes.reserve(bytes.size() + data);
    for (float v : mono) {
        const auto s = static_cast<std::int16_t>(std::lround(std::clamp(v, -1.0f, 1.0f) * 32767.0f));
        for (int ch = 0; ch < 2; ++ch) {
            bytes.push_back(static_cast<std::uint8_t>(s & 0xff));
            bytes.push_back(static_cast<std::uint8_t>((s >> 8) & 0xff));
        }
    }
    return bytes;
}

std::uint32_t readLE32(const std::vector<char>& b, std::size_t at) {
    std::uint32_t v = 0;
    for (int i = 3; i >= 0; --i)
        v = (v << 8) | static_cast<unsigned char>(b[at + static_cast<std::size_t>(i)]);
    return v;
}

} // namespace

ClickTrain makeClickTrain() {
    ClickTrain t;
    const std::vector<float> click = clickShape();
    t.clickFrames = click.size();
    t.samples.assign(kLeadFrames + kClicks * kClickSpacing, 0.0f);
    for (unsigned k = 0; k < kClicks; ++k) {
        const std::size_t at = kLeadFrames + k * kClickSpacing;
        t.starts.push_back(at);
        std::copy(click.begin(), click.end(), t.samples.begin() + static_cast<std::ptrdiff_t>(at));
    }
    return t;
}

std::optional<LatencyCalibration> findRoundTrip(const ClickTrain& train, const std::vector<float>& captured) {
    if (train.starts.empty() || train.clickFrames == 0) return std::nullopt;
    const auto clickBegin = train.samples.begin() + static_cast<std::ptrdiff_t>(train.starts[0]);
    const std::vector<float> click(clickBegin, clickBegin + static_cast<std::ptrdiff_t>(train.clickFrames));
    double clickEnergy = 0;
    for (float v : click) clickEnergy += static_cast<double>(v) * v;
    const std::size_t n = click.size();
    std::vector<double> lags;
    for (std::size_t start : train.starts) {
        double best = 0;
        std::size_t bestLag = 0;
        double sum = 0; // energy of captured[at, at + n), kept as the window slides
        const std::size_t last =
            std::min(kMaxLagFrames, captured.size() > start + n ? captured.size() - start - n : 0);
        for (std::size_t i = 0; i < n && start + i < captured.size(); ++i)
            sum += static_cast<double>(captured[start + i]) * captured[start + i];
        for (std::size_t lag = 0; lag <= last && start + lag + n <= captured.size(); ++lag) {
            const float* at = captured.data() + start + lag;
            if (lag > 0) {
                sum -= static_cast<double>(at[-1]) * at[-1];
                sum += static_cast<double>(at[n - 1]) * at[n - 1];
            }
            if (sum < kFloor * kFloor * static_cast<double>(n)) continue;
            double dot = 0;
            for (std::size_t i = 0; i < n; ++i) dot += static_cast<double>(click[i]) * at[i];
            const double match = dot / std::sqrt(clickEnergy * sum);
            if (match > best) best = match, bestLag = lag;
        }
        if (best >= kMatch) lags.push_back(static_cast<double>(bestLag));
    }
    if (lags.size() * 2 < train.starts.size()) return std::nullopt;
    std::sort(lags.begin(), lags.end());
    const double median = lags[lags.size() / 2];
    double spread = 0;
    for (double l : lags) spread = std::max(spread, std::abs(l - median));
    return LatencyCalibration{ms(median), ms(spread)};
}

CalibrationOutcome CalibrateLatency(App& app) {
    const ClickTrain train = makeClickTrain();
    const std::vector<std::uint8_t> wave = waveBytes(train.samples);
    Captured captured;
    // The capture first, then the clicks, as a take starts its two tracks.
    const HRECORD rec = BASS_RecordStart(kCalibrationRate, 2, 0, &collect, &captured);
    if (!rec) return {std::nullopt, "No input to listen on: the latency cannot be measured."};
    const HSTREAM clicks = BASS_StreamCreateFile(1, wave.data(), 0, wave.size(), 0);
    if (!clicks || !BASS_ChannelPlay(clicks, 0)) {
        BASS_ChannelStop(rec);
        BASS_StreamFree(clicks);
        return {std::nullopt, "The clicks cannot be played: the latency cannot be measured."};
    }
    const std::size_t wanted = train.samples.size() + kMaxLagFrames;
    // The capture may stall; the wait is bounded by twice the time the capture needs.
    const long long limit =
        app.sys.clock.nowMs() + 2 * static_cast<long long>(ms(static_cast<double>(wanted)));
    // The capture began a little before the clicks were started; that gap is no part of the
    // round trip. When the first click was heard tells the output's part of it: asked while the
    // clicks still play, from where they are heard.
    double started = 0, heard = -1;
    for (;;) {
        {
            std::lock_guard lock(captured.mutex);
            if (captured.mono.size() >= wanted) break;
        }
        if (BASS_ChannelIsActive(clicks) == BASS_ACTIVE_PLAYING &&
            !BASS_RecordGetOffset(rec, clicks, &started, &heard))
            heard = -1;
        if (app.sys.clock.nowMs() >= limit) break;
        app.sys.clock.sleep(50);
    }
    if (heard < 0 && !BASS_RecordGetOffset(rec, clicks, &started, &heard)) started = 0, heard = -1;
    BASS_ChannelStop(rec);
    BASS_StreamFree(clicks);
    std::vector<float> capturedMono;
    {
        std::lock_guard lock(captured.mutex);
        capturedMono = captured.mono;
    }
    auto found = findRoundTrip(train, capturedMono);
    if (!found) return {std::nullopt, "No click was heard: the latency was not measured."};
    found->roundTripMs -= started * 1000.0;
    if (found->roundTripMs <= 0)
        return {std::nullopt, "The clicks were heard before they were played: the latency was not measured."};
    if (heard >= started) found->outputMs = std::min(found->roundTripMs, (heard - started) * 1000.0);
    return {found, latencyText(*found)};
}

std::string latencyText(const LatencyCalibration& c) {
    char text[64];
    std::snprintf(text, sizeof text, "Latency: %.0f ms \u00b1 %.0f ms", c.roundTripMs, std::ceil(c.spreadMs));
    return text;
}

std::uint32_t voiceShiftFrames(const App& app) {
    const auto& c = app.s.capture.calibration;
    if (!c || !(c->roundTripMs > 0)) return 0;
    const auto& offset = app.s.capture.takeOffset;
    // The voice lags the backing by the time the capture ran before the song was heard and by the
    // way back from the output to the input. The output's own latency is taken from the take
    // itself when the calibration told it apart, for it may differ from one play to the next.
    const double ms = c->outputMs >= 0 && offset
                          ? c->inputMs() + std::max(0.0, offset->heardMs)
                          : c->roundTripMs + (offset ? std::max(0.0, offset->startedMs) : 0.0);
    return static_cast<std::uint32_t>(std::lround(ms * 44100.0 / 1000.0));
}

std::string alignedVocalTrack(App& app) {
    const std::string plain = "vocaltrack.wav";
    const std::uint32_t shift = voiceShiftFrames(app);
    if (shift == 0) return plain;
    std::ifstream in(vocalTrackPath(app), std::ios::binary);
    std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (bytes.size() < kWavHeaderBytes || std::memcmp(bytes.data(), "RIFF", 4) != 0 ||
        std::memcmp(bytes.data() + 8, "WAVEfmt ", 8) != 0 || std::memcmp(bytes.data() + 36, "data", 4) != 0)
        return plain;
    const std::uint32_t blockAlign =
        static_cast<unsigned char>(bytes[32]) | (static_cast<unsigned char>(bytes[33]) << 8);
    const std::size_t data = std::min<std::size_t>(readLE32(bytes, 40), bytes.size() - kWavHeaderBytes);
    const std::size_t drop =
        std::min<std::size_t>(static_cast<std::size_t>(shift) * std::max(1u, blockAlign), data);
    const auto kept = static_cast<std::uint32_t>(data - drop);
    std::vector<std::uint8_t> out(bytes.begin(), bytes.begin() + kWavHeaderBytes);
    putLE32(out.data() + kRiffSizeOffset, kept + kWavHeaderBytes - 8);
    putLE32(out.data() + kDataSizeOffset, kept);
    const std::string name = "vocaltrack-aligned.wav";
    std::ofstream file(joinPath(takeFolder(app), name), std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(out.data()), static_cast<std::streamsize>(out.size()));
    file.write(bytes.data() + kWavHeaderBytes + drop, static_cast<std::streamsize>(kept));
    return file ? name : plain;
}

} // namespace velvora::recording
