// The engine's one instance: the output device, the channel and font tables, the master level.
#pragma once

#include "api.h"
#include "base/channel.h"
#include "base/handles.h"
#include "device/output_device.h"
#include "playback/playback.h"

#include <algorithm>
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

    // The output device and the clock of what is heard (device/output_device.h).
    OutputDevice& output() { return output_; }
    const OutputDevice& output() const { return output_; }
    // True between BASS_Init and BASS_Free.
    bool deviceReady() const { return output_.isOpen(); }
    // The device's rate; fixed while it is open.
    unsigned rate() const { return output_.rate(); }
    bool realtime() const { return output_.realtime(); }
    // The device frame that is being heard now; on a real-time device it moves on smoothly between
    // two device callbacks.
    double heardFrame() const { return output_.heardFrame(); }

    std::atomic<float> masterVolume{1.0f};
    std::atomic<DWORD> floatDsp{0};

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

    // The device callback's work: mixes what is ready into `out` (zeroed), the last frame being
    // device frame `deviceEnd`; returns how many playing channels ran short. No lock, no allocation.
    static unsigned mixThunk(void* ctx, float* out, unsigned frames, std::uint64_t deviceEnd);
    unsigned mix(float* out, unsigned frames, std::uint64_t deviceEnd);

    // Decodes ahead for every playing channel (the update thread's work; testing::advance runs it
    // on the virtual device).
    void update();
    // Starts the update and sync threads for a real-time output; stops them.
    void startThreads();
    void stopThreads();
    // Asks the update thread to fill at once (a channel started or moved).
    void wakeUpdate();
    // The ring a playing channel keeps filled: 100 ms, or the device's buffer and 50 ms more when
    // that is larger, so that a device that asks for its whole buffer at once finds it ready.
    unsigned bufferTarget() const {
        return std::max({1024u, rate() / 10, output_.latencyFrames() + rate() / 20});
    }

    // Frees one channel (BASS_StreamFree); false for a stale handle.
    bool freeChannel(DWORD handle);
    // Frees every channel (BASS_Free).
    void freeAllChannels();

    // At the end of the process the engine's threads are stopped and joined even when the program
    // never freed the device; channels are left to the process's end.
    ~Engine();

  private:
    Engine() = default;
    void updateMain();

    OutputDevice output_{&Engine::mixThunk, this};
    std::mutex updateMutex_;
    std::condition_variable updateWake_;
    bool updateRunning_ = false;
    bool updateRequested_ = false;
    std::thread updateThread_;
};

// Guesses an input's type from its name: microphone, line-in, or the monitor of an output.
DWORD guessInputType(const std::string& name);

} // namespace engine
