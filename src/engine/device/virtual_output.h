#pragma once

#include "device/output_backend.h"
#include "testing.h"

#include <vector>

namespace engine {

bool virtualDeviceInUse();
std::vector<testing::VirtualInput> virtualInputs();

} // namespace engine
