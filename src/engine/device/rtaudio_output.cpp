#include "device/rtaudio_output.h"

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
        // A small explicit buffer, so that what is heard stays close to what was rendered.
        options.numberOfBuffers = 2;
        options.streamName = "Velvora";
        // The device thread gets a real-time priority where the system grants one.
        options.flags = RTAUDIO_SCHEDULE_REALTIME;
        options.priority = 20;
        bufferFrames_ = 512;
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
        // PulseAudio reports 0 through RtAudio; its real delay is about one and a half of the
        // buffers we asked for. ALSA reports its own figure.
        long reported = 0;
        try {
            reported = const_cast<RtAudio&>(audio_).getStreamLatency();
        } catch (const RtAudioError&) {
        }
        if (device_.api == RtAudio::LINUX_PULSE || reported <= 0) return bufferFrames_ * 3 / 2;
        return static_cast<unsigned>(reported) + bufferFrames_;
    }

    std::string name() const override { return device_.name; }

  private:
    static int callback(void* out, void*, unsigned frames, double, RtAudioStreamStatus, void* user) {
        auto* self = static_cast<RtAudioOutput*>(user);
        self->render_(self->ctx_, static_cast<float*>(out), frames);
        return 0;
    }

    SystemDevice device_;
    RtAudio audio_;
    unsigned rate_ = 44100;
    unsigned bufferFrames_ = 512;
    RenderFn render_ = nullptr;
    void* ctx_ = nullptr;
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

} // namespace engine
