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

} // namespace engine
