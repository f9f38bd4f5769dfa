// Output to a PulseAudio server (or PipeWire's PulseAudio service) through libpulse's own
// asynchronous API.
//
// Why not RtAudio's PulseAudio backend: it writes through pa_simple from a thread of its own, so a
// buffer small enough to keep latency down underruns whenever that thread is late, it reports no
// latency and no underflow, and it cannot tell that the server went away. Here the server asks for
// audio (the write callback on libpulse's mainloop thread, which renders straight into the server's
// memory), tells of every underflow, reports the latency of each block, and says when the stream
// or the connection fails.
#pragma once

#include "device/output_backend.h"

#include <memory>
#include <string>

namespace engine {

// True when a PulseAudio server answers within a short time (nothing is started otherwise).
bool pulseServerReachable();

// An output on the server's default sink. Null when no server answers.
std::unique_ptr<OutputBackend> openPulseOutput();

// The latency the output asks the server for (our buffer and the sink's together). Measured on a
// two-core machine with stress-ng on both cores and two compilers besides (load average 6 to 11),
// 30 s of a signal through a null sink, three runs each, as root (real-time threads) and as an
// unprivileged user (none): 20 ms and 40 ms broke up in every run; 100 ms held as root but not
// always without real-time threads (1 to 2 underflows in 2 runs of 3); 150 ms and 200 ms held in
// every run. Over half an hour (bench/soak, a dense song, stress-ng on both cores and builds
// besides) 150 ms still underflowed now and then (1 to 3 times, 18 to 22 ms of silence each, while
// the server's main thread, which is not real-time, was kept waiting); hence 200 ms. Positions and
// syncs follow the heard moment whatever the buffer, so the only cost is how soon a change of key
// or tempo is heard.
constexpr unsigned kPulseBufferMs = 200;

} // namespace engine
