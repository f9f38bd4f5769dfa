// The engine's one instance: the output device, the channel and font tables, the master level.
#pragma once

#include "api.h"
#include "base/channel.h"
#include "base/handles.h"
#include "device/output_backend.h"
#include "playback/playback.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace engine {

class SoundFont;

struct CaptureInput {
    std::string name;
    DWORD type = 0; // one of the BASS_INPUT_TYPE_ values, guessed from the name
    bool on = false;
    float level = 1.0f;
    // Where the samples come from (capture/sources.cpp): a PulseAudio source by name, else an
    // RtAudio capture device (API and index); neither for the virtual device.
    std::string pulseSource;
    int rtApi = 0;
    unsigned rtId = 0;
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

    // The channels the device callback mixes.
    PlayList playList;

    // The device callback's entry: mixes what is ready into `out`. No lock, no allocation.
    static void renderThunk(void* ctx, float* out, unsigned frames);
    void render(float* out, unsigned frames);

    // Decodes ahead for every playing channel (the update thread's work; testing::advance runs it
    // on the virtual device).
    void update();
    // Starts the update and sync threads for a real-time output; stops them.
    void startThreads();
    void stopThreads();
    // Asks the update thread to fill at once (a channel started or moved).
    void wakeUpdate();
    // The ring a playing channel keeps filled: about 100 ms.
    unsigned bufferTarget() const { return rate / 10 < 1024 ? 1024 : rate / 10; }

    // Frees one channel (BASS_StreamFree); false for a stale handle.
    bool freeChannel(DWORD handle);
    // Frees every channel (BASS_Free).
    void freeAllChannels();

    unsigned latencyFrames();
    // The frame of the device clock that is being heard now; on a real-time device it moves on
    // smoothly between two device callbacks.
    double heardFrame();
    bool realtime = false;

    // At the end of the process the engine's threads are stopped and joined even when the program
    // never freed the device; channels are left to the process's end.
    ~Engine();

  private:
    Engine() = default;
    void updateMain();

    std::atomic<long long> lastRenderNs_{0};
    std::atomic<unsigned> lastBlock_{0};
    std::mutex updateMutex_;
    std::condition_variable updateWake_;
    bool updateRunning_ = false;
    bool updateRequested_ = false;
    std::thread updateThread_;
};

// Gives an engine thread a real-time priority where the system allows it.
void raiseToAudioPriority(std::thread& thread);

// Guesses an input's type from its name: microphone, line-in, or the monitor of an output.
DWORD guessInputType(const std::string& name);

} // namespace engine
