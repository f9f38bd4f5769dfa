#include "capture/capture.h"

#include "common/errors.h"
#include "common/steady_clock.h"
#include "device/virtual_output.h"
#include "pipeline/host.h"

#include <algorithm>
#include <cmath>

namespace engine {

// ---- CaptureChannel ----

CaptureChannel::CaptureChannel(CaptureHub& hub, DWORD f, DWORD c, DWORD periodMs, RECORDPROC* proc,
                               void* user)
    : hub_(hub), proc_(proc), user_(user) {
    freq = f;
    chans = c;
    flags = 0;
    ctype = BASS_CTYPE_RECORD;
    step_ = static_cast<double>(kSourceRate) / f;
    blockFrames_ = std::max<std::size_t>(1, static_cast<std::size_t>(f) * periodMs / 1000);
    block_.reserve(blockFrames_ * c);
    recent_.assign(static_cast<std::size_t>(std::max<DWORD>(1, f / 50)) * c, 0.0f);
}

bool CaptureChannel::feed(const float* frames, unsigned n, float gain) {
    if (state_.load() == 0) return false;
    const bool paused = state_.load() == 3;
    std::vector<float> frame(chans);
    for (unsigned i = 0; i < n; ++i) {
        const float* cur = frames + static_cast<std::size_t>(i) * 2;
        // Output frames that fall between the previous source frame and this one.
        while (phase_ < 1.0) {
            const auto t = static_cast<float>(phase_);
            for (unsigned c = 0; c < chans; ++c) {
                const unsigned s = chans == 1 ? 2 : c % 2;
                const float a = s == 2 ? 0.5f * (prev_[0] + prev_[1]) : prev_[s];
                const float b = s == 2 ? 0.5f * (cur[0] + cur[1]) : cur[s];
                frame[c] = (step_ == 1.0 ? b : a + (b - a) * t) * gain;
            }
            phase_ += step_;
            {
                std::lock_guard lock(levelMutex_);
                std::copy(frame.begin(), frame.end(),
                          recent_.begin() + static_cast<std::ptrdiff_t>(recentAt_));
                recentAt_ = (recentAt_ + chans) % recent_.size();
            }
            if (paused) continue;
            const std::size_t at = block_.size();
            block_.resize(at + chans);
            convertSamples(frame.data(), chans, false, block_.data() + at);
            if (block_.size() >= blockFrames_ * chans) {
                bool go = true;
                {
                    std::lock_guard call(callMutex_);
                    if (state_.load() == 0) return false;
                    caller_.store(std::this_thread::get_id());
                    go = proc_(handle, block_.data(), static_cast<DWORD>(block_.size() * 2), user_) != 0;
                    caller_.store(std::thread::id{});
                }
                block_.clear();
                if (!go) {
                    state_.store(0);
                    return false;
                }
            }
        }
        phase_ -= 1.0;
        prev_[0] = cur[0];
        prev_[1] = cur[1];
    }
    return state_.load() != 0;
}

bool CaptureChannel::play(bool) {
    int paused = 3;
    state_.compare_exchange_strong(paused, 1);
    return state_.load() == 1;
}

bool CaptureChannel::pause() {
    int running = 1;
    return state_.compare_exchange_strong(running, 3);
}

bool CaptureChannel::stop() {
    // Stopping a capture ends it and frees its handle.
    state_.store(0);
    hub_.remove(this);
    if (caller_.load() != std::this_thread::get_id()) {
        std::lock_guard wait(callMutex_); // let a callback running on the capture thread return
    }
    host().freeChannel(handle);
    return true;
}

DWORD CaptureChannel::isActive() {
    const int s = state_.load();
    return s == 0 ? BASS_ACTIVE_STOPPED : static_cast<DWORD>(s);
}

bool CaptureChannel::ownLevel(DWORD& level) {
    float peak[2] = {0, 0};
    {
        std::lock_guard lock(levelMutex_);
        for (std::size_t i = 0; i < recent_.size(); ++i) {
            const unsigned c = static_cast<unsigned>(i % chans);
            if (c < 2) peak[c] = std::max(peak[c], std::abs(recent_[i]));
        }
    }
    if (chans == 1) peak[1] = peak[0];
    const auto word = [](float v) {
        return static_cast<DWORD>(std::min(32768.0f, std::round(v * 32768.0f)));
    };
    level = word(peak[0]) | (word(peak[1]) << 16);
    return true;
}

void CaptureChannel::onFree() {
    state_.store(0);
    hub_.remove(this);
    Channel::onFree();
}

// ---- CaptureHub ----

int CaptureHub::init(std::vector<CaptureInput> inputs) {
    std::lock_guard lock(inputsMutex_);
    if (initialised_) return BASS_ERROR_ALREADY;
    if (inputs.empty()) return BASS_ERROR_DEVICE;
    // Exactly one input is on: the system's default, or the first when none says so.
    if (std::none_of(inputs.begin(), inputs.end(), [](const CaptureInput& i) { return i.on; }))
        inputs[0].on = true;
    bool seen = false;
    for (CaptureInput& i : inputs) {
        if (i.on && seen) i.on = false;
        seen = seen || i.on;
    }
    inputs_ = std::move(inputs);
    initialised_ = true;
    return 0;
}

int CaptureHub::free() {
    stopAll(); // before the lock: a delivery reads the input's level under it
    std::lock_guard lock(inputsMutex_);
    if (!initialised_) return BASS_ERROR_INIT;
    initialised_ = false;
    inputs_.clear();
    return 0;
}

int CaptureHub::inputName(int index, std::string& name) const {
    std::lock_guard lock(inputsMutex_);
    if (!initialised_) return BASS_ERROR_INIT;
    if (!validInput(index)) return BASS_ERROR_ILLPARAM;
    name = inputs_[static_cast<std::size_t>(index)].name;
    return 0;
}

int CaptureHub::inputState(int index, DWORD& flags, float& level) const {
    std::lock_guard lock(inputsMutex_);
    if (!initialised_) return BASS_ERROR_INIT;
    if (!validInput(index)) return BASS_ERROR_ILLPARAM;
    const CaptureInput& i = inputs_[static_cast<std::size_t>(index)];
    flags = i.type | (i.on ? 0u : BASS_INPUT_OFF);
    level = i.level;
    return 0;
}

int CaptureHub::setInput(int index, DWORD flags, float level) {
    std::lock_guard lock(inputsMutex_);
    if (!initialised_) return BASS_ERROR_INIT;
    if (!validInput(index)) return BASS_ERROR_ILLPARAM;
    if ((flags & BASS_INPUT_ON) && (flags & BASS_INPUT_OFF)) return BASS_ERROR_ILLPARAM;
    if (level != -1.0f && !(level >= 0.0f && level <= 1.0f)) return BASS_ERROR_ILLPARAM;
    CaptureInput& target = inputs_[static_cast<std::size_t>(index)];
    if (flags & BASS_INPUT_ON) {
        for (CaptureInput& i : inputs_) i.on = false;
        target.on = true;
    } else if (flags & BASS_INPUT_OFF) {
        target.on = false;
    }
    if (level != -1.0f) target.level = level;
    return 0;
}

DWORD CaptureHub::start(DWORD freq, DWORD chans, DWORD periodMs, RECORDPROC* proc, void* user, int& error) {
    CaptureInput input;
    int index = -1;
    {
        std::lock_guard lock(inputsMutex_);
        if (!initialised_) return error = BASS_ERROR_INIT, 0;
        for (std::size_t i = 0; i < inputs_.size(); ++i)
            if (inputs_[i].on) {
                input = inputs_[i];
                index = static_cast<int>(i);
            }
    }
    if (index < 0) return error = BASS_ERROR_DEVICE, 0; // no input is on
    auto ch = std::make_shared<CaptureChannel>(*this, freq, chans, periodMs, proc, user);
    std::lock_guard lock(mutex_);
    if (channels_.empty()) {
        // The first capture opens the input; later ones share it.
        virtualSource_ = virtualDeviceInUse();
        {
            // No delivery runs while no capture does. (deliverMutex_ is not taken here: a
            // delivery holds it while it takes mutex_, and its callbacks may start captures.)
            delivered_ = 0;
            std::lock_guard timing(timingMutex_);
            timed_ = false;
            agedStarts_.clear();
        }
        if (virtualSource_) {
            std::lock_guard delay(virtualMutex_);
            virtualDelay_.assign(static_cast<std::size_t>(virtualInputDelay()) * 2, 0.0f);
        } else {
            source_ = openSystemSource(input, &CaptureHub::deliverThunk, this);
            if (!source_) return error = BASS_ERROR_DEVICE, 0;
        }
        inputIndex_ = index;
    }
    const DWORD h = host().addChannel(ch);
    if (!h) {
        if (channels_.empty() && source_) source_->stop(), source_.reset();
        return error = BASS_ERROR_MEM, 0;
    }
    ch->handle = h;
    channels_.push_back(ch);
    return h;
}

void CaptureHub::deliverThunk(void* ctx, const float* frames, unsigned n, double age) {
    static_cast<CaptureHub*>(ctx)->deliver(frames, n, age);
}

void CaptureHub::remove(const CaptureChannel* ch) {
    std::unique_ptr<CaptureSource> closing;
    {
        std::lock_guard lock(mutex_);
        const auto before = channels_.size();
        std::erase_if(channels_, [&](const auto& c) { return c.get() == ch; });
        if (channels_.size() == before || !channels_.empty()) return;
        closing = std::move(source_);
        virtualSource_ = false;
    }
    if (closing) closing->stop();
}

void CaptureHub::stopAll() {
    std::vector<std::shared_ptr<CaptureChannel>> all;
    {
        std::lock_guard lock(mutex_);
        all = channels_;
    }
    for (const auto& ch : all) ch->stop();
}

void CaptureHub::noteTiming(std::uint64_t taken, double age) {
    constexpr std::size_t kAgedBlocks = 50; // a second of 20 ms blocks
    std::lock_guard timing(timingMutex_);
    if (onVirtualClock()) {
        const double bound = host().heardFrame() - static_cast<double>(taken) * host().rate() / kSourceRate;
        if (!timed_ || bound < sourceStart_) sourceStart_ = bound;
    } else if (age >= 0) {
        if (agedStarts_.size() >= kAgedBlocks) return;
        agedStarts_.push_back(steadySeconds() - age - static_cast<double>(taken) / kSourceRate);
        std::vector<double> sorted = agedStarts_;
        std::nth_element(sorted.begin(), sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2),
                         sorted.end());
        sourceStart_ = sorted[sorted.size() / 2];
    } else {
        const double bound = steadySeconds() - static_cast<double>(taken) / kSourceRate;
        if (!timed_ || bound < sourceStart_) sourceStart_ = bound;
    }
    timed_ = true;
}

