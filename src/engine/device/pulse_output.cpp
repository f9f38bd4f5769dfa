#include "device/pulse_output.h"

#include "common/thread_priority.h"

#include <pulse/pulseaudio.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

namespace engine {

namespace {

using SteadyClock = std::chrono::steady_clock;
constexpr auto kConnectTimeout = std::chrono::seconds(2);

// Waits, with the mainloop locked, until `ready` or `failed` says so or the time is up. The lock is
// let go between looks so that the mainloop thread can move the state on.
template <typename Ready, typename Failed>
bool waitFor(pa_threaded_mainloop* loop, Ready ready, Failed failed) {
    const auto deadline = SteadyClock::now() + kConnectTimeout;
    while (!ready()) {
        if (failed() || SteadyClock::now() > deadline) return false;
        pa_threaded_mainloop_unlock(loop);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        pa_threaded_mainloop_lock(loop);
    }
    return true;
}

bool contextGone(pa_context* c) {
    const pa_context_state_t s = pa_context_get_state(c);
    return s == PA_CONTEXT_FAILED || s == PA_CONTEXT_TERMINATED;
}

class PulseOutput final : public OutputBackend {
  public:
    ~PulseOutput() override { stop(); }

    // Connects to the server; the stream itself is made by start().
    bool connect() {
        loop_ = pa_threaded_mainloop_new();
        if (!loop_) return false;
        pa_proplist* props = pa_proplist_new();
        pa_proplist_sets(props, PA_PROP_APPLICATION_NAME, "Velvora");
        pa_proplist_sets(props, PA_PROP_APPLICATION_ID, "org.velvora.Velvora");
        pa_proplist_sets(props, PA_PROP_APPLICATION_ICON_NAME, "velvora");
        context_ = pa_context_new_with_proplist(pa_threaded_mainloop_get_api(loop_), "Velvora", props);
        pa_proplist_free(props);
        if (!context_) return false;
        pa_context_set_state_callback(context_, &PulseOutput::onContextState, this);
        if (pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) return false;
        if (pa_threaded_mainloop_start(loop_) < 0) return false;
        looping_ = true;
        // The thread that answers the server's requests gets a real-time priority where the
        // system grants one (root, or a user with an rtprio limit): on a busy desktop it is then
        // never the one that waits.
        pa_threaded_mainloop_lock(loop_);
        pa_mainloop_api_once(
            pa_threaded_mainloop_get_api(loop_),
            [](pa_mainloop_api*, void*) { raiseThisThreadToAudioPriority(); }, nullptr);
        pa_threaded_mainloop_unlock(loop_);
        pa_threaded_mainloop_lock(loop_);
        const bool ok = waitFor(
            loop_, [&] { return pa_context_get_state(context_) == PA_CONTEXT_READY; },
            [&] { return contextGone(context_); });
        pa_threaded_mainloop_unlock(loop_);
        return ok;
    }

    bool start(unsigned rate, RenderFn render, void* ctx) override {
        if (!context_ || stream_) return false;
        rate_ = rate;
        render_ = render;
        ctx_ = ctx;
        pa_threaded_mainloop_lock(loop_);
        const pa_sample_spec spec{PA_SAMPLE_FLOAT32NE, rate, 2};
        pa_proplist* props = pa_proplist_new();
        pa_proplist_sets(props, PA_PROP_MEDIA_ROLE, "music");
        stream_ = pa_stream_new_with_proplist(context_, "Velvora", &spec, nullptr, props);
        pa_proplist_free(props);
        bool ok = stream_ != nullptr;
        if (ok) {
            pa_stream_set_state_callback(stream_, &PulseOutput::onStreamState, this);
            pa_stream_set_write_callback(stream_, &PulseOutput::onWrite, this);
            pa_stream_set_underflow_callback(stream_, &PulseOutput::onUnderflow, this);
            // tlength is the whole latency we ask for (ADJUST_LATENCY lets the server split it
            // between our buffer and the sink's); the server asks for more in quarters of it.
            const auto bytesPerMs = static_cast<std::uint32_t>(pa_usec_to_bytes(1000, &spec));
            pa_buffer_attr attr{};
            attr.maxlength = static_cast<std::uint32_t>(-1);
            attr.tlength = bytesPerMs * kPulseBufferMs;
            attr.minreq = attr.tlength / 4;
            // After an underrun, playback starts again as soon as one request's worth is there.
            attr.prebuf = attr.minreq;
            attr.fragsize = static_cast<std::uint32_t>(-1);
            // Corked until the first request is filled with silence: the server neither plays nor
            // runs dry before there is something to play, and the mix starts once the server has
            // told how long its buffer is.
            const auto flags =
                static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_AUTO_TIMING_UPDATE |
                                               PA_STREAM_INTERPOLATE_TIMING | PA_STREAM_START_CORKED);
            ok = pa_stream_connect_playback(stream_, nullptr, &attr, flags, nullptr, nullptr) == 0 &&
                 waitFor(
                     loop_, [&] { return pa_stream_get_state(stream_) == PA_STREAM_READY; },
                     [&] {
                         const pa_stream_state_t s = pa_stream_get_state(stream_);
                         return s == PA_STREAM_FAILED || s == PA_STREAM_TERMINATED || contextGone(context_);
                     });
            if (ok) {
                if (const pa_buffer_attr* got = pa_stream_get_buffer_attr(stream_))
                    bufferFrames_ = static_cast<unsigned>(got->tlength / pa_frame_size(&spec));
            }
        }
        pa_threaded_mainloop_unlock(loop_);
        return ok;
    }

