#include "pipeline/channel.h"

#include "pipeline/chain.h"
#include "pipeline/host.h"
#include "pipeline/playback.h"
#include "pipeline/syncs.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace engine {

namespace {
// The channel whose events the current thread is delivering, so that a mix-time sync that moves
// its own channel continues the audio from there instead of dropping what is buffered.
struct Delivering {
    Channel* channel = nullptr;
    PullContext ctx;
    double ring = 0;
};
thread_local Delivering delivering;

struct DeliveringScope {
    Delivering saved;
    DeliveringScope(Channel* ch, const PullContext& ctx, double ring) : saved(delivering) {
        delivering = {ch, ctx, ring};
    }
    ~DeliveringScope() { delivering = saved; }
};
} // namespace

Channel::Channel() = default;
Channel::~Channel() = default;

ProcessingChain& Channel::processing() {
    if (!processing_) processing_ = std::make_unique<ProcessingChain>();
    return *processing_;
}

void Channel::runProcessing(float* out, unsigned frames) {
    if (processing_ && frames) processing_->run(*this, out, frames);
}

void Channel::raise(DWORD type, DWORD data, DWORD param) {
    events_.push_back({type, data, param});
}

unsigned Channel::pull(float* out, unsigned frames, const PullContext& ctx) {
    unsigned done = 0;
    bool loopedEmpty = false;
    std::vector<Event> events;
    while (done < frames) {
        bool ended = false;
        PullContext step = ctx;
        step.ringBase = ctx.ringBase + done * ctx.scale;
        const unsigned n =
            pullStep(out + static_cast<std::size_t>(done) * chans, frames - done, step, &ended);
        {
            std::lock_guard lock(produceMutex_);
            events.swap(events_);
            events_.clear();
        }
        done += n;
        const double ring = ctx.ringBase + done * ctx.scale;
        DeliveringScope scope(this, ctx, ring);
        // An event may come before any frame of this step (a MIDI event at the very position): the
        // step still made progress, so the loop goes on below.
        const bool hadEvents = !events.empty();
        for (const Event& e : events) host().syncs().raise(*this, e.type, e.data, e.param, ctx, ring);
        events.clear();
        if (ended) {
            const unsigned seeks = seeks_.load(std::memory_order_acquire);
            host().syncs().raise(*this, BASS_SYNC_END, 0, 0, ctx, ring);
            if (seeks != seeks_.load(std::memory_order_acquire) && !freed()) {
                loopedEmpty = n == 0;
                continue; // a mix-time end sync moved the channel: go on from there
            }
            if ((flags & BASS_SAMPLE_LOOP) && !freed() && !(n == 0 && loopedEmpty)) {
                std::lock_guard lock(produceMutex_);
                seekFrame(0);
                decodedPos_.store(positionFrame(), std::memory_order_relaxed);
                std::lock_guard marks(markMutex_);
                ++segment_;
                loopedEmpty = n == 0;
                continue;
            }
            ended_.store(true, std::memory_order_release);
            break;
        }
        if (n == 0 && !hadEvents) break; // nothing now (a mixer waiting for sources)
        loopedEmpty = false;
    }
    return done;
}

unsigned Channel::pullStep(float* out, unsigned frames, const PullContext& ctx, bool* ended) {
    std::lock_guard lock(produceMutex_);
    if (freed()) {
        *ended = true;
        return 0;
    }
    const double pos0 = positionFrame();
    const unsigned n = produce(out, frames, ended);
    runProcessing(out, n); // DSP and effects, then the encoder tap
    const double pos1 = positionFrame();
    notePulled(ctx, n, pos0, pos1, n ? (pos1 - pos0) / (n * ctx.scale) : 0.0);
    return n;
}

void Channel::notePulled(const PullContext& ctx, unsigned n, double from, double to, double step) {
    // The marker first: until a playback owns this channel, the position read is the decoded one,
    // which must not run ahead to this block before the marker says that none of it is heard yet.
    if (n && ctx.top)
        addMarker(ctx, ctx.ringBase, from, step);
    else if (!ctx.top)
        resetMarkers(nullptr, 0, -1);
    decodedPos_.store(to, std::memory_order_relaxed);
}

