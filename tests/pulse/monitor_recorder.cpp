#include "pulse/monitor_recorder.h"

#include <pulse/pulseaudio.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstring>
#include <limits>
#include <mutex>
#include <thread>

namespace pulsetest {

struct MonitorRecorder::State {
    pa_threaded_mainloop* loop = nullptr;
    pa_context* context = nullptr;
    pa_stream* stream = nullptr;

    mutable std::mutex mutex;
    std::condition_variable arrived;
    std::vector<std::int16_t> samples;
    bool keep = true;
    std::size_t frames = 0;
    struct Read {
        std::size_t end; // frames received up to and with this read
        SteadyClock::time_point arrival;
    };
    std::vector<Read> reads;
    // From the reads whose latency the server told: when frame 0 was played, in steady seconds.
    std::vector<double> playedStarts;
    // heardAt()'s anchors, worked out again when more reads came in.
    std::vector<std::pair<double, double>> anchors;
    std::size_t anchoredReads = 0;
    std::atomic<unsigned> overflows{0};
    std::atomic<bool> broken{false};

    static void onContext(pa_context* c, void* user) {
        const pa_context_state_t s = pa_context_get_state(c);
        if (s == PA_CONTEXT_FAILED || s == PA_CONTEXT_TERMINATED) static_cast<State*>(user)->fail();
    }
    static void onStream(pa_stream* st, void* user) {
        const pa_stream_state_t s = pa_stream_get_state(st);
        if (s == PA_STREAM_FAILED || s == PA_STREAM_TERMINATED) static_cast<State*>(user)->fail();
    }
    static void onOverflow(pa_stream*, void* user) { static_cast<State*>(user)->overflows.fetch_add(1); }

    static void onRead(pa_stream* st, std::size_t, void* user) {
        auto* self = static_cast<State*>(user);
        const void* data = nullptr;
        std::size_t bytes = 0;
        while (pa_stream_readable_size(st) > 0) {
            if (pa_stream_peek(st, &data, &bytes) < 0) return;
            if (bytes == 0) return;
            if (!data) {
                self->overflows.fetch_add(1); // a hole: the server lost what belonged there
            } else {
                const auto now = SteadyClock::now();
                const auto* s = static_cast<const std::int16_t*>(data);
                std::lock_guard lock(self->mutex);
                self->frames += bytes / 4;
                if (self->keep) {
                    self->samples.insert(self->samples.end(), s, s + bytes / 2);
                    self->reads.push_back({self->frames, now});
                }
            }
            pa_stream_drop(st);
            // How long ago the sink played the frame now next to read (negative: it has yet to).
            pa_usec_t usec = 0;
            int negative = 0;
            if (data && self->keep && pa_stream_get_latency(st, &usec, &negative) == 0) {
                const double latency = (negative ? -1.0 : 1.0) * static_cast<double>(usec) * 1e-6;
                const double now =
                    std::chrono::duration<double>(SteadyClock::now().time_since_epoch()).count();
                std::lock_guard lock(self->mutex);
                self->playedStarts.push_back(now - latency - static_cast<double>(self->frames) / kRate);
            }
            self->arrived.notify_all();
        }
    }

