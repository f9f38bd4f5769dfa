// Capture sources on the machine.
//
// PulseAudio: RtAudio 5.2's PulseAudio backend opens only the server's default source, so the
// engine talks to the server itself: libpulse lists the sources (each one an input, named by its
// description, the server's default switched on) and a pa_simple record stream opens the chosen
// source by name on the engine's capture thread. Other inputs (ALSA, JACK) are RtAudio capture
// devices opened by id; their RtAudio callback only copies into a lock-free ring that the capture
// thread drains.
#include "device/capture_sources.h"

#include "device/device_list.h"

#include <pulse/error.h>
#include <pulse/pulseaudio.h>
#include <pulse/simple.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <thread>

namespace engine {

namespace {

// ---- Listing PulseAudio sources ----

struct PulseListing {
    std::vector<CaptureInput> inputs;
    std::string defaultSource;
    int pending = 2;
    bool failed = false;
};

std::vector<CaptureInput> listPulseSources() {
    PulseListing out;
    pa_mainloop* loop = pa_mainloop_new();
    if (!loop) return {};
    pa_context* ctx = pa_context_new(pa_mainloop_get_api(loop), "Velvora");
    if (!ctx || pa_context_connect(ctx, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) {
        if (ctx) pa_context_unref(ctx);
        pa_mainloop_free(loop);
        return {};
    }
    bool asked = false;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    while (std::chrono::steady_clock::now() < deadline) {
        const pa_context_state_t state = pa_context_get_state(ctx);
        if (state == PA_CONTEXT_FAILED || state == PA_CONTEXT_TERMINATED) {
            out.failed = true;
            break;
        }
        if (state == PA_CONTEXT_READY && !asked) {
            asked = true;
            pa_operation_unref(pa_context_get_server_info(
                ctx,
                [](pa_context*, const pa_server_info* info, void* u) {
                    auto* o = static_cast<PulseListing*>(u);
                    if (info && info->default_source_name) o->defaultSource = info->default_source_name;
                    --o->pending;
                },
                &out));
            pa_operation_unref(pa_context_get_source_info_list(
                ctx,
                [](pa_context*, const pa_source_info* info, int eol, void* u) {
                    auto* o = static_cast<PulseListing*>(u);
                    if (eol) {
                        --o->pending;
                        return;
                    }
                    CaptureInput in;
                    in.name = info->description && *info->description ? info->description : info->name;
                    in.type = guessInputType(in.name + " " + info->name);
                    in.pulseSource = info->name;
                    o->inputs.push_back(std::move(in));
                },
                &out));
        }
        if (asked && out.pending <= 0) break;
        if (pa_mainloop_iterate(loop, 0, nullptr) < 0) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    pa_context_disconnect(ctx);
    pa_context_unref(ctx);
    pa_mainloop_free(loop);
    if (out.failed || out.pending > 0) return {};
    for (CaptureInput& in : out.inputs) in.on = in.pulseSource == out.defaultSource;
    return out.inputs;
}

// ---- A PulseAudio source by name ----

class PulseSource final : public CaptureSource {
  public:
    static std::unique_ptr<PulseSource> open(const std::string& source, DeliverFn deliver, void* ctx) {
        pa_sample_spec spec{PA_SAMPLE_FLOAT32LE, kSourceRate, 2};
        pa_buffer_attr attr{};
        attr.maxlength = static_cast<std::uint32_t>(-1);
        attr.fragsize = kSourceRate / 50 * 2 * sizeof(float); // 20 ms reads
        int error = 0;
        pa_simple* s = pa_simple_new(nullptr, "Velvora", PA_STREAM_RECORD, source.c_str(), "capture", &spec,
                                     nullptr, &attr, &error);
        if (!s) return nullptr;
        auto src = std::unique_ptr<PulseSource>(new PulseSource(s));
        src->thread_ = std::thread(&PulseSource::run, s, src->running_, deliver, ctx);
        return src;
    }
    ~PulseSource() override { stop(); }

    void stop() override {
        running_->store(false);
        if (!thread_.joinable()) return;
        if (thread_.get_id() == std::this_thread::get_id())
            thread_.detach(); // from a callback: the thread ends after this delivery
        else
            thread_.join();
    }

  private:
    explicit PulseSource(pa_simple*) {}
    // The thread owns the stream and shares the flag, so that it can outlive a detach.
    static void run(pa_simple* s, std::shared_ptr<std::atomic<bool>> running, DeliverFn deliver, void* ctx) {
        std::vector<float> buf(kSourceRate / 50 * 2);
        while (running->load()) {
            int error = 0;
            if (pa_simple_read(s, buf.data(), buf.size() * sizeof(float), &error) < 0) break;
            if (!running->load()) break;
            // The server's word for how long ago the next frame to read was taken: the one after
            // the block just read.
            const pa_usec_t latency = pa_simple_get_latency(s, &error);
            const double age =
                latency == static_cast<pa_usec_t>(-1) ? -1.0 : static_cast<double>(latency) * 1e-6;
            deliver(ctx, buf.data(), static_cast<unsigned>(buf.size() / 2), age);
        }
        pa_simple_free(s);
    }
    std::shared_ptr<std::atomic<bool>> running_ = std::make_shared<std::atomic<bool>>(true);
    std::thread thread_;
};

// ---- An RtAudio capture device (ALSA, JACK) ----

class RtSource final : public CaptureSource {
  public:
    static std::unique_ptr<RtSource> open(const CaptureInput& input, DeliverFn deliver, void* ctx) {
        auto src = std::unique_ptr<RtSource>(new RtSource());
        try {
            src->audio_ = std::make_unique<RtAudio>(static_cast<RtAudio::Api>(input.rtApi));
            src->audio_->showWarnings(false);
            RtAudio::StreamParameters params;
            params.deviceId = input.rtId;
            params.nChannels = 2;
            unsigned frames = 512;
            src->audio_->openStream(nullptr, &params, RTAUDIO_FLOAT32, kSourceRate, &frames,
                                    &RtSource::callback, src->state_.get());
            src->audio_->startStream();
        } catch (const RtAudioError&) {
            return nullptr;
        }
        src->thread_ = std::thread(&RtSource::drain, src->state_, deliver, ctx);
        return src;
    }
    ~RtSource() override { stop(); }

    void stop() override {
        state_->running.store(false);
        if (thread_.joinable()) {
            if (thread_.get_id() == std::this_thread::get_id())
                thread_.detach(); // from a callback: the drain ends after this delivery
            else
                thread_.join();
        }
        if (audio_) {
            try {
                if (audio_->isStreamOpen()) audio_->closeStream();
            } catch (const RtAudioError&) {
            }
            audio_.reset();
        }
    }

  private:
    static constexpr std::size_t kRing = 1 << 16; // samples, power of two
    struct State {
        std::unique_ptr<float[]> ring{new float[kRing]()};
        std::atomic<std::size_t> write{0}, read{0};
        std::atomic<bool> running{true};
    };
    // The device callback: copies into the ring, nothing else.
    static int callback(void*, void* in, unsigned frames, double, RtAudioStreamStatus, void* user) {
        auto* s = static_cast<State*>(user);
        const auto* samples = static_cast<const float*>(in);
        const std::size_t w = s->write.load(std::memory_order_relaxed);
        const std::size_t r = s->read.load(std::memory_order_acquire);
        const std::size_t n = std::min<std::size_t>(static_cast<std::size_t>(frames) * 2, kRing - (w - r));
        for (std::size_t i = 0; i < n; ++i) s->ring[(w + i) & (kRing - 1)] = samples ? samples[i] : 0.0f;
        s->write.store(w + n, std::memory_order_release);
        return 0;
    }
    static void drain(std::shared_ptr<State> s, DeliverFn deliver, void* ctx) {
        std::vector<float> block;
        while (s->running.load()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            const std::size_t r = s->read.load(std::memory_order_relaxed);
            const std::size_t w = s->write.load(std::memory_order_acquire);
            const std::size_t n = (w - r) & ~std::size_t{1};
            if (n == 0) continue;
            block.resize(n);
            for (std::size_t i = 0; i < n; ++i) block[i] = s->ring[(r + i) & (kRing - 1)];
            s->read.store(r + n, std::memory_order_release);
            if (s->running.load()) deliver(ctx, block.data(), static_cast<unsigned>(n / 2), -1.0);
        }
    }
    std::unique_ptr<RtAudio> audio_;
    std::shared_ptr<State> state_ = std::make_shared<State>();
    std::thread thread_;
};

} // namespace

std::vector<CaptureInput> listCaptureInputs() {
    std::vector<CaptureInput> inputs = listPulseSources();
    const bool pulse = !inputs.empty();
    for (const SystemDevice& d : listInputDevices()) {
        if (d.api == RtAudio::LINUX_PULSE) continue; // the sources above, each by name
        CaptureInput in;
        in.name = d.name;
        in.type = guessInputType(d.name);
        in.on = !pulse && d.isDefault;
        in.rtApi = static_cast<int>(d.api);
        in.rtId = d.id;
        inputs.push_back(std::move(in));
    }
    return inputs;
}

std::unique_ptr<CaptureSource> openSystemSource(const CaptureInput& input, DeliverFn deliver, void* ctx) {
    if (!input.pulseSource.empty()) return PulseSource::open(input.pulseSource, deliver, ctx);
    if (input.rtApi != 0) return RtSource::open(input, deliver, ctx);
    return nullptr;
}

DWORD guessInputType(const std::string& name) {
    std::string lower = name;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return std::tolower(c); });
    if (lower.find("monitor") != std::string::npos) return BASS_INPUT_TYPE_WAVE;
    if (lower.find("mic") != std::string::npos) return BASS_INPUT_TYPE_MIC;
    if (lower.find("line") != std::string::npos) return BASS_INPUT_TYPE_LINE;
    return 0;
}

} // namespace engine