void Channel::addMarker(const PullContext& ctx, double ringStart, double pos, double step) {
    if (ctx.top->epoch() != ctx.topEpoch) return; // produced for audio that was flushed meanwhile
    std::lock_guard lock(markMutex_);
    if (ctx.top != top_) {
        markers_.clear();
        top_ = ctx.top;
        topOwner_ = ctx.top->channel.weak_from_this();
        seekFloor_ = 0;
        seekTarget_ = -1;
        ++segment_;
    }
    if (!markers_.empty() && markers_.back().segment == segment_ &&
        std::abs(markers_.back().pos + (ringStart - markers_.back().ring) * markers_.back().step - pos) <
            1e-6 &&
        std::abs(markers_.back().step - step) < 1e-9)
        return; // continues the last stretch
    markers_.push_back({ringStart, pos, step, segment_});
    // Forget stretches long heard.
    const double heard = top_->heardIndex();
    while (markers_.size() > 2 && markers_[1].ring <= heard) markers_.pop_front();
    while (markers_.size() > 4096) markers_.pop_front();
}

void Channel::resetMarkers(Playback* top, double floor, double target) {
    std::lock_guard lock(markMutex_);
    if (!top && !top_ && markers_.empty() && seekTarget_ < 0) return;
    markers_.clear();
    top_ = top;
    topOwner_ = top ? top->channel.weak_from_this() : std::weak_ptr<Channel>{};
    seekFloor_ = floor;
    seekTarget_ = target;
    ++segment_;
    lastHeard_ = -1;
}

double Channel::heardFrame() {
    std::lock_guard lock(markMutex_);
    auto owner = topOwner_.lock();
    const double decoded = decodedPos_.load(std::memory_order_relaxed);
    if (!owner || !top_ || top_->state.load() == Playback::kStopped)
        return seekTarget_ >= 0 ? seekTarget_ : decoded;
    const double h = top_->heardIndex();
    double pos;
    unsigned segment = segment_;
    if (h < seekFloor_ && seekTarget_ >= 0) {
        pos = seekTarget_;
    } else if (markers_.empty()) {
        pos = seekTarget_ >= 0 ? seekTarget_ : decoded;
    } else {
        auto it = std::upper_bound(markers_.begin(), markers_.end(), h,
                                   [](double v, const Marker& m) { return v < m.ring; });
        if (it == markers_.begin()) {
            pos = it->pos;
            segment = it->segment;
        } else {
            const Marker& m = *std::prev(it);
            pos = m.pos + (h - m.ring) * m.step;
            segment = m.segment;
            if (it != markers_.end() && it->segment == m.segment) pos = std::min(pos, it->pos);
            if (it == markers_.end()) pos = std::min(pos, decoded);
        }
    }
    // While playing on, the position never goes back, whatever the jitter of the clock.
    if (segment == lastHeardSegment_ && pos < lastHeard_) pos = lastHeard_;
    lastHeard_ = pos;
    lastHeardSegment_ = segment;
    return pos;
}

bool Channel::toFrame(QWORD pos, DWORD mode, std::uint64_t& frame) const {
    if (mode != BASS_POS_BYTE) return false;
    frame = pos / bytesPerFrame();
    return true;
}

bool Channel::fromFrame(double frame, DWORD mode, QWORD& pos) const {
    if (mode != BASS_POS_BYTE) return false;
    pos = static_cast<QWORD>(std::max(0.0, std::floor(frame + 1e-6))) * bytesPerFrame();
    return true;
}

bool Channel::lengthIn(DWORD mode, QWORD& out) const {
    const std::int64_t frames = lengthFrames();
    if (frames < 0) return false;
    return fromFrame(static_cast<double>(frames), mode, out);
}

