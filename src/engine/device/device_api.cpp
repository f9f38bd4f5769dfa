// Library and output-device operations.
#include "api.h"
#include "base/engine.h"
#include "base/errors.h"
#include "device/rtaudio_output.h"
#include "device/virtual_output.h"

namespace {

using namespace engine;

// Version 2.4 in the high word, as the program checks.
constexpr DWORD kVersion = 0x02040000;

std::unique_ptr<OutputBackend> openDefaultOutput(unsigned rate) {
    const std::vector<SystemDevice> devices = listOutputDevices();
    // The default of the first API that opens; a machine without one plays on the no-sound device.
    for (const SystemDevice& d : devices)
        if (d.isDefault)
            if (auto out = openRtAudioOutput(d, rate)) return out;
    for (const SystemDevice& d : devices)
        if (auto out = openRtAudioOutput(d, rate)) return out;
    return makeNullOutput();
}

} // namespace

DWORD BASS_GetVersion() {
    return ok(kVersion);
}
DWORD BASS_FX_GetVersion() {
    return ok(kVersion);
}

BOOL BASS_SetConfig(DWORD option, DWORD value) {
    if (option != BASS_CONFIG_FLOATDSP) return fail(BASS_ERROR_ILLTYPE);
    // The engine works in float inside; the option is kept for what reads it back.
    Engine::instance().floatDsp = value ? 1 : 0;
    return ok(1);
}

DWORD BASS_GetConfig(DWORD option) {
    if (option != BASS_CONFIG_FLOATDSP) return fail<DWORD>(BASS_ERROR_ILLTYPE, ~0u);
    return ok(Engine::instance().floatDsp.load());
}

BOOL BASS_Init(int device, DWORD freq, DWORD flags, void* win, void* clsid) {
    Engine& e = Engine::instance();
    std::lock_guard lock(e.deviceMutex);
    if (e.initialised) return fail(BASS_ERROR_ALREADY);
    if (device < -1) return fail(BASS_ERROR_DEVICE);
    const unsigned rate = freq ? freq : 44100;

    std::unique_ptr<OutputBackend> out;
    if (virtualDeviceInUse()) {
        if (device > 1) return fail(BASS_ERROR_DEVICE);
        out = makeVirtualOutput();
    } else if (device == 0) {
        out = makeNullOutput();
    } else if (device == -1) {
        out = openDefaultOutput(rate);
    } else {
        const std::vector<SystemDevice> devices = listOutputDevices();
        if (static_cast<std::size_t>(device) > devices.size()) return fail(BASS_ERROR_DEVICE);
        out = openRtAudioOutput(devices[static_cast<std::size_t>(device) - 1], rate);
        if (!out) return fail(BASS_ERROR_DRIVER);
    }

    e.rate = rate;
    e.device = device;
    e.masterVolume = 1.0f;
    e.framesRendered = 0;
    e.realtime = out->realtime();
    e.outputLatency = out->latencyFrames();
    if (!out->start(rate, &Engine::renderThunk, &e)) return fail(BASS_ERROR_START);
    e.outputLatency = out->latencyFrames();
    e.output = std::move(out);
    e.initialised = true;
    // Decoding ahead and delayed syncs run on engine threads, except on the virtual device where
    // testing::advance does their work.
    if (e.realtime) e.startThreads();
    return ok(1);
}

BOOL BASS_Free() {
    Engine& e = Engine::instance();
    std::unique_ptr<OutputBackend> out;
    {
        std::lock_guard lock(e.deviceMutex);
        if (!e.initialised) return fail(BASS_ERROR_INIT);
        out = std::move(e.output);
        e.initialised = false;
    }
    // Stopped outside the lock: the device thread may be inside the engine right now.
    e.stopThreads();
    if (out) out->stop();
    e.freeAllChannels();
    return ok(1);
}

BOOL BASS_SetVolume(float volume) {
    Engine& e = Engine::instance();
    {
        std::lock_guard lock(e.deviceMutex);
        if (!e.initialised) return fail(BASS_ERROR_INIT);
    }
    if (!(volume >= 0.0f && volume <= 1.0f)) return fail(BASS_ERROR_ILLPARAM);
    e.masterVolume = volume;
    return ok(1);
}

float BASS_GetVolume() {
    Engine& e = Engine::instance();
    {
        std::lock_guard lock(e.deviceMutex);
        if (!e.initialised) return fail(BASS_ERROR_INIT, -1.0f);
    }
    return ok(e.masterVolume.load());
}

int BASS_ErrorGetCode() {
    return lastError();
}
