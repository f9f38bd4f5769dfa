#include "base/engine.h"

#include "common/thread_priority.h"
#include "midi/soundfont.h"
#include "sync/syncs.h"

#include <algorithm>
#include <cctype>
#include <chrono>

namespace engine {

Engine& Engine::instance() {
    static Engine e;
    return e;
}

unsigned Engine::mixThunk(void* ctx, float* out, unsigned frames, std::uint64_t deviceEnd) {
    return static_cast<Engine*>(ctx)->mix(out, frames, deviceEnd);
}

unsigned Engine::mix(float* out, unsigned frames, std::uint64_t deviceEnd) {
    const unsigned shortChannels = playList.mix(out, frames, deviceEnd);
    const float master = masterVolume.load(std::memory_order_relaxed);
    if (master != 1.0f)
        for (unsigned i = 0; i < frames * 2; ++i) out[i] *= master;
    return shortChannels;
}

void Engine::update() {
    const unsigned target = bufferTarget();
    const unsigned deviceRate = rate();
    for (const ChannelPtr& ch : playList.snapshot())
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
    Syncs::instance().start();
}

Engine::~Engine() {
    output_.close();
    stopThreads();
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
    Syncs::instance().stop();
}

void Engine::wakeUpdate() {
    {
        std::lock_guard lock(updateMutex_);
        updateRequested_ = true;
    }
    updateWake_.notify_one();
}

bool Engine::freeChannel(DWORD handle) {
    ChannelPtr ch = channels.remove(handle);
    if (!ch) return false;
    ch->onFree();
    return true;
}

void Engine::freeAllChannels() {
    for (DWORD h : channels.handles()) freeChannel(h);
    playList.clear();
    Syncs::instance().clearPending();
}

DWORD guessInputType(const std::string& name) {
    std::string lower = name;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return std::tolower(c); });
    if (lower.find("monitor") != std::string::npos) return BASS_INPUT_TYPE_WAVE;
    if (lower.find("mic") != std::string::npos) return BASS_INPUT_TYPE_MIC;
    if (lower.find("line") != std::string::npos) return BASS_INPUT_TYPE_LINE;
    return 0;
}

} // namespace engine
