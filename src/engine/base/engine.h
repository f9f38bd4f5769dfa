// The engine's one instance: the output device, the channel and font tables, the master level.
#pragma once

#include "api.h"
#include "base/channel.h"
#include "base/handles.h"
#include "device/output_backend.h"

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

namespace engine {

class SoundFont;

struct CaptureInput {
    std::string name;
    DWORD type = 0; // one of the BASS_INPUT_TYPE_ values, guessed from the name
    bool on = false;
    float level = 1.0f;
};

class Engine {
  public:
    static Engine& instance();

    // Output device. `deviceMutex` guards the fields below it.
    std::mutex deviceMutex;
    std::unique_ptr<OutputBackend> output;
    bool initialised = false;
    int device = 0;
    unsigned rate = 44100;

    std::atomic<float> masterVolume{1.0f};
    std::atomic<DWORD> floatDsp{0};
    // Frames the device has asked for since BASS_Init; what is heard lags by the latency.
    std::atomic<unsigned long long> framesRendered{0};
    // The output's latency in frames, fixed when the device is opened.
    std::atomic<unsigned> outputLatency{0};

    // Capture device. `captureMutex` guards these.
    std::mutex captureMutex;
    bool recordInitialised = false;
    std::vector<CaptureInput> inputs;

    HandleTable<Channel> channels{kTagChannel};
    HandleTable<SoundFont> fonts{kTagFont};

    std::mutex defaultFontsMutex;
    std::vector<BASS_MIDI_FONT> defaultFonts;

    // The device callback's entry: mixes what is ready into `out`.
    static void renderThunk(void* ctx, float* out, unsigned frames);
    void render(float* out, unsigned frames);

    // Frees every channel (BASS_Free).
    void freeAllChannels();

    unsigned latencyFrames();
    // The frame of the device clock that is being heard now.
    unsigned long long heardFrame();

  private:
    Engine() = default;
};

// Guesses an input's type from its name: microphone, line-in, or the monitor of an output.
DWORD guessInputType(const std::string& name);

} // namespace engine