bool Channel::setPosition(std::uint64_t frame) {
    if (delivering.channel == this) {
        // From a mix-time sync of this channel: the audio goes on from the new place, seamlessly.
        {
            std::lock_guard lock(produceMutex_);
            if (!seekFrame(frame)) return false;
            ended_.store(false, std::memory_order_release);
            decodedPos_.store(positionFrame(), std::memory_order_relaxed);
            seeks_.fetch_add(1, std::memory_order_acq_rel);
            std::lock_guard marks(markMutex_);
            ++segment_;
        }
        host().syncs().raise(*this, BASS_SYNC_SETPOS, 0, 0, delivering.ctx, delivering.ring);
        return true;
    }
    PullContext ctx;
    double floor = 0;
    {
        std::lock_guard lock(produceMutex_);
        if (!seekFrame(frame)) return false;
        ended_.store(false, std::memory_order_release);
        decodedPos_.store(positionFrame(), std::memory_order_relaxed);
        seeks_.fetch_add(1, std::memory_order_acq_rel);
        Playback* pb = playback_.get();
        if (pb && pb->state.load() != Playback::kStopped) {
            floor = static_cast<double>(pb->flush());
            resetMarkers(pb, floor, static_cast<double>(frame));
            ctx.top = pb;
            ctx.topEpoch = pb->epoch();
            ctx.ringBase = floor;
        } else {
            Playback* top = nullptr;
            {
                std::lock_guard marks(markMutex_);
                if (!topOwner_.expired()) top = top_;
            }
            // A source of a playing mixer: what the mixer has buffered still plays out first.
            floor = top ? static_cast<double>(top->writeIndex()) : 0;
            resetMarkers(top, floor, static_cast<double>(frame));
        }
    }
    host().wakeUpdate();
    host().syncs().raise(*this, BASS_SYNC_SETPOS, 0, 0, ctx, floor);
    return true;
}

bool Channel::setAttribute(DWORD attrib, float value) {
    if (attrib != BASS_ATTRIB_VOL) return false;
    volume_.store(std::max(0.0f, value), std::memory_order_relaxed);
    return true;
}

bool Channel::getAttribute(DWORD attrib, float& value) const {
    if (attrib != BASS_ATTRIB_VOL) return false;
    value = volume_.load(std::memory_order_relaxed);
    return true;
}

bool Channel::play(bool restart) {
    Playback* pb;
    {
        std::lock_guard lock(playMutex_);
        if (!playback_) playback_ = std::make_unique<Playback>(*this);
        pb = playback_.get();
    }
    const int state = pb->state.load();
    if (restart || endReached() || (state != Playback::kStopped && pb->endHeard())) {
        pb->state.store(Playback::kStopped);
        setPosition(0);
    } else if (state == Playback::kPlaying) {
        return true;
    }
    pb->state.store(Playback::kPlaying);
    host().playList().add(shared_from_this());
    host().wakeUpdate();
    return true;
}

bool Channel::pause() {
    Playback* pb = playback_.get();
    if (!pb || pb->state.load() != Playback::kPlaying || pb->endHeard()) return false;
    pb->state.store(Playback::kPaused);
    return true;
}

bool Channel::stop() {
    Playback* pb = playback_.get();
    if (!pb) return true;
    if (pb->state.load() == Playback::kStopped) return true;
    // Go back to what was heard, so that a later play resumes there.
    const bool endHeard = pb->endHeard();
    const double heard = heardFrame();
    pb->state.store(Playback::kStopped);
    host().playList().remove(this);
    std::lock_guard lock(produceMutex_);
    pb->flush();
    if (!endHeard) {
        seekFrame(static_cast<std::uint64_t>(std::max(0.0, heard)));
        ended_.store(false, std::memory_order_release);
        decodedPos_.store(positionFrame(), std::memory_order_relaxed);
    }
    resetMarkers(nullptr, 0, -1);
    return true;
}

DWORD Channel::isActive() {
    if (decodeOnly()) return endReached() ? 0 : 1;
    Playback* pb = playback_.get();
    if (!pb) return 0;
    switch (pb->state.load()) {
    case Playback::kPlaying:
        return pb->endHeard() ? 0 : 1;
    case Playback::kPaused:
        return 3;
    default:
        return 0;
    }
}

void Channel::onFree() {
    freed_.store(true, std::memory_order_release);
    if (Playback* pb = playback_.get()) {
        pb->state.store(Playback::kStopped);
        host().playList().remove(this);
    }
    host().syncs().removeChannel(handle);
    // Effects and DSP handles die with the channel; the encoder tap completes its file.
    std::lock_guard lock(produceMutex_);
    if (processing_) processing_->release();
}

void convertSamples(const float* in, std::size_t samples, bool toFloat, void* out) {
    if (toFloat) {
        std::memcpy(out, in, samples * sizeof(float));
        return;
    }
    auto* o = static_cast<std::int16_t*>(out);
    for (std::size_t i = 0; i < samples; ++i) {
        const float v = std::nearbyint(in[i] * 32768.0f);
        o[i] = static_cast<std::int16_t>(std::clamp(v, -32768.0f, 32767.0f));
    }
}

} // namespace engine