    void stop() override {
        if (!loop_) return;
        if (looping_) pa_threaded_mainloop_stop(loop_);
        looping_ = false;
        if (stream_) {
            pa_stream_set_write_callback(stream_, nullptr, nullptr);
            pa_stream_disconnect(stream_);
            pa_stream_unref(stream_);
            stream_ = nullptr;
        }
        if (context_) {
            pa_context_disconnect(context_);
            pa_context_unref(context_);
            context_ = nullptr;
        }
        pa_threaded_mainloop_free(loop_);
        loop_ = nullptr;
    }

    unsigned latencyFrames() const override { return bufferFrames_; }
    bool failed() const override { return failed_.load(std::memory_order_acquire); }
    bool reportsFailure() const override { return true; }
    unsigned underruns() const override { return underruns_.load(std::memory_order_relaxed); }
    std::string name() const override { return "PulseAudio"; }

  private:
    static void onContextState(pa_context* c, void* user) {
        if (contextGone(c)) static_cast<PulseOutput*>(user)->failed_.store(true, std::memory_order_release);
    }
    static void onStreamState(pa_stream* s, void* user) {
        const pa_stream_state_t state = pa_stream_get_state(s);
        if (state == PA_STREAM_FAILED || state == PA_STREAM_TERMINATED)
            static_cast<PulseOutput*>(user)->failed_.store(true, std::memory_order_release);
    }
    static void onUnderflow(pa_stream*, void* user) {
        static_cast<PulseOutput*>(user)->underruns_.fetch_add(1, std::memory_order_relaxed);
    }

    // On the mainloop thread: the server has room for `bytes`. Renders straight into its memory.
    static void onWrite(pa_stream* s, std::size_t bytes, void* user) {
        auto* self = static_cast<PulseOutput*>(user);
        constexpr std::size_t kFrameBytes = 2 * sizeof(float);
        // What is queued ahead of the first new frame: the stream's latency as of now. Until the
        // server has reported its timing since the stream was uncorked, the request is filled with
        // silence and the mix does not move on.
        pa_usec_t usec = 0;
        int negative = 0;
        const bool timed = self->timingFresh_ && pa_stream_get_latency(s, &usec, &negative) == 0;
        double delay = timed && !negative ? static_cast<double>(usec) * self->rate_ / 1e6 : 0.0;
        while (bytes >= kFrameBytes) {
            void* data = nullptr;
            std::size_t chunk = std::min<std::size_t>(bytes, 4096 * kFrameBytes);
            if (pa_stream_begin_write(s, &data, &chunk) < 0 || !data) return;
            chunk -= chunk % kFrameBytes;
            if (chunk == 0) {
                pa_stream_cancel_write(s);
                return;
            }
            const auto frames = static_cast<unsigned>(chunk / kFrameBytes);
            if (timed)
                self->render_(self->ctx_, static_cast<float*>(data), frames, delay);
            else
                std::fill_n(static_cast<float*>(data), frames * 2, 0.0f);
            if (pa_stream_write(s, data, chunk, nullptr, 0, PA_SEEK_RELATIVE) < 0) return;
            delay += frames;
            bytes -= chunk;
        }
        if (!self->playing_) {
            self->playing_ = true;
            if (pa_operation* op = pa_stream_cork(s, 0, nullptr, nullptr)) pa_operation_unref(op);
            if (pa_operation* op = pa_stream_update_timing_info(s, &PulseOutput::onTimingAfterUncork, self))
                pa_operation_unref(op);
        }
    }

    static void onTimingAfterUncork(pa_stream*, int success, void* user) {
        auto* self = static_cast<PulseOutput*>(user);
        if (success) {
            self->timingFresh_ = true;
        } else if (self->stream_) {
            if (pa_operation* op =
                    pa_stream_update_timing_info(self->stream_, &PulseOutput::onTimingAfterUncork, self))
                pa_operation_unref(op);
        }
    }

    pa_threaded_mainloop* loop_ = nullptr;
    pa_context* context_ = nullptr;
    pa_stream* stream_ = nullptr;
    bool looping_ = false;
    // Uncorked, and the server's timing known since: only the mainloop thread touches them once
    // the stream is made.
    bool playing_ = false;
    bool timingFresh_ = false;
    unsigned rate_ = 44100;
    unsigned bufferFrames_ = 44100 * kPulseBufferMs / 1000;
    RenderFn render_ = nullptr;
    void* ctx_ = nullptr;
    std::atomic<bool> failed_{false};
    std::atomic<unsigned> underruns_{0};
};

} // namespace

bool pulseServerReachable() {
    PulseOutput probe;
    return probe.connect();
}

std::unique_ptr<OutputBackend> openPulseOutput() {
    auto out = std::make_unique<PulseOutput>();
    if (!out->connect()) return nullptr;
    return out;
}

} // namespace engine