void CaptureHub::deliver(const float* frames, unsigned n, double age) {
    std::lock_guard one(deliverMutex_);
    float gain = 1.0f;
    {
        std::lock_guard lock(mutex_);
        delivering_ = channels_;
        std::lock_guard inputs(inputsMutex_);
        if (validInput(inputIndex_)) gain = inputs_[static_cast<std::size_t>(inputIndex_)].level;
    }
    const std::uint64_t first = delivered_.fetch_add(n);
    noteTiming(first + n, age);
    for (const auto& ch : delivering_) ch->noteFirst(first);
    // No hub lock while the callbacks run: they may stop or start captures.
    for (const auto& ch : delivering_)
        if (!ch->feed(frames, n, gain) && ch->isActive() == BASS_ACTIVE_STOPPED && !ch->freed()) {
            // The callback asked to end: the channel goes, as after BASS_ChannelStop.
            remove(ch.get());
            host().freeChannel(ch->handle);
        }
    delivering_.clear();
}

bool CaptureHub::firstFrame(const CaptureChannel& ch, double& frame) const {
    const double first = ch.firstSource();
    std::lock_guard timing(timingMutex_);
    if (first < 0 || !timed_) return false;
    frame =
        sourceStart_ + first * (onVirtualClock() ? host().rate() : 1.0) / static_cast<double>(kSourceRate);
    return true;
}

