// The machine's sound devices as RtAudio sees them, in the engine's numbering order:
// PulseAudio first, then ALSA, then JACK.
#pragma once

#include <rtaudio/RtAudio.h>

#include <string>
#include <vector>

namespace engine {

struct SystemDevice {
    RtAudio::Api api;
    unsigned id;      // RtAudio's device index within its API
    std::string name; // as RtAudio names it, prefixed by nothing
    bool isDefault;   // RtAudio's default of that API
};

std::vector<SystemDevice> listOutputDevices();
std::vector<SystemDevice> listInputDevices();

} // namespace engine
