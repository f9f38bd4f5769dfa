// An output the engine's mix goes to: a sound card through RtAudio, the no-sound clock, or the
// virtual device that tests drive.
#pragma once

#include <memory>
#include <string>

namespace engine {

// Called with a buffer of `frames` interleaved stereo float frames to fill. On a real device this
// is the device callback: it must not block, allocate or do I/O.
using RenderFn = void (*)(void* ctx, float* out, unsigned frames);

class OutputBackend {
  public:
    virtual ~OutputBackend() = default;
    virtual bool start(unsigned rate, RenderFn render, void* ctx) = 0;
    virtual void stop() = 0;
    // Frames between the moment the engine renders a frame and the moment it is heard.
    virtual unsigned latencyFrames() const = 0;
    // False for the virtual device: nothing runs unless a test advances it.
    virtual bool realtime() const { return true; }
    virtual std::string name() const = 0;
};

std::unique_ptr<OutputBackend> makeNullOutput();
std::unique_ptr<OutputBackend> makeVirtualOutput();

} // namespace engine
