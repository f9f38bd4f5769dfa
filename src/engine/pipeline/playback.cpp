#include "pipeline/playback.h"

#include "pipeline/host.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

namespace engine {

namespace {
constexpr std::uint64_t kMask = Playback::kRingFrames - 1;
constexpr std::uint64_t kHistoryMask = Playback::kHistoryFrames - 1;
static_assert((Playback::kRingFrames & kMask) == 0 && (Playback::kHistoryFrames & kHistoryMask) == 0);
} // namespace

Playback::Playback(Channel& ch)
    : channel(ch), ring_(new float[kRingFrames * 2]()), history_(new std::atomic<float>[kHistoryFrames * 2]) {
    for (unsigned i = 0; i < kHistoryFrames * 2; ++i) history_[i].store(0.0f, std::memory_order_relaxed);
}

void Playback::fill(unsigned target, unsigned deviceRate) {
    if (state.load() == kStopped) return;
    target = std::min(target, kRingFrames - 2048);
    if (epoch_.load(std::memory_order_acquire) != converterEpoch_) {
        converter_.reset();
        converterEpoch_ = epoch_.load(std::memory_order_acquire);
    }
    for (int rounds = 0; rounds < 64; ++rounds) {
        if (endIndex_.load(std::memory_order_acquire) != kNoEnd) return;
        const std::uint64_t w = write_.load(std::memory_order_relaxed);
        const std::uint64_t r = read_.load(std::memory_order_acquire);
        const std::uint64_t from = std::max(r, discardTo_.load(std::memory_order_acquire));
        const std::uint64_t buffered = w > from ? w - from : 0;
        if (buffered >= target) return;
        const auto space = static_cast<unsigned>(kRingFrames - (w - r));
        const unsigned want = std::min({static_cast<unsigned>(target - buffered), 1024u, space});
        if (want == 0) return;

        PullContext ctx;
        ctx.top = this;
        ctx.topEpoch = epoch_.load(std::memory_order_acquire);
        if (ctx.topEpoch != converterEpoch_) {
            converter_.reset();
            converterEpoch_ = ctx.topEpoch;
        }
        ctx.ringBase = static_cast<double>(w);
        scratch_.resize(static_cast<std::size_t>(want) * 2);
        bool ended = false;
        const unsigned n = converter_.read(channel, scratch_.data(), want, deviceRate, 2, ctx, &ended);
        {
            std::lock_guard lock(pushMutex_);
            if (epoch_.load(std::memory_order_relaxed) != ctx.topEpoch) continue; // flushed meanwhile
            for (unsigned i = 0; i < n; ++i) {
                const std::uint64_t at = ((w + i) & kMask) * 2;
                ring_[at] = scratch_[i * 2];
                ring_[at + 1] = scratch_[i * 2 + 1];
            }
            write_.store(w + n, std::memory_order_release);
            if (ended) endIndex_.store(w + n, std::memory_order_release);
        }
        if (ended || n < want) return;
    }
}

std::uint64_t Playback::flush() {
    std::lock_guard lock(pushMutex_);
    epoch_.fetch_add(1, std::memory_order_acq_rel);
    const std::uint64_t w = write_.load(std::memory_order_relaxed);
    discardTo_.store(w, std::memory_order_release);
    endIndex_.store(kNoEnd, std::memory_order_release);
    sounding_.store(false, std::memory_order_release);
    return w;
}

bool Playback::mixInto(float* out, unsigned frames, std::uint64_t deviceEnd) {
    if (state.load(std::memory_order_acquire) != kPlaying) return true;
    std::uint64_t r = read_.load(std::memory_order_relaxed);
    r = std::max(r, discardTo_.load(std::memory_order_acquire));
    const std::uint64_t w = write_.load(std::memory_order_acquire);
    const auto n = static_cast<unsigned>(std::min<std::uint64_t>(frames, w > r ? w - r : 0));
    // Short of frames before the end, once it has begun to sound: the update thread fell behind.
    const bool whole = n == frames || endIndex_.load(std::memory_order_acquire) != kNoEnd ||
                       !sounding_.load(std::memory_order_relaxed);
    if (n == 0) return whole; // an underrun or the end: the last frame read keeps its device frame
    sounding_.store(true, std::memory_order_relaxed);
    const float vol = channel.volume();
    std::uint64_t h = historyWrite_.load(std::memory_order_relaxed);
    for (unsigned i = 0; i < n; ++i) {
        const std::uint64_t at = ((r + i) & kMask) * 2;
        const float l = ring_[at] * vol;
        const float rr = ring_[at + 1] * vol;
        out[i * 2] += l;
        out[i * 2 + 1] += rr;
        const std::uint64_t hat = ((h + i) & kHistoryMask) * 2;
        history_[hat].store(l, std::memory_order_relaxed);
        history_[hat + 1].store(rr, std::memory_order_relaxed);
    }
    read_.store(r + n, std::memory_order_release);
    const std::uint64_t device = deviceEnd - (frames - n);
    const unsigned s = seq_.load(std::memory_order_relaxed);
    // A sequence lock: odd while the three values change. Release stores keep the odd mark
    // ahead of them, so that a reader who sees a new value also sees the mark.
    seq_.store(s + 1, std::memory_order_relaxed);
    doneRead_.store(r + n, std::memory_order_release);
    doneDevice_.store(device, std::memory_order_release);
    historyWrite_.store(h + n, std::memory_order_release);
    seq_.store(s + 2, std::memory_order_release);
    return whole;
}

double Playback::heardIndex() const {
    std::uint64_t read, device;
    for (;;) {
        const unsigned s1 = seq_.load(std::memory_order_acquire);
        read = doneRead_.load(std::memory_order_acquire);
        device = doneDevice_.load(std::memory_order_acquire);
        if (!(s1 & 1) && seq_.load(std::memory_order_relaxed) == s1) break;
        std::this_thread::yield();
    }
    // Nothing mixed since the start or the last flush: nothing from there on is heard yet.
    const std::uint64_t from = discardTo_.load(std::memory_order_acquire);
    if (read <= from) return static_cast<double>(from) - 1;
    const double heardDevice = host().heardFrame();
    const double lag = std::max(0.0, static_cast<double>(device) - heardDevice);
    return std::max(0.0, static_cast<double>(read) - lag);
}

bool Playback::endHeard() const {
    const std::uint64_t end = endIndex_.load(std::memory_order_acquire);
    return end != kNoEnd && heardIndex() >= static_cast<double>(end);
}

bool Playback::lastHeard(float* out, unsigned frames) const {
    std::uint64_t hist, device;
    for (;;) {
        const unsigned s1 = seq_.load(std::memory_order_acquire);
        hist = historyWrite_.load(std::memory_order_acquire);
        device = doneDevice_.load(std::memory_order_acquire);
        if (!(s1 & 1) && seq_.load(std::memory_order_relaxed) == s1) break;
        std::this_thread::yield();
    }
    if (hist == 0) return false;
    const double heardDevice = host().heardFrame();
    const auto lag = static_cast<std::uint64_t>(std::max(0.0, static_cast<double>(device) - heardDevice));
    const std::uint64_t end = hist > lag ? hist - lag : 0;
    frames = std::min(frames, kHistoryFrames / 2);
    for (unsigned i = 0; i < frames; ++i) {
        const std::uint64_t idx = end - frames + i; // may wrap below 0: those frames are silence
        const bool valid = end >= frames - i && idx < end;
        const std::uint64_t at = (idx & kHistoryMask) * 2;
        out[i * 2] = valid ? history_[at].load(std::memory_order_relaxed) : 0.0f;
        out[i * 2 + 1] = valid ? history_[at + 1].load(std::memory_order_relaxed) : 0.0f;
    }
    return true;
}

// ---- PlayList ----

void PlayList::publish(std::unique_ptr<List> next) {
    std::unique_ptr<List> old = std::move(current_);
    current_ = std::move(next);
    live_.store(current_.get(), std::memory_order_seq_cst);
    // Wait until the device callback no longer uses the old list.
    const std::uint64_t count = mixCount_.load(std::memory_order_seq_cst);
    while (inMix_.load(std::memory_order_seq_cst) && mixCount_.load(std::memory_order_seq_cst) == count)
        std::this_thread::sleep_for(std::chrono::microseconds(50));
}

void PlayList::add(const ChannelPtr& channel) {
    std::lock_guard lock(mutex_);
    if (std::any_of(owners_.begin(), owners_.end(), [&](const ChannelPtr& c) { return c == channel; }))
        return;
    owners_.push_back(channel);
    auto next = std::make_unique<List>();
    for (const ChannelPtr& c : owners_) next->items.push_back(c->playback());
    publish(std::move(next));
}

void PlayList::remove(Channel* channel) {
    ChannelPtr gone;
    {
        std::lock_guard lock(mutex_);
        auto it = std::find_if(owners_.begin(), owners_.end(),
                               [&](const ChannelPtr& c) { return c.get() == channel; });
        if (it == owners_.end()) return;
        gone = *it;
        owners_.erase(it);
        auto next = std::make_unique<List>();
        for (const ChannelPtr& c : owners_) next->items.push_back(c->playback());
        publish(std::move(next));
    }
}

void PlayList::clear() {
    std::vector<ChannelPtr> gone;
    std::lock_guard lock(mutex_);
    gone.swap(owners_);
    publish(std::make_unique<List>());
}

std::vector<ChannelPtr> PlayList::snapshot() {
    std::lock_guard lock(mutex_);
    return owners_;
}

unsigned PlayList::mix(float* out, unsigned frames, std::uint64_t deviceEnd) {
    unsigned shortChannels = 0;
    inMix_.store(true, std::memory_order_seq_cst);
    if (List* list = live_.load(std::memory_order_seq_cst))
        for (Playback* pb : list->items)
            if (!pb->mixInto(out, frames, deviceEnd)) ++shortChannels;
    inMix_.store(false, std::memory_order_seq_cst);
    mixCount_.fetch_add(1, std::memory_order_seq_cst);
    return shortChannels;
}

} // namespace engine
