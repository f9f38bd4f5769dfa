#include "device/output_device.h"

#include <algorithm>
#include <chrono>

namespace engine {

namespace {

using SteadyClock = std::chrono::steady_clock;

long long nowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(SteadyClock::now().time_since_epoch())
        .count();
}

// A device that has not asked for audio for this long is taken for lost, unless it says itself
// when it fails.
constexpr long long kStallNs = 3'000'000'000;
constexpr auto kKeeperPeriod = std::chrono::milliseconds(100);
constexpr auto kRetryPeriod = std::chrono::seconds(1);

} // namespace

bool OutputDevice::open(std::unique_ptr<OutputBackend> backend, unsigned rate, Reopen reopen) {
    if (!backend) return false;
    std::lock_guard lock(mutex_);
    if (open_.load(std::memory_order_relaxed)) return false;
    rate_.store(rate, std::memory_order_relaxed);
    realtime_.store(backend->realtime(), std::memory_order_relaxed);
    rendered_.store(0, std::memory_order_relaxed);
    blockStart_.store(0, std::memory_order_relaxed);
    blockFrames_.store(0, std::memory_order_relaxed);
    blockDelay_.store(0, std::memory_order_relaxed);
    blockNs_.store(nowNs(), std::memory_order_relaxed);
    lastHeard_.store(0, std::memory_order_relaxed);
    deviceUnderrunsBefore_ = 0;
    ringUnderruns_ = 0;
    failures_ = 0;
    recoveries_ = 0;
    onFallback_ = false;
    auto slot = std::make_unique<Slot>(Slot{this, generation_.load() + 1});
    generation_.store(slot->generation, std::memory_order_release);
    if (!backend->start(rate, &OutputDevice::renderThunk, slot.get())) {
        backend->stop();
        return false;
    }
    latency_.store(backend->latencyFrames(), std::memory_order_relaxed);
    backend_ = std::move(backend);
    slot_ = std::move(slot);
    reopen_ = std::move(reopen);
    open_.store(true, std::memory_order_release);
    if (realtime_.load() && reopen_) {
        std::lock_guard keeperLock(keeperMutex_);
        keeperRunning_ = true;
        keeper_ = std::thread([this] { keeperMain(); });
    }
    return true;
}

void OutputDevice::close() {
    {
        std::lock_guard lock(keeperMutex_);
        keeperRunning_ = false;
    }
    keeperWake_.notify_all();
    if (keeper_.joinable()) keeper_.join();
    std::unique_ptr<OutputBackend> backend;
    std::unique_ptr<Slot> slot;
    {
        std::lock_guard lock(mutex_);
        backend = std::move(backend_);
        slot = std::move(slot_);
        reopen_ = nullptr;
        open_.store(false, std::memory_order_release);
        generation_.fetch_add(1, std::memory_order_acq_rel); // whatever still calls in renders silence
    }
    // Stopped outside the lock: the device thread may be inside render() right now.
    if (backend) {
        deviceUnderrunsBefore_ += backend->underruns();
        backend->stop();
    }
}

void OutputDevice::renderThunk(void* ctx, float* out, unsigned frames, double delay) {
    const auto* slot = static_cast<const Slot*>(ctx);
    slot->device->render(*slot, out, frames, delay);
}

void OutputDevice::render(const Slot& slot, float* out, unsigned frames, double delay) {
    std::fill(out, out + static_cast<std::size_t>(frames) * 2, 0.0f);
    // A device being replaced, or two devices for a moment at once: only one mixes, the other
    // plays silence.
    if (slot.generation != generation_.load(std::memory_order_acquire)) return;
    if (rendering_.exchange(true, std::memory_order_acquire)) return;
    const std::uint64_t start = rendered_.load(std::memory_order_relaxed);
    if (mix_(mixCtx_, out, frames, start + frames) > 0)
        ringUnderruns_.fetch_add(1, std::memory_order_relaxed);
    const unsigned s = seq_.load(std::memory_order_relaxed);
    seq_.store(s + 1, std::memory_order_relaxed);
    blockStart_.store(start, std::memory_order_release);
    blockFrames_.store(frames, std::memory_order_release);
    blockDelay_.store(std::max(0.0, delay), std::memory_order_release);
    blockNs_.store(nowNs(), std::memory_order_release);
    seq_.store(s + 2, std::memory_order_release);
    rendered_.store(start + frames, std::memory_order_release);
    rendering_.store(false, std::memory_order_release);
}

