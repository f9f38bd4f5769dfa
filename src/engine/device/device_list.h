// The machine's sound devices in the engine's numbering order: the PulseAudio server's default
// sink first (when a server answers), then ALSA's and JACK's devices as RtAudio sees them.
#pragma once

#include <rtaudio/RtAudio.h>

#include <string>
#include <vector>

namespace engine {

struct SystemDevice {
    RtAudio::Api api; // LINUX_PULSE: the server's default sink, through libpulse
    unsigned id;      // RtAudio's device index within its API
    std::string name; // as RtAudio names it, prefixed by nothing
    bool isDefault;   // RtAudio's default of that API
};

std::vector<SystemDevice> listOutputDevices();
std::vector<SystemDevice> listInputDevices();

} // namespace engine
