#pragma once

#include "device/device_list.h"
#include "device/output_backend.h"

namespace engine {

// An output on a real sound device. Returns null when the device cannot be opened.
std::unique_ptr<OutputBackend> openRtAudioOutput(const SystemDevice& device, unsigned rate);

} // namespace engine
