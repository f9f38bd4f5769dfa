// The steady clock in seconds: where the engine relates moments on different threads and devices.
#pragma once

#include <chrono>

namespace engine {

inline double steadySeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

} // namespace engine
