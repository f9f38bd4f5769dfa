#pragma once

#include "device/device_list.h"
#include "device/output_backend.h"

namespace engine {

// An output on an ALSA or JACK device. Returns null when the device cannot be opened.
std::unique_ptr<OutputBackend> openRtAudioOutput(const SystemDevice& device, unsigned rate);

// An output on any listed device: the PulseAudio server through libpulse, others through RtAudio.
std::unique_ptr<OutputBackend> openSystemOutput(const SystemDevice& device, unsigned rate);

} // namespace engine
