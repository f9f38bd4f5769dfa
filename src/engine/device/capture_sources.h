// The machine's capture inputs and the streams of frames they deliver. A source delivers stereo
// float frames at kSourceRate, in blocks of about 20 ms, on a thread of its own, to the function
// it was opened with (the capture hub, capture/capture.h).
#pragma once

#include "api.h"

#include <memory>
#include <string>
#include <vector>

namespace engine {

constexpr unsigned kSourceRate = 44100;

struct CaptureInput {
    std::string name;
    DWORD type = 0; // one of the BASS_INPUT_TYPE_ values, guessed from the name
    bool on = false;
    float level = 1.0f;
    // Where the samples come from: a PulseAudio source by name, else an RtAudio capture device
    // (API and index); neither for the virtual device.
    std::string pulseSource;
    int rtApi = 0;
    unsigned rtId = 0;
};

// Guesses an input's type from its name: microphone, line-in, or the monitor of an output.
DWORD guessInputType(const std::string& name);

// A running stream of captured frames from one input.
class CaptureSource {
  public:
    virtual ~CaptureSource() = default;
    // Ends the stream; no delivery runs once it returns (unless called from the capture thread
    // itself, which then ends after the delivery in progress).
    virtual void stop() = 0;
};

// `age`: how long ago, in seconds, the block's last frame was taken, as far as the source knows;
// negative when it does not.
using DeliverFn = void (*)(void* ctx, const float* frames, unsigned count, double age);

// Opens the input on the machine (PulseAudio source or RtAudio device); null when it cannot.
std::unique_ptr<CaptureSource> openSystemSource(const CaptureInput& input, DeliverFn deliver, void* ctx);
// The machine's capture inputs: PulseAudio sources by name when a server answers, then the
// capture devices of ALSA and JACK as RtAudio lists them.
std::vector<CaptureInput> listCaptureInputs();

} // namespace engine
