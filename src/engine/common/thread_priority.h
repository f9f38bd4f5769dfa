// Real-time priority for the engine's audio threads.
#pragma once

#include <thread>

namespace engine {

// Gives a thread a real-time priority where the system allows it (root, or a user with an rtprio
// limit); where it does not, nothing changes. Decoding ahead and feeding the device must not
// starve behind a busy machine.
void raiseToAudioPriority(std::thread& thread);
void raiseThisThreadToAudioPriority();

} // namespace engine
