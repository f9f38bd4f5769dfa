// Library and output-device operations.
#include "api.h"
#include "common/errors.h"
#include "device/rtaudio_output.h"
#include "device/virtual_output.h"
#include "root/engine.h"

namespace {

using namespace engine;

// Version 2.4 in the high word, as the program checks.
constexpr DWORD kVersion = 0x02040000;

// The system's default output: the default of the first API that opens, else any device that
// opens; null when none does.
std::unique_ptr<OutputBackend> openDefaultOutput(unsigned rate) {
    const std::vector<SystemDevice> devices = listOutputDevices();
    for (const SystemDevice& d : devices)
        if (d.isDefault)
            if (auto out = openSystemOutput(d, rate)) return out;
    for (const SystemDevice& d : devices)
        if (auto out = openSystemOutput(d, rate)) return out;
    return nullptr;
}

// Device n of the list (1-based); null when it is not there or does not open.
std::unique_ptr<OutputBackend> openListedOutput(int device, unsigned rate) {
    const std::vector<SystemDevice> devices = listOutputDevices();
    if (device < 1 || static_cast<std::size_t>(device) > devices.size()) return nullptr;
    return openSystemOutput(devices[static_cast<std::size_t>(device) - 1], rate);
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
    Engine::instance().setFloatDsp(value ? 1 : 0);
    return ok(1);
}

DWORD BASS_GetConfig(DWORD option) {
    if (option != BASS_CONFIG_FLOATDSP) return fail<DWORD>(BASS_ERROR_ILLTYPE, ~0u);
    return ok(Engine::instance().floatDsp());
}

BOOL BASS_Init(int device, DWORD freq, DWORD flags, void* win, void* clsid) {
    Engine& e = Engine::instance();
    if (e.deviceReady()) return fail(BASS_ERROR_ALREADY);
    if (device < -1) return fail(BASS_ERROR_DEVICE);
    const unsigned rate = freq ? freq : 44100;

    std::unique_ptr<OutputBackend> out;
    // How the device is opened again after it was lost (the server quit, the card was pulled).
    OutputDevice::Reopen reopen;
    if (virtualDeviceInUse()) {
        if (device > 1) return fail(BASS_ERROR_DEVICE);
        out = makeVirtualOutput();
    } else if (device == 0) {
        out = makeNullOutput();
    } else if (device == -1) {
        out = openDefaultOutput(rate);
        if (out)
            reopen = [rate] { return openDefaultOutput(rate); };
        else
            out = makeNullOutput(); // a machine without a device plays on the no-sound device
    } else {
        const std::vector<SystemDevice> devices = listOutputDevices();
        if (static_cast<std::size_t>(device) > devices.size()) return fail(BASS_ERROR_DEVICE);
        out = openSystemOutput(devices[static_cast<std::size_t>(device) - 1], rate);
        if (!out) return fail(BASS_ERROR_DRIVER);
        reopen = [device, rate] { return openListedOutput(device, rate); };
    }

    e.setMasterVolume(1.0f);
    if (!e.output().open(std::move(out), rate, std::move(reopen)))
        return fail(e.deviceReady() ? BASS_ERROR_ALREADY : BASS_ERROR_START);
    // Decoding ahead and delayed syncs run on engine threads, except on the virtual device where
    // testing::advance does their work.
    if (e.realtime()) e.startThreads();
    return ok(1);
}

BOOL BASS_Free() {
    Engine& e = Engine::instance();
    if (!e.deviceReady()) return fail(BASS_ERROR_INIT);
    e.output().close();
    e.stopThreads();
    e.freeAllChannels();
    return ok(1);
}

BOOL BASS_SetVolume(float volume) {
    Engine& e = Engine::instance();
    if (!e.deviceReady()) return fail(BASS_ERROR_INIT);
    if (!(volume >= 0.0f && volume <= 1.0f)) return fail(BASS_ERROR_ILLPARAM);
    e.setMasterVolume(volume);
    return ok(1);
}

float BASS_GetVolume() {
    Engine& e = Engine::instance();
    if (!e.deviceReady()) return fail(BASS_ERROR_INIT, -1.0f);
    return ok(e.masterVolume());
}

int BASS_ErrorGetCode() {
    return lastError();
}
