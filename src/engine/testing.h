// The virtual device, for tests only: with it switched on, BASS_Init opens a device that renders,
// fires syncs and captures only when a test advances it, synchronously, on the test's thread.
#pragma once

#include "api.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace engine::testing {

struct VirtualInput {
    std::string name;
    bool on = false;
};

// Switches BASS_Init over to the virtual device (any device number opens it) and BASS_RecordInit
// over to the virtual capture inputs.
void useVirtualDevice(bool on);
bool virtualDeviceInUse();

// The inputs the virtual capture device offers; by default one microphone, switched on.
void setVirtualInputs(std::vector<VirtualInput> inputs);

// Supplies samples to the virtual capture input: interleaved stereo 16-bit at 44100 Hz, appended
// to what is still queued. While at least one capture runs, each advance() plays as many frames
// of the queue into the captures (silence once it is empty), synchronously, after the mix.
void pushCaptureInput(const std::vector<std::int16_t>& stereo);
// Drops what is still queued.
void clearCaptureInput();
// What the virtual input hears besides the queue: with `on`, the mix the virtual device just
// played, as a microphone before a loudspeaker would.
void hearOutputOnInput(bool on);
// The time sound takes to reach a capture on the virtual input, in frames at 44100 Hz: a capture
// that starts gets this much silence first, and everything it hears comes this much later.
void setVirtualInputDelay(unsigned frames);

// Renders `frames` frames of the mix on the virtual device and runs what falls due meanwhile: in
// blocks of 512 frames, the decoding ahead of every playing channel (with its mix-time syncs), the
// block's mix, then the delayed syncs whose audio has been heard, in order. advance(0) runs only
// the update and the due syncs (those of channels read with BASS_ChannelGetData are due at once).
void advance(unsigned frames);

// Runs the delayed syncs that are due now, and nothing else.
void runSyncs();

// What the virtual device has played since the last clearHeard(), interleaved stereo float.
const std::vector<float>& heard();
void clearHeard();
void keepHeard(bool on);

// How many channels (streams, mixers, captures) have a live handle: made and not yet freed,
// by BASS_StreamFree, an auto-free end or BASS_Free. A leak shows as a count that only grows.
std::size_t liveChannels();

// Name of the output device in use ("No sound" for device 0 or while a lost device is away),
// empty when none.
std::string outputName();

// How the output has fared since BASS_Init: underflows the device or the sound server reported,
// device blocks in which a playing channel's ring ran short, devices lost and devices regained.
struct OutputHealth {
    unsigned deviceUnderruns = 0;
    unsigned ringUnderruns = 0;
    unsigned failures = 0;
    unsigned recoveries = 0;
};
OutputHealth outputHealth();

// When BASS_ChannelPlay last started a channel, in seconds of std::chrono::steady_clock; 0 before
// any. A test that records the output by other means relates its recording to it.
double lastPlayStarted();

} // namespace engine::testing
