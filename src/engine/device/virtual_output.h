#pragma once

#include "device/output_backend.h"
#include "testing.h"

#include <vector>

namespace engine {

bool virtualDeviceInUse();
std::vector<testing::VirtualInput> virtualInputs();
bool isVirtualOutput(const OutputBackend* backend);
// Renders `frames` on `backend` when it is the virtual device (keeping what was heard when the
// test asked for it); false when it is not.
bool advanceVirtualOutput(OutputBackend* backend, unsigned frames);
// The virtual input's set-up: whether it hears the output, and its delay in frames.
bool virtualInputHearsOutput();
unsigned virtualInputDelay();
// The block the virtual device rendered last, interleaved stereo float.
const std::vector<float>& lastVirtualBlock();

} // namespace engine
