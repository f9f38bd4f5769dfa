#include "device/rtaudio_output.h"

#include "device/pulse_output.h"

#include <atomic>

namespace engine {

namespace {

class RtAudioOutput final : public OutputBackend {
  public:
    RtAudioOutput(const SystemDevice& device) : device_(device), audio_(device.api) {
        audio_.showWarnings(false);
    }
    ~RtAudioOutput() override { stop(); }

    bool open(unsigned rate) {
        rate_ = rate;
        RtAudio::StreamParameters params;
        params.deviceId = device_.id;
        params.nChannels = 2;
        RtAudio::StreamOptions options;
        // About 90 ms in four periods: a late device thread on a busy machine finds three periods
        // still queued. Positions and syncs follow the reported latency, so the size costs nothing
        // but reaction time to a key or level change.
        options.numberOfBuffers = 4;
        options.streamName = "Velvora";
        // The device thread gets a real-time priority where the system grants one.
        options.flags = RTAUDIO_SCHEDULE_REALTIME;
        options.priority = 20;
        bufferFrames_ = 1024;
        try {
            audio_.openStream(&params, nullptr, RTAUDIO_FLOAT32, rate, &bufferFrames_,
                              &RtAudioOutput::callback, this, &options);
        } catch (const RtAudioError&) {
            return false;
        }
        return audio_.isStreamOpen();
    }

    bool start(unsigned, RenderFn render, void* ctx) override {
        render_ = render;
        ctx_ = ctx;
        latency_ = latencyFrames();
        try {
            audio_.startStream();
        } catch (const RtAudioError&) {
            return false;
        }
        return true;
    }

    void stop() override {
        try {
            if (audio_.isStreamRunning()) audio_.stopStream();
            if (audio_.isStreamOpen()) audio_.closeStream();
        } catch (const RtAudioError&) {
        }
    }

    unsigned latencyFrames() const override {
        // ALSA reports the frames queued in the device; JACK its port latency. Where nothing is
        // reported, the periods we asked for less the one being filled.
        long reported = 0;
        try {
            reported = const_cast<RtAudio&>(audio_).getStreamLatency();
        } catch (const RtAudioError&) {
        }
        if (reported <= 0) return bufferFrames_ * 3;
        return static_cast<unsigned>(reported) + bufferFrames_;
    }

    unsigned underruns() const override { return underruns_.load(std::memory_order_relaxed); }
    std::string name() const override { return device_.name; }

  private:
    static int callback(void* out, void*, unsigned frames, double, RtAudioStreamStatus status, void* user) {
        auto* self = static_cast<RtAudioOutput*>(user);
        if (status & RTAUDIO_OUTPUT_UNDERFLOW) self->underruns_.fetch_add(1, std::memory_order_relaxed);
        self->render_(self->ctx_, static_cast<float*>(out), frames, self->latency_);
        return 0;
    }

    SystemDevice device_;
    RtAudio audio_;
    unsigned rate_ = 44100;
    unsigned bufferFrames_ = 1024;
    RenderFn render_ = nullptr;
    void* ctx_ = nullptr;
    double latency_ = 0;
    std::atomic<unsigned> underruns_{0};
};

} // namespace

std::unique_ptr<OutputBackend> openRtAudioOutput(const SystemDevice& device, unsigned rate) {
    try {
        auto out = std::make_unique<RtAudioOutput>(device);
        if (!out->open(rate)) return nullptr;
        return out;
    } catch (const RtAudioError&) {
        return nullptr;
    }
}

std::unique_ptr<OutputBackend> openSystemOutput(const SystemDevice& device, unsigned rate) {
    if (device.api == RtAudio::LINUX_PULSE) return openPulseOutput();
    return openRtAudioOutput(device, rate);
}

} // namespace engine
