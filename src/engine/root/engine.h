// The engine's one instance and the owner of everything that lives as long as the process: the
// output device, the channels it plays, the thread that decodes ahead for them, the syncs, the
// captures, and the channel and font tables. The published API (api.h) is implemented in this
// folder, on top of it; the folders below never reach up here except through the pipeline's Host.
//
// One destructor ends the threads in a fixed order, whether or not the program called BASS_Free:
// the device first (nothing more is mixed), then the update thread (nothing more is decoded), the
// sync thread (no callback runs any more) and last the captures.
#pragma once

#include "api.h"
#include "capture/capture.h"
#include "common/handles.h"
#include "device/output_device.h"
#include "pipeline/channel.h"
#include "pipeline/host.h"
#include "pipeline/playback.h"
#include "pipeline/syncs.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace engine {

class SoundFont;

class Engine final : public Host {
  public:
    static Engine& instance();
    ~Engine();

    // --- The output (device/output_device.h) ---
    OutputDevice& output() { return output_; }
    const OutputDevice& output() const { return output_; }
    // True between BASS_Init and BASS_Free.
    bool deviceReady() const { return output_.isOpen(); }
    bool realtime() const { return output_.realtime(); }
    // Starts the update and sync threads for a real-time output; stops them.
    void startThreads();
    void stopThreads();

    // Master level on everything the device plays (BASS_SetVolume), and the float-DSP option.
    float masterVolume() const { return masterVolume_.load(std::memory_order_relaxed); }
    void setMasterVolume(float v) { masterVolume_.store(v, std::memory_order_relaxed); }
    DWORD floatDsp() const { return floatDsp_.load(std::memory_order_relaxed); }
    void setFloatDsp(DWORD on) { floatDsp_.store(on, std::memory_order_relaxed); }

    // --- Tables ---
    HandleTable<SoundFont>& fonts() { return fonts_; }
    // The soundfonts of MIDI streams made from now on (BASS_MIDI_StreamSetFonts with 0).
    std::vector<BASS_MIDI_FONT> defaultFonts() const;
    void setDefaultFonts(std::vector<BASS_MIDI_FONT> fonts);
    // Frees every channel (BASS_Free).
    void freeAllChannels();
    // How many channels have a handle now: made and not yet freed.
    std::size_t liveChannelCount() const { return channels_.all().size(); }

    CaptureHub& captures() { return captures_; }

    // When BASS_ChannelPlay last started a channel (steady seconds), for tests that record the
    // output by other means.
    std::atomic<double> lastPlayStarted{0};

    // Decodes ahead for every playing channel (the update thread's work; testing::advance runs it
    // on the virtual device), and runs the delayed syncs that are due (the virtual device).
    void update();
    void runDueSyncs() { syncs_.runDue(); }

    // --- Host: what the pipeline below asks of the engine ---
    double heardFrame() const override { return output_.heardFrame(); }
    unsigned rate() const override { return output_.rate(); }
    PlayList& playList() override { return playList_; }
    void wakeUpdate() override;
    Syncs& syncs() override { return syncs_; }
    DWORD addChannel(const ChannelPtr& channel) override { return channels_.add(channel); }
    ChannelPtr channel(DWORD handle) override { return channels_.get(handle); }
    bool freeChannel(DWORD handle) override;

  private:
    Engine();
    // The device callback's work: mixes what is ready into `out` (zeroed), the last frame being
    // device frame `deviceEnd`; returns how many playing channels ran short. No lock, no allocation.
    static unsigned mixThunk(void* ctx, float* out, unsigned frames, std::uint64_t deviceEnd);
    unsigned mix(float* out, unsigned frames, std::uint64_t deviceEnd);
    // The ring a playing channel keeps filled: 100 ms, or the device's buffer and 50 ms more when
    // that is larger, so that a device that asks for its whole buffer at once finds it ready.
    unsigned bufferTarget() const {
        return std::max({1024u, rate() / 10, output_.latencyFrames() + rate() / 20});
    }
    void updateMain();

    // Declared in the order they are made; the destructor stops their threads in its own order.
    HandleTable<Channel> channels_{kTagChannel};
    HandleTable<SoundFont> fonts_{kTagFont};
    mutable std::mutex defaultFontsMutex_;
    std::vector<BASS_MIDI_FONT> defaultFonts_;
    std::atomic<float> masterVolume_{1.0f};
    std::atomic<DWORD> floatDsp_{0};
    PlayList playList_;
    Syncs syncs_;
    CaptureHub captures_;
    OutputDevice output_{&Engine::mixThunk, this};

    std::mutex updateMutex_;
    std::condition_variable updateWake_;
    bool updateRunning_ = false;
    bool updateRequested_ = false;
    std::thread updateThread_;
};

} // namespace engine
