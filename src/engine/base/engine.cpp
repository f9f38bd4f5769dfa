#include "base/engine.h"

#include "midi/soundfont.h"
#include "sync/syncs.h"

#include <pthread.h>

#include <algorithm>
#include <cctype>
#include <chrono>

namespace engine {

namespace {
long long nowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}
} // namespace

Engine& Engine::instance() {
    static Engine e;
    return e;
}

void raiseToAudioPriority(std::thread& thread) {
    // Decoding ahead must not starve behind a busy machine; where the system lets us, the thread
    // runs with a real-time priority. Where it does not, nothing changes.
    sched_param param{};
    param.sched_priority = 10;
    pthread_setschedparam(thread.native_handle(), SCHED_FIFO, &param);
}

void Engine::renderThunk(void* ctx, float* out, unsigned frames) {
    static_cast<Engine*>(ctx)->render(out, frames);
}

void Engine::render(float* out, unsigned frames) {
    std::fill(out, out + frames * 2, 0.0f);
    const unsigned long long end = framesRendered.load(std::memory_order_relaxed) + frames;
    playList.mix(out, frames, end);
    const float master = masterVolume.load(std::memory_order_relaxed);
    if (master != 1.0f)
        for (unsigned i = 0; i < frames * 2; ++i) out[i] *= master;
    lastBlock_.store(frames, std::memory_order_relaxed);
    lastRenderNs_.store(nowNs(), std::memory_order_relaxed);
    framesRendered.store(end, std::memory_order_release);
}

void Engine::update() {
    const unsigned target = bufferTarget();
    for (const ChannelPtr& ch : playList.snapshot())
        if (Playback* pb = ch->playback()) pb->fill(target, rate);
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
    std::unique_ptr<OutputBackend> out;
    {
        std::lock_guard lock(deviceMutex);
        out = std::move(output);
        initialised = false;
    }
    stopThreads();
    if (out) out->stop();
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

unsigned Engine::latencyFrames() {
    return outputLatency.load(std::memory_order_relaxed);
}

double Engine::heardFrame() {
    const double rendered = static_cast<double>(framesRendered.load(std::memory_order_acquire));
    const double latency = latencyFrames();
    if (!realtime) return std::max(0.0, rendered - latency);
    // The block last rendered starts being heard `latency` frames later and plays in real time.
    const double block = lastBlock_.load(std::memory_order_relaxed);
    const double elapsed =
        static_cast<double>(nowNs() - lastRenderNs_.load(std::memory_order_relaxed)) * 1e-9;
    const double played = std::clamp(elapsed * rate, 0.0, block);
    return std::max(0.0, rendered - block - latency + played);
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
