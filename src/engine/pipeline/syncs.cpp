#include "pipeline/syncs.h"

#include "common/thread_priority.h"

#include "common/handles.h"
#include "pipeline/host.h"
#include "pipeline/playback.h"

#include <algorithm>
#include <chrono>

namespace engine {

namespace {
constexpr DWORD kMixtime = BASS_SYNC_MIXTIME;
constexpr DWORD kOnetime = BASS_SYNC_ONETIME;
} // namespace

HSYNC Syncs::set(DWORD channel, DWORD type, QWORD param, SYNCPROC* proc, void* user) {
    std::lock_guard lock(mutex_);
    const HSYNC h = (kTagSync << 28) | (nextId_++ & 0x0fffffff);
    if ((nextId_ & 0x0fffffff) == 0) nextId_ = 1;
    entries_.push_back({h, channel, type & ~(kMixtime | kOnetime), param, (type & kMixtime) != 0,
                        (type & kOnetime) != 0, proc, user});
    return h;
}

bool Syncs::remove(DWORD channel, HSYNC sync) {
    std::lock_guard lock(mutex_);
    auto it = std::find_if(entries_.begin(), entries_.end(),
                           [&](const Entry& e) { return e.handle == sync && e.channel == channel; });
    if (it == entries_.end()) return false;
    entries_.erase(it);
    return true;
}

void Syncs::removeChannel(DWORD channel) {
    std::lock_guard lock(mutex_);
    std::erase_if(entries_, [&](const Entry& e) { return e.channel == channel; });
}

std::vector<Syncs::Entry> Syncs::matching(DWORD channel, DWORD type, DWORD param, bool mixtime) {
    std::vector<Entry> out;
    std::lock_guard lock(mutex_);
    for (auto it = entries_.begin(); it != entries_.end();) {
        const bool paramMatters = type == BASS_SYNC_MIDI_EVENT;
        if (it->channel == channel && it->type == type && it->mixtime == mixtime &&
            (!paramMatters || it->param == param)) {
            out.push_back(*it);
            if (it->onetime) {
                it = entries_.erase(it);
                continue;
            }
        }
        ++it;
    }
    return out;
}

void Syncs::raise(Channel& ch, DWORD type, DWORD data, DWORD param, const PullContext& ctx, double ring) {
    // Mix-time syncs: now, on this thread, before any later audio of the channel is produced.
    for (const Entry& e : matching(ch.handle, type, param, true)) e.proc(e.handle, ch.handle, data, e.user);

    const bool endOfTop = type == BASS_SYNC_END && ctx.top && &ctx.top->channel == &ch;
    bool delayed = endOfTop;
    if (!delayed) {
        std::lock_guard lock(mutex_);
        delayed = std::any_of(entries_.begin(), entries_.end(), [&](const Entry& e) {
            return e.channel == ch.handle && e.type == type && !e.mixtime;
        });
    }
    if (!delayed) return;
    Pending p;
    p.channel = ch.weak_from_this();
    if (ctx.top) {
        p.top = ctx.top->channel.weak_from_this();
        p.hasTop = true;
    }
    p.epoch = ctx.topEpoch;
    p.ring = ring;
    p.type = type;
    p.data = data;
    p.param = param;
    {
        std::lock_guard lock(pendingMutex_);
        pending_.push_back(std::move(p));
    }
    wake_.notify_one();
}

double Syncs::dueIn(const Pending& p, bool& dropped) const {
    dropped = false;
    if (!p.hasTop) return 0; // decoded, not heard: due at once
    auto top = p.top.lock();
    if (!top || top->freed() || !top->playback() || top->playback()->epoch() != p.epoch) {
        dropped = true; // its audio was flushed or its channel is gone
        return 0;
    }
    Playback* pb = top->playback();
    const double heard = pb->heardIndex();
    if (heard >= p.ring) return 0;
    if (pb->state.load() != Playback::kPlaying) return 1.0; // paused: wait
    const unsigned rate = host().rate();
    return (p.ring - heard) / (rate ? rate : 44100);
}

void Syncs::deliver(const Pending& p) {
    auto ch = p.channel.lock();
    if (!ch || ch->freed()) return;
    const DWORD handle = ch->handle;
    for (const Entry& e : matching(handle, p.type, p.param, false)) e.proc(e.handle, handle, p.data, e.user);
    auto top = p.top.lock();
    if (p.type == BASS_SYNC_END && top == ch && ch->playback() && !ch->freed()) {
        Playback* pb = ch->playback();
        if (pb->epoch() == p.epoch && pb->endIndex() != Playback::kNoEnd) {
            ch->stop();
            if (ch->flags & BASS_STREAM_AUTOFREE) host().freeChannel(handle);
        }
    }
}

void Syncs::runDue() {
    for (;;) {
        Pending next;
        bool found = false;
        {
            std::lock_guard lock(pendingMutex_);
            for (auto it = pending_.begin(); it != pending_.end();) {
                bool dropped = false;
                const double wait = dueIn(*it, dropped);
                if (dropped) {
                    it = pending_.erase(it);
                    continue;
                }
                if (wait <= 0) {
                    next = std::move(*it);
                    pending_.erase(it);
                    found = true;
                    break;
                }
                ++it;
            }
        }
        if (!found) return;
        deliver(next);
    }
}

void Syncs::threadMain(unsigned generation) {
    std::unique_lock lock(pendingMutex_);
    while (running_ && generation == generation_) {
        double soonest = 0.005;
        for (auto it = pending_.begin(); it != pending_.end(); ++it) {
            bool dropped = false;
            soonest = std::min(soonest, dueIn(*it, dropped));
        }
        if (soonest > 0) {
            wake_.wait_for(lock, std::chrono::duration<double>(std::max(soonest, 0.0002)));
            continue;
        }
        lock.unlock();
        runDue();
        lock.lock();
    }
}

void Syncs::start() {
    stop();
    std::lock_guard lock(pendingMutex_);
    running_ = true;
    const unsigned generation = ++generation_;
    thread_ = std::thread([this, generation] { threadMain(generation); });
    // A sync is due at the moment its audio is heard; on a busy machine a thread of normal
    // priority wakes tens of milliseconds late.
    raiseToAudioPriority(thread_);
}

void Syncs::stop() {
    std::thread t;
    {
        std::lock_guard lock(pendingMutex_);
        running_ = false;
        ++generation_;
        t = std::move(thread_);
    }
    wake_.notify_all();
    if (t.joinable()) {
        if (t.get_id() == std::this_thread::get_id())
            t.detach(); // BASS_Free from inside a sync: the thread ends after the callback returns
        else
            t.join();
    }
}

void Syncs::clearPending() {
    std::lock_guard lock(pendingMutex_);
    pending_.clear();
}

} // namespace engine
