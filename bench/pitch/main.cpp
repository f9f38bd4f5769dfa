// The singer's pitch: what reading it costs, and how soon a sung note shows.
//
// Cost: ten minutes of a sung tune (notes with vibrato and rests) read by our detector (aubio's
// fast YIN, one reading every 256-sample hop), beside aubio's time-domain YIN on the same input and
// hop, in processor time of this thread (the machine is shared: wall time swings). Speeds are in
// times real time; the ratio is ours to the plain YIN's.
//
// Lateness: a minute of notes pushed into the tracker in 10 ms capture blocks at the pace of a
// real capture, read by a reader that looks every 10 ms as the strip's timer does; for each note,
// from the moment its first sample was captured to the moment a reading on its pitch is taken.
#include "pitch/pitch_detector.h"
#include "pitch/pitch_tracker.h"
#include "pitch/score.h"
#include "pitch/sung_voice.h"

#include <aubio/aubio.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <random>
#include <thread>
#include <vector>

#include <time.h>

namespace {

using velvora::pitch::Melody;
using velvora::pitch::PitchDetector;
using velvora::pitch::PitchFrame;
using velvora::pitch::PitchTracker;
namespace vt = velvora::pitch::testing;

double threadSeconds() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + ts.tv_nsec / 1e9;
}

// Notes of `note` seconds after rests of `rest`, on keys drawn between 48 and 76.
Melody randomTune(double seconds, double note, double rest, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> keys(48, 76);
    Melody m;
    m.channel = 3;
    for (double t = rest; t + note < seconds; t += note + rest)
        m.notes.push_back({t, t + note, keys(random)});
    return m;
}

double oursXrt(const std::vector<float>& voice) {
    std::vector<PitchFrame> frames;
    frames.reserve(voice.size() / PitchDetector::kHop + 1);
    const double start = threadSeconds();
    PitchDetector detector(vt::kRate);
    for (std::size_t at = 0; at < voice.size(); at += 4410)
        detector.feed(voice.data() + at, std::min<std::size_t>(4410, voice.size() - at), frames);
    const double used = threadSeconds() - start;
    return voice.size() / static_cast<double>(vt::kRate) / used;
}

double plainYinXrt(const std::vector<float>& voice) {
    char method[] = "yin";
    const double start = threadSeconds();
    aubio_pitch_t* yin = new_aubio_pitch(method, PitchDetector::kWindow, PitchDetector::kHop, vt::kRate);
    fvec_t* in = new_fvec(PitchDetector::kHop);
    fvec_t* out = new_fvec(1);
    for (std::size_t at = 0; at + PitchDetector::kHop <= voice.size(); at += PitchDetector::kHop) {
        std::copy(voice.begin() + static_cast<long>(at),
                  voice.begin() + static_cast<long>(at + PitchDetector::kHop), in->data);
        aubio_pitch_do(yin, in, out);
    }
    del_fvec(out);
    del_fvec(in);
    del_aubio_pitch(yin);
    const double used = threadSeconds() - start;
    return voice.size() / static_cast<double>(vt::kRate) / used;
}

double traceP99Ms() {
    const double seconds = 60;
    const Melody tune = randomTune(seconds, 0.4, 0.3, 11);
    const std::vector<float> voice = vt::singMelody(tune, seconds);
    std::vector<std::int16_t> stereo(voice.size() * 2);
    for (std::size_t i = 0; i < voice.size(); ++i)
        stereo[2 * i] = stereo[2 * i + 1] = static_cast<std::int16_t>(voice[i] * 32767);

    PitchTracker tracker(vt::kRate);
    using Clock = std::chrono::steady_clock;
    const Clock::time_point begin = Clock::now() + std::chrono::milliseconds(50);
    std::atomic<bool> done{false};
    std::thread capture([&] {
        constexpr std::size_t kBlock = vt::kRate / 100;
        for (std::size_t at = 0; at < voice.size(); at += kBlock) {
            // A block is handed over once its last sample has been sung.
            const std::size_t n = std::min(kBlock, voice.size() - at);
            std::this_thread::sleep_until(begin + std::chrono::microseconds((at + n) * 1000000 / vt::kRate));
            tracker.push(stereo.data() + 2 * at, n);
        }
        done = true;
    });
    std::vector<double> lateness;
    std::size_t next = 0; // the first note not seen yet
    while (!done || next < tune.notes.size()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        const double now = std::chrono::duration<double>(Clock::now() - begin).count();
        for (const PitchFrame& f : tracker.takeReadings()) {
            while (next < tune.notes.size() && tune.notes[next].end <= f.seconds) ++next;
            if (next >= tune.notes.size() || f.seconds < tune.notes[next].start || f.hz <= 0) continue;
            if (std::abs(velvora::pitch::foldedSemitones(f.hz, tune.notes[next].key)) > 0.5) continue;
            lateness.push_back((now - tune.notes[next].start) * 1000);
            ++next;
        }
        if (done && now > seconds + 1) break;
    }
    capture.join();
    std::sort(lateness.begin(), lateness.end());
    std::printf("notes %zu of %zu seen; lateness median %.1f ms, max %.1f ms\n", lateness.size(),
                tune.notes.size(), lateness.empty() ? 0.0 : lateness[lateness.size() / 2],
                lateness.empty() ? 0.0 : lateness.back());
    return lateness.empty() ? 1e9 : lateness[std::min(lateness.size() - 1, lateness.size() * 99 / 100)];
}

} // namespace

int main() {
    const double minutes = 10;
    const std::vector<float> voice = vt::singMelody(randomTune(minutes * 60, 0.5, 0.2, 7), minutes * 60);
    double ours = 0, yin = 0;
    for (int run = 0; run < 3; ++run) {
        ours = std::max(ours, oursXrt(voice));
        yin = std::max(yin, plainYinXrt(voice));
    }
    std::printf("detector: ours (fast YIN) %.0fx real time, aubio's time-domain YIN %.0fx, on one core\n",
                ours, yin);
    const double p99 = traceP99Ms();
    std::printf("RESULT pitch xrt=%.0f yin_xrt=%.0f ratio=%.2f trace_p99_ms=%.1f\n", ours, yin, ours / yin,
                p99);
    return 0;
}
