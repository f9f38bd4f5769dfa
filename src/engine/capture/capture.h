// Capture: one source (the input that is on) feeds every capture channel at once (the live meter
// and a take). The source delivers stereo float frames at kSourceRate on the engine's capture
// thread (the virtual device: inside testing::advance); each channel converts them to its own rate
// and channel count, applies the input's level, and hands 16-bit blocks of about 100 ms to its
// callback, with no lock of the engine held.
#pragma once

#include "api.h"
#include "device/capture_sources.h"
#include "pipeline/channel.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace engine {

class CaptureHub;

class CaptureChannel final : public Channel {
  public:
    // `periodMs`: how much sound each call of `proc` brings.
    CaptureChannel(CaptureHub& hub, DWORD freq, DWORD chans, DWORD periodMs, RECORDPROC* proc, void* user);

    // Takes `frames` stereo frames at kSourceRate with `gain` applied; calls the callback for each
    // full block. False once the callback asked to end.
    bool feed(const float* frames, unsigned n, float gain);

    bool play(bool restart) override;
    bool pause() override;
    bool stop() override;
    DWORD isActive() override;
    bool ownLevel(DWORD& level) override;
    void onFree() override;

    // The source frame (counted from the source's opening) of the channel's first sample; notes
    // it the first time, on the capture thread.
    void noteFirst(std::uint64_t sourceFrame) {
        double unset = -1;
        firstSource_.compare_exchange_strong(unset, static_cast<double>(sourceFrame));
    }
    double firstSource() const { return firstSource_.load(); }

  private:
    CaptureHub& hub_;
    RECORDPROC* proc_;
    void* user_;
    std::atomic<int> state_{1}; // 1 capturing, 3 paused, 0 ended
    // Held while the callback runs, so that a stop from another thread waits for it to return.
    std::mutex callMutex_;
    std::atomic<std::thread::id> caller_{};
    // Conversion from the source rate (linear interpolation when the rates differ).
    double step_;
    double phase_ = 0;
    float prev_[2] = {0, 0};
    std::vector<std::int16_t> block_;
    std::size_t blockFrames_;
    // The last 20 ms captured, for the level.
    std::mutex levelMutex_;
    std::vector<float> recent_; // interleaved, chans per frame
    std::size_t recentAt_ = 0;
    std::atomic<double> firstSource_{-1};
};

// The capture device (its inputs, exactly one of them on) and the captures running on it.
class CaptureHub {
  public:
    // BASS_RecordInit: `inputs` become the device's inputs; an error code, 0 when done.
    int init(std::vector<CaptureInput> inputs);
    bool initialised() const {
        std::lock_guard lock(inputsMutex_);
        return initialised_;
    }
    // BASS_RecordFree: ends every capture, forgets the inputs.
    int free();
    // The inputs by index: BASS_RecordGetInputName, BASS_RecordGetInput, BASS_RecordSetInput.
    int inputName(int index, std::string& name) const;
    int inputState(int index, DWORD& flags, float& level) const;
    int setInput(int index, DWORD flags, float level);

    // Starts a capture channel on the input that is on; 0 and the error code on failure.
    DWORD start(DWORD freq, DWORD chans, DWORD periodMs, RECORDPROC* proc, void* user, int& error);
    // Takes a channel out (stop, end, free); the source closes with the last one.
    void remove(const CaptureChannel* ch);
    // Ends and frees every capture channel (BASS_RecordFree, BASS_Free).
    void stopAll();

    // From the source, on the capture thread: stereo float frames at kSourceRate, the last of
    // them taken `age` seconds ago (negative: not known).
    void deliver(const float* frames, unsigned n, double age = -1.0);

    // The output frame that was being heard when `ch`'s first sample reached the input; false while
    // it has none. When the source tells how old its blocks are, the median of what its first
    // second of blocks say (later ones would add the drift between its clock and ours). Otherwise
    // the frames arrive late by the time the system takes to deliver them, never early, so each
    // delivery bounds when the first one was taken and the least bound is kept.
    // On the virtual device the figure is exact and on the output's frames; on a real input it is
    // on the steady clock (steadySeconds), which the output's own figure would only blur.
    bool firstFrame(const CaptureChannel& ch, double& frame) const;
    bool onVirtualClock() const;

    // The virtual device's input: samples the test supplied, played as testing::advance moves.
    void pushVirtual(const std::vector<std::int16_t>& stereo);
    void advanceVirtual(unsigned frames);
    void clearVirtual();

  private:
    static void deliverThunk(void* ctx, const float* frames, unsigned n, double age);
    void noteTiming(std::uint64_t taken, double age);
    bool validInput(int index) const {
        return index >= 0 && static_cast<std::size_t>(index) < inputs_.size();
    }

    mutable std::mutex inputsMutex_; // guards initialised_ and inputs_
    bool initialised_ = false;
    std::vector<CaptureInput> inputs_;

    std::mutex mutex_;
    std::vector<std::shared_ptr<CaptureChannel>> channels_;
    std::unique_ptr<CaptureSource> source_;
    bool virtualSource_ = false;
    int inputIndex_ = -1;
    std::mutex deliverMutex_; // one delivery at a time (the source's thread or advance)
    std::vector<std::shared_ptr<CaptureChannel>> delivering_;
    // Source frames delivered since the source opened, and the output frame of the first one.
    std::atomic<std::uint64_t> delivered_{0};
    mutable std::mutex timingMutex_;
    double sourceStart_ = 0;
    bool timed_ = false;
    std::vector<double> agedStarts_; // from blocks whose age the source told

    std::mutex virtualMutex_;
    std::vector<std::int16_t> virtualQueue_;
    std::size_t virtualAt_ = 0;
    std::vector<float> virtualBlock_;
    // What the virtual input heard and has not yet reached the captures (its delay).
    std::vector<float> virtualDelay_;
};

} // namespace engine
