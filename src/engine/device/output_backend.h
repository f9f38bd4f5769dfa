// An output the engine's mix goes to: a PulseAudio server, a sound card through RtAudio, the
// no-sound clock, or the virtual device that tests drive.
#pragma once

#include <memory>
#include <string>

namespace engine {

// Called with a buffer of `frames` interleaved stereo float frames to fill. `delay` is how many
// frames the device will still play before the first frame of this buffer. On a real device this
// is the device callback: it must not block, allocate or do I/O.
using RenderFn = void (*)(void* ctx, float* out, unsigned frames, double delay);

class OutputBackend {
  public:
    virtual ~OutputBackend() = default;
    virtual bool start(unsigned rate, RenderFn render, void* ctx) = 0;
    virtual void stop() = 0;
    // Frames between the moment the engine renders a frame and the moment it is heard, as set up
    // (each block reports its own delay to the render function).
    virtual unsigned latencyFrames() const = 0;
    // True once the device is gone for good (the sound server quit, the card was pulled).
    virtual bool failed() const { return false; }
    // True when failed() is all there is to know: a device that stops asking for audio for a while
    // is then not taken for lost (a sound server may hold a new stream until its sink wakes up).
    virtual bool reportsFailure() const { return false; }
    // Underflows the device or the sound server reported: moments it had nothing to play.
    virtual unsigned underruns() const { return 0; }
    // False for the virtual device: nothing runs unless a test advances it.
    virtual bool realtime() const { return true; }
    virtual std::string name() const = 0;
};

std::unique_ptr<OutputBackend> makeNullOutput();
std::unique_ptr<OutputBackend> makeVirtualOutput();

} // namespace engine
