// The capture device and its inputs (the capture hub, capture/capture.h, does the work).
#include "api.h"
#include "capture/capture.h"
#include "common/errors.h"
#include "device/virtual_output.h"
#include "root/engine.h"

namespace {

using namespace engine;

thread_local std::string inputNameResult;

BOOL result(int error) {
    return error ? fail(error) : ok(1);
}

} // namespace

BOOL BASS_RecordInit(int device) {
    if (Engine::instance().captures().initialised()) return fail(BASS_ERROR_ALREADY);
    if (device < -1) return fail(BASS_ERROR_DEVICE);
    std::vector<CaptureInput> inputs;
    if (virtualDeviceInUse()) {
        for (const testing::VirtualInput& v : virtualInputs())
            inputs.push_back({v.name, guessInputType(v.name), v.on, 1.0f, {}, 0, 0});
    } else {
        inputs = listCaptureInputs(); // PulseAudio sources by name, then ALSA/JACK devices
    }
    return result(Engine::instance().captures().init(std::move(inputs)));
}

BOOL BASS_RecordFree() {
    return result(Engine::instance().captures().free());
}

const char* BASS_RecordGetInputName(int input) {
    std::string name;
    if (const int error = Engine::instance().captures().inputName(input, name))
        return fail<const char*>(error, nullptr);
    inputNameResult = std::move(name);
    return ok(inputNameResult.c_str());
}

DWORD BASS_RecordGetInput(int input, float* volume) {
    DWORD flags = 0;
    float level = 0;
    if (const int error = Engine::instance().captures().inputState(input, flags, level))
        return fail<DWORD>(error, ~0u);
    if (volume) *volume = level;
    return ok(flags);
}

BOOL BASS_RecordSetInput(int input, DWORD flags, float volume) {
    return result(Engine::instance().captures().setInput(input, flags, volume));
}

HRECORD BASS_RecordStart(DWORD freq, DWORD chans, DWORD flags, RECORDPROC* proc, void* user) {
    if (freq == 0) freq = kSourceRate;
    if (chans == 0) chans = 2;
    DWORD period = flags >> 16;
    if (period == 0) period = 100;
    if (freq < 1000 || freq > 384000 || chans > 8 || !proc || period < 5 || period > 1000)
        return fail<HRECORD>(BASS_ERROR_ILLPARAM, 0);
    int error = 0;
    const DWORD h = Engine::instance().captures().start(freq, chans, period, proc, user, error);
    if (!h) return fail<HRECORD>(error, 0);
    return ok(h);
}

BOOL BASS_RecordGetOffset(HRECORD rec, DWORD chan, double* started, double* heard) {
    Engine& e = Engine::instance();
    const auto capture = std::dynamic_pointer_cast<CaptureChannel>(e.channel(rec));
    const ChannelPtr played = e.channel(chan);
    if (!capture || !played) return fail(BASS_ERROR_HANDLE);
    double first = 0;
    const double start = played->startedFrame.load(std::memory_order_acquire);
    if (!e.captures().firstFrame(*capture, first) || start < 0) return fail(BASS_ERROR_NOPLAY);
    const double rate = e.rate();
    // The moment the channel's first frame was heard: from where it is heard now when it has
    // begun to be, else the device's own latency after it was started.
    double heardFrame = start + e.output().latencyFrames();
    if (played->playback() && played->isActive() == BASS_ACTIVE_PLAYING) {
        const double since = played->heardFrame() - played->startedPos.load(std::memory_order_relaxed);
        if (since > 0) heardFrame = e.heardFrame() - since * rate / played->freq;
    }
    const double startedSeconds = e.captures().onVirtualClock()
                                      ? (start - first) / rate
                                      : played->startedTime.load(std::memory_order_relaxed) - first;
    if (started) *started = startedSeconds;
    if (heard) *heard = startedSeconds + (heardFrame - start) / rate;
    return ok(1);
}