bool CaptureHub::onVirtualClock() const {
    return virtualDeviceInUse();
}

void CaptureHub::pushVirtual(const std::vector<std::int16_t>& stereo) {
    std::lock_guard lock(virtualMutex_);
    virtualQueue_.erase(virtualQueue_.begin(),
                        virtualQueue_.begin() + static_cast<std::ptrdiff_t>(virtualAt_));
    virtualAt_ = 0;
    virtualQueue_.insert(virtualQueue_.end(), stereo.begin(), stereo.end() - (stereo.size() % 2));
}

void CaptureHub::advanceVirtual(unsigned frames) {
    {
        std::lock_guard lock(mutex_);
        if (!virtualSource_ || channels_.empty()) return;
    }
    {
        // The input plays what the test supplied, then silence.
        std::lock_guard lock(virtualMutex_);
        virtualBlock_.assign(static_cast<std::size_t>(frames) * 2, 0.0f);
        const std::size_t take = std::min(virtualQueue_.size() - virtualAt_, virtualBlock_.size());
        for (std::size_t i = 0; i < take; ++i) virtualBlock_[i] = virtualQueue_[virtualAt_ + i] / 32768.0f;
        virtualAt_ += take;
        if (virtualInputHearsOutput()) {
            const std::vector<float>& out = lastVirtualBlock();
            for (std::size_t i = 0; i < std::min(out.size(), virtualBlock_.size()); ++i)
                virtualBlock_[i] += out[i];
        }
        // Through the input's delay: what was heard earlier comes out first.
        virtualDelay_.insert(virtualDelay_.end(), virtualBlock_.begin(), virtualBlock_.end());
        std::copy_n(virtualDelay_.begin(), virtualBlock_.size(), virtualBlock_.begin());
        virtualDelay_.erase(virtualDelay_.begin(),
                            virtualDelay_.begin() + static_cast<std::ptrdiff_t>(virtualBlock_.size()));
    }
    deliver(virtualBlock_.data(), frames);
}

void CaptureHub::clearVirtual() {
    std::lock_guard lock(virtualMutex_);
    virtualQueue_.clear();
    virtualAt_ = 0;
}

} // namespace engine
