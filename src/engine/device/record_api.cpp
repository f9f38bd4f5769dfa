// The capture device and its inputs.
#include "api.h"
#include "base/engine.h"
#include "base/errors.h"
#include "capture/capture.h"
#include "device/device_list.h"
#include "device/virtual_output.h"

#include <algorithm>

namespace {

using namespace engine;

thread_local std::string inputNameResult;

bool validInput(const Engine& e, int input) {
    return input >= 0 && static_cast<std::size_t>(input) < e.inputs.size();
}

} // namespace

BOOL BASS_RecordInit(int device) {
    Engine& e = Engine::instance();
    std::lock_guard lock(e.captureMutex);
    if (e.recordInitialised) return fail(BASS_ERROR_ALREADY);
    if (device < -1) return fail(BASS_ERROR_DEVICE);

    std::vector<CaptureInput> inputs;
    if (virtualDeviceInUse()) {
        for (const testing::VirtualInput& v : virtualInputs())
            inputs.push_back({v.name, guessInputType(v.name), v.on, 1.0f, {}, 0, 0});
    } else {
        inputs = listCaptureInputs(); // PulseAudio sources by name, then ALSA/JACK devices
    }
    if (inputs.empty()) return fail(BASS_ERROR_DEVICE);
    // Exactly one input is on: the system's default, or the first when none says so.
    if (std::none_of(inputs.begin(), inputs.end(), [](const CaptureInput& i) { return i.on; }))
        inputs[0].on = true;
    bool seen = false;
    for (CaptureInput& i : inputs) {
        if (i.on && seen) i.on = false;
        seen = seen || i.on;
    }
    e.inputs = std::move(inputs);
    e.recordInitialised = true;
    return ok(1);
}

BOOL BASS_RecordFree() {
    Engine& e = Engine::instance();
    CaptureHub::instance().stopAll(); // every capture channel ends with the device (before the lock:
                                      // the capture thread reads the input's level under it)
    std::lock_guard lock(e.captureMutex);
    if (!e.recordInitialised) return fail(BASS_ERROR_INIT);
    e.recordInitialised = false;
    e.inputs.clear();
    return ok(1);
}

const char* BASS_RecordGetInputName(int input) {
    Engine& e = Engine::instance();
    std::lock_guard lock(e.captureMutex);
    if (!e.recordInitialised) return fail<const char*>(BASS_ERROR_INIT, nullptr);
    if (!validInput(e, input)) return fail<const char*>(BASS_ERROR_ILLPARAM, nullptr);
    inputNameResult = e.inputs[static_cast<std::size_t>(input)].name;
    return ok(inputNameResult.c_str());
}

DWORD BASS_RecordGetInput(int input, float* volume) {
    Engine& e = Engine::instance();
    std::lock_guard lock(e.captureMutex);
    if (!e.recordInitialised) return fail<DWORD>(BASS_ERROR_INIT, ~0u);
    if (!validInput(e, input)) return fail<DWORD>(BASS_ERROR_ILLPARAM, ~0u);
    const CaptureInput& i = e.inputs[static_cast<std::size_t>(input)];
    if (volume) *volume = i.level;
    return ok<DWORD>(i.type | (i.on ? 0u : BASS_INPUT_OFF));
}

BOOL BASS_RecordSetInput(int input, DWORD flags, float volume) {
    Engine& e = Engine::instance();
    std::lock_guard lock(e.captureMutex);
    if (!e.recordInitialised) return fail(BASS_ERROR_INIT);
    if (!validInput(e, input)) return fail(BASS_ERROR_ILLPARAM);
    if ((flags & BASS_INPUT_ON) && (flags & BASS_INPUT_OFF)) return fail(BASS_ERROR_ILLPARAM);
    if (volume != -1.0f && !(volume >= 0.0f && volume <= 1.0f)) return fail(BASS_ERROR_ILLPARAM);
    CaptureInput& target = e.inputs[static_cast<std::size_t>(input)];
    if (flags & BASS_INPUT_ON) {
        for (CaptureInput& i : e.inputs) i.on = false;
        target.on = true;
    } else if (flags & BASS_INPUT_OFF) {
        target.on = false;
    }
    if (volume != -1.0f) target.level = volume;
    return ok(1);
}