double OutputDevice::heardFrame() const {
    std::uint64_t start;
    unsigned frames;
    double delay;
    long long ns;
    for (;;) {
        const unsigned s1 = seq_.load(std::memory_order_acquire);
        start = blockStart_.load(std::memory_order_acquire);
        frames = blockFrames_.load(std::memory_order_acquire);
        delay = blockDelay_.load(std::memory_order_acquire);
        ns = blockNs_.load(std::memory_order_acquire);
        if (!(s1 & 1) && seq_.load(std::memory_order_relaxed) == s1) break;
        std::this_thread::yield();
    }
    const double begin = static_cast<double>(start) - delay;
    if (!realtime()) return std::max(0.0, begin + frames);
    // The frames queued ahead of the block, then the block, play out in real time.
    const double played = std::clamp(static_cast<double>(nowNs() - ns) * 1e-9 * rate(), 0.0, delay + frames);
    const double estimate = std::max(0.0, begin + played);
    // Never backwards: a new block's figure may land a little behind the last one read.
    double last = lastHeard_.load(std::memory_order_relaxed);
    while (estimate > last && !lastHeard_.compare_exchange_weak(last, estimate, std::memory_order_relaxed)) {
    }
    return std::max(estimate, last);
}

std::string OutputDevice::name() const {
    std::lock_guard lock(mutex_);
    return backend_ ? backend_->name() : std::string();
}

OutputHealth OutputDevice::health() const {
    OutputHealth h;
    {
        std::lock_guard lock(mutex_);
        h.deviceUnderruns = deviceUnderrunsBefore_.load() + (backend_ ? backend_->underruns() : 0);
    }
    h.ringUnderruns = ringUnderruns_.load();
    h.failures = failures_.load();
    h.recoveries = recoveries_.load();
    return h;
}

bool OutputDevice::swapTo(std::unique_ptr<OutputBackend> next, bool fallback) {
    auto slot = std::make_unique<Slot>(Slot{this, generation_.load() + 1});
    // From here on the old device plays silence, so the two never mix at once.
    generation_.store(slot->generation, std::memory_order_release);
    if (!next->start(rate(), &OutputDevice::renderThunk, slot.get())) {
        next->stop();
        return false;
    }
    std::unique_ptr<OutputBackend> old;
    std::unique_ptr<Slot> oldSlot;
    {
        std::lock_guard lock(mutex_);
        old = std::move(backend_);
        oldSlot = std::move(slot_);
        latency_.store(next->latencyFrames(), std::memory_order_relaxed);
        backend_ = std::move(next);
        slot_ = std::move(slot);
        onFallback_ = fallback;
    }
    if (old) {
        deviceUnderrunsBefore_ += old->underruns();
        old->stop();
    }
    return true;
}

void OutputDevice::keeperMain() {
    auto nextTry = SteadyClock::now();
    std::unique_lock lock(keeperMutex_);
    while (keeperRunning_) {
        keeperWake_.wait_for(lock, kKeeperPeriod, [this] { return !keeperRunning_; });
        if (!keeperRunning_) break;
        lock.unlock();
        bool lost = false, fallback = false;
        {
            std::lock_guard outLock(mutex_);
            fallback = onFallback_;
            if (!fallback && backend_)
                lost = backend_->failed() || (!backend_->reportsFailure() &&
                                              nowNs() - blockNs_.load(std::memory_order_acquire) > kStallNs);
        }
        if (lost && swapTo(makeNullOutput(), true)) {
            failures_.fetch_add(1);
            nextTry = SteadyClock::now() + kRetryPeriod;
        } else if (fallback && SteadyClock::now() >= nextTry) {
            if (auto back = reopen_()) {
                if (swapTo(std::move(back), false)) recoveries_.fetch_add(1);
            }
            nextTry = SteadyClock::now() + kRetryPeriod;
        }
        lock.lock();
    }
}

} // namespace engine