    void fail() {
        broken.store(true);
        arrived.notify_all();
        if (loop) pa_threaded_mainloop_signal(loop, 0);
    }
};

MonitorRecorder::MonitorRecorder() : state_(std::make_unique<State>()) {}

MonitorRecorder::~MonitorRecorder() {
    stop();
}

bool MonitorRecorder::start(const std::string& source, double reserveSeconds, bool keep) {
    State& s = *state_;
    s.keep = keep;
    if (keep) {
        s.samples.reserve(static_cast<std::size_t>(reserveSeconds * kRate) * 2);
        s.reads.reserve(static_cast<std::size_t>(reserveSeconds * 500));
    }
    s.loop = pa_threaded_mainloop_new();
    if (!s.loop) return false;
    s.context = pa_context_new(pa_threaded_mainloop_get_api(s.loop), "velvora-test-recorder");
    if (!s.context) return false;
    pa_context_set_state_callback(s.context, &State::onContext, &s);
    if (pa_context_connect(s.context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) return false;
    if (pa_threaded_mainloop_start(s.loop) < 0) return false;

    const auto deadline = SteadyClock::now() + std::chrono::seconds(3);
    pa_threaded_mainloop_lock(s.loop);
    auto waitUntil = [&](auto ready) {
        while (!ready()) {
            if (s.broken.load() || SteadyClock::now() > deadline) return false;
            pa_threaded_mainloop_unlock(s.loop);
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            pa_threaded_mainloop_lock(s.loop);
        }
        return true;
    };
    bool ok = waitUntil([&] { return pa_context_get_state(s.context) == PA_CONTEXT_READY; });
    if (ok) {
        const pa_sample_spec spec{PA_SAMPLE_S16LE, kRate, 2};
        s.stream = pa_stream_new(s.context, "monitor", &spec, nullptr);
        ok = s.stream != nullptr;
    }
    if (ok) {
        pa_stream_set_state_callback(s.stream, &State::onStream, &s);
        pa_stream_set_read_callback(s.stream, &State::onRead, &s);
        pa_stream_set_overflow_callback(s.stream, &State::onOverflow, &s);
        pa_buffer_attr attr{};
        attr.maxlength = static_cast<std::uint32_t>(-1); // the server's largest: seconds of slack
        attr.fragsize = kRate / 500 * 4;                 // 2 ms reads: the sink runs in small blocks
        attr.tlength = attr.prebuf = attr.minreq = static_cast<std::uint32_t>(-1);
        ok = pa_stream_connect_record(s.stream, source.c_str(), &attr,
                                      static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY |
                                                                     PA_STREAM_INTERPOLATE_TIMING |
                                                                     PA_STREAM_AUTO_TIMING_UPDATE)) == 0 &&
             waitUntil([&] { return pa_stream_get_state(s.stream) == PA_STREAM_READY; });
    }
    pa_threaded_mainloop_unlock(s.loop);
    return ok;
}

bool MonitorRecorder::waitForFrames(std::size_t frames, std::chrono::milliseconds timeout) {
    State& s = *state_;
    std::unique_lock lock(s.mutex);
    return s.arrived.wait_for(lock, timeout, [&] { return s.frames >= frames || s.broken.load(); }) &&
           s.frames >= frames;
}

void MonitorRecorder::stop() {
    State& s = *state_;
    if (!s.loop) return;
    pa_threaded_mainloop_stop(s.loop);
    if (s.stream) {
        pa_stream_disconnect(s.stream);
        pa_stream_unref(s.stream);
        s.stream = nullptr;
    }
    if (s.context) {
        pa_context_disconnect(s.context);
        pa_context_unref(s.context);
        s.context = nullptr;
    }
    pa_threaded_mainloop_free(s.loop);
    s.loop = nullptr;
}

std::vector<std::int16_t> MonitorRecorder::samples() const {
    std::lock_guard lock(state_->mutex);
    return state_->samples;
}

std::size_t MonitorRecorder::frames() const {
    std::lock_guard lock(state_->mutex);
    return state_->frames;
}

unsigned MonitorRecorder::overflows() const {
    return state_->overflows.load();
}

bool MonitorRecorder::broken() const {
    return state_->broken.load();
}

MonitorRecorder::SteadyClock::time_point MonitorRecorder::playedAt(std::size_t frame) const {
    std::vector<double> starts;
    {
        std::lock_guard lock(state_->mutex);
        starts = state_->playedStarts;
    }
    if (starts.empty()) return SteadyClock::time_point::max();
    std::nth_element(starts.begin(), starts.begin() + static_cast<std::ptrdiff_t>(starts.size() / 2),
                     starts.end());
    const double at = starts[starts.size() / 2] + static_cast<double>(frame) / kRate;
    return SteadyClock::time_point(
        std::chrono::duration_cast<SteadyClock::duration>(std::chrono::duration<double>(at)));
}

MonitorRecorder::SteadyClock::time_point MonitorRecorder::heardAt(std::size_t frame) const {
    std::lock_guard lock(state_->mutex);
    const auto& reads = state_->reads;
    if (reads.empty()) return SteadyClock::time_point::max();
    // For each ten seconds of recording: its middle frame, and the least (arrival - end / rate),
    // in seconds of the steady clock.
    constexpr std::size_t kStretch = 10 * kRate;
    const auto seconds = [](SteadyClock::time_point t) {
        return std::chrono::duration<double>(t.time_since_epoch()).count();
    };
    auto& anchors = state_->anchors;
    if (state_->anchoredReads != reads.size()) {
        anchors.clear();
        state_->anchoredReads = reads.size();
        for (std::size_t i = 0; i < reads.size();) {
            const std::size_t first = i == 0 ? 0 : reads[i - 1].end;
            double least = std::numeric_limits<double>::max();
            std::size_t last = first;
            for (; i < reads.size() && reads[i].end <= first + kStretch; ++i) {
                least =
                    std::min(least, seconds(reads[i].arrival) - static_cast<double>(reads[i].end) / kRate);
                last = reads[i].end;
            }
            if (last == first) { // one read longer than a stretch
                least = seconds(reads[i].arrival) - static_cast<double>(reads[i].end) / kRate;
                last = reads[i++].end;
            }
            anchors.push_back({(static_cast<double>(first) + static_cast<double>(last)) / 2, least});
        }
    }
    // Between two stretches the offset moves in a straight line; outside them it stays.
    double offset = anchors.front().second;
    const double f = static_cast<double>(frame);
    if (f >= anchors.back().first) offset = anchors.back().second;
    for (std::size_t k = 1; k < anchors.size(); ++k)
        if (f >= anchors[k - 1].first && f < anchors[k].first) {
            const double w = (f - anchors[k - 1].first) / (anchors[k].first - anchors[k - 1].first);
            offset = anchors[k - 1].second + w * (anchors[k].second - anchors[k - 1].second);
        }
    const double at = offset + f / kRate;
    return SteadyClock::time_point(
        std::chrono::duration_cast<SteadyClock::duration>(std::chrono::duration<double>(at)));
}

} // namespace pulsetest
