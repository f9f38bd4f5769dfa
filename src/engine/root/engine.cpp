#include "root/engine.h"

#include "common/thread_priority.h"
#include "midi/soundfont.h"

#include <algorithm>
#include <chrono>

namespace engine {

Engine& Engine::instance() {
    static Engine e;
    return e;
}

Engine::Engine() {
    setHost(*this);
}

Engine::~Engine() {
    output_.close();
    stopThreads();
    captures_.stopAll();
}

std::vector<BASS_MIDI_FONT> Engine::defaultFonts() const {
    std::lock_guard lock(defaultFontsMutex_);
    return defaultFonts_;
}

void Engine::setDefaultFonts(std::vector<BASS_MIDI_FONT> fonts) {
    std::lock_guard lock(defaultFontsMutex_);
    defaultFonts_ = std::move(fonts);
}

unsigned Engine::mixThunk(void* ctx, float* out, unsigned frames, std::uint64_t deviceEnd) {
    return static_cast<Engine*>(ctx)->mix(out, frames, deviceEnd);
}

unsigned Engine::mix(float* out, unsigned frames, std::uint64_t deviceEnd) {
    const unsigned shortChannels = playList_.mix(out, frames, deviceEnd);
    const float master = masterVolume_.load(std::memory_order_relaxed);
    if (master != 1.0f)
        for (unsigned i = 0; i < frames * 2; ++i) out[i] *= master;
    return shortChannels;
}

void Engine::update() {
    const unsigned target = bufferTarget();
    const unsigned deviceRate = rate();
    for (const ChannelPtr& ch : playList_.snapshot())
        if (Playback* pb = ch->playback()) pb->fill(target, deviceRate);
}

void Engine::updateMain() {
    std::unique_lock lock(updateMutex_);
    while (updateRunning_) {
        updateRequested_ = false;
        lock.unlock();
        update();
        lock.lock();
        updateWake_.wait_for(lock, std::chrono::milliseconds(4),
                             [this] { return updateRequested_ || !updateRunning_; });
    }
}

void Engine::startThreads() {
    {
        std::lock_guard lock(updateMutex_);
        if (updateRunning_) return;
        updateRunning_ = true;
    }
    updateThread_ = std::thread([this] { updateMain(); });
    raiseToAudioPriority(updateThread_);
    syncs_.start();
}

void Engine::stopThreads() {
    {
        std::lock_guard lock(updateMutex_);
        updateRunning_ = false;
    }
    updateWake_.notify_all();
    if (updateThread_.joinable()) {
        if (updateThread_.get_id() == std::this_thread::get_id())
            updateThread_.detach(); // BASS_Free from a mix-time sync
        else
            updateThread_.join();
    }
    syncs_.stop();
}

void Engine::wakeUpdate() {
    {
        std::lock_guard lock(updateMutex_);
        updateRequested_ = true;
    }
    updateWake_.notify_one();
}

bool Engine::freeChannel(DWORD handle) {
    ChannelPtr ch = channels_.remove(handle);
    if (!ch) return false;
    ch->onFree();
    return true;
}

void Engine::freeAllChannels() {
    for (DWORD h : channels_.handles()) freeChannel(h);
    playList_.clear();
    syncs_.clearPending();
}

} // namespace engine
