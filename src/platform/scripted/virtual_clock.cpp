#include "platform/scripted/virtual_clock.h"

#include "engine/testing.h"

#include <algorithm>
#include <mutex>

namespace platform {

namespace {
std::mutex postedMutex;
}

class VirtualTimer final : public Timer {
  public:
    VirtualTimer(VirtualClock& clock, int interval, bool enabled) : clock_(clock), interval_(interval) {
        clock_.timers_.push_back(this);
        setEnabled(enabled);
    }
    ~VirtualTimer() override {
        auto& v = clock_.timers_;
        v.erase(std::remove(v.begin(), v.end(), this), v.end());
    }

    void setInterval(int ms) override {
        interval_ = std::max(1, ms);
        if (enabled_) due_ = clock_.now_ + interval_;
    }
    int interval() const override { return interval_; }
    void setEnabled(bool on) override {
        if (on && !enabled_) due_ = clock_.now_ + interval_;
        enabled_ = on;
    }
    bool enabled() const override { return enabled_; }

    long long due() const { return due_; }

    void fire() {
        due_ = clock_.now_ + interval_;
        if (running_ || !onTick) return;
        running_ = true;
        ++clock_.ticks_;
        auto keep = onTick;
        keep();
        running_ = false;
        // Ticks missed while the handler held the thread are not made up: the next one is an
        // interval after it returned.
        if (clock_.now_ + interval_ > due_) due_ = clock_.now_ + interval_;
    }

  private:
    VirtualClock& clock_;
    int interval_;
    bool enabled_ = false;
    bool running_ = false;
    long long due_ = 0;
};

VirtualClock::VirtualClock() = default;
VirtualClock::~VirtualClock() = default;

std::unique_ptr<Timer> VirtualClock::makeTimer(int intervalMs, bool enabled) {
    return std::make_unique<VirtualTimer>(*this, std::max(1, intervalMs), enabled);
}

void VirtualClock::post(std::function<void()> fn) {
    std::lock_guard lock(postedMutex);
    posted_.push_back(std::move(fn));
}

void VirtualClock::runPosted() {
    for (;;) {
        std::function<void()> fn;
        {
            std::lock_guard lock(postedMutex);
            if (posted_.empty()) return;
            fn = std::move(posted_.front());
            posted_.pop_front();
        }
        fn();
    }
}

void VirtualClock::waitThen(int ms, std::function<void()> fn) {
    std::lock_guard lock(postedMutex);
    waits_.push_back({now_ + std::max(0, ms), std::move(fn)});
}

long long VirtualClock::nextWaitDue() const {
    long long best = -1;
    for (const Wait& w : waits_)
        if (best < 0 || w.due < best) best = w.due;
    return best;
}

void VirtualClock::runWaitsDueBy(long long ms) {
    for (;;) {
        std::function<void()> fn;
        {
            std::lock_guard lock(postedMutex);
            auto it = std::min_element(waits_.begin(), waits_.end(),
                                       [](const Wait& a, const Wait& b) { return a.due < b.due; });
            if (it == waits_.end() || it->due > ms) return;
            fn = std::move(it->fn);
            waits_.erase(it);
        }
        if (fn) fn();
    }
}

void VirtualClock::moveEngineTo(long long ms) {
    // Engine threads held by waitThen go on at their time, also while the UI thread sleeps.
    for (long long due = nextWaitDue(); due >= 0 && due <= ms; due = nextWaitDue()) {
        moveEngineFramesTo(due);
        runWaitsDueBy(due);
    }
    moveEngineFramesTo(ms);
}

void VirtualClock::moveEngineFramesTo(long long ms) {
    if (ms < now_) return;
    now_ = ms;
    // 44.1 frames per millisecond, counted from zero so that no rounding accumulates.
    const unsigned long long target = static_cast<unsigned long long>(ms) * 441 / 10;
    if (target > engineFrames_) {
        engine::testing::advance(static_cast<unsigned>(target - engineFrames_));
        engineFrames_ = target;
    }
}

VirtualTimer* VirtualClock::nextDue(long long limit) {
    VirtualTimer* best = nullptr;
    for (VirtualTimer* t : timers_)
        if (t->enabled() && t->due() <= limit && (!best || t->due() < best->due())) best = t;
    return best;
}

void VirtualClock::sleep(int ms) {
    if (ms > 0) moveEngineTo(now_ + ms);
}

void VirtualClock::doEvents() {
    runPosted();
    // Each timer that is due now gets one tick.
    std::vector<VirtualTimer*> due;
    for (VirtualTimer* t : timers_)
        if (t->enabled() && t->due() <= now_) due.push_back(t);
    for (VirtualTimer* t : due)
        if (std::find(timers_.begin(), timers_.end(), t) != timers_.end() && t->enabled()) t->fire();
}

void VirtualClock::advance(long long ms) {
    const long long target = now_ + ms;
    ++depth_;
    runPosted();
    while (VirtualTimer* t = nextDue(target)) {
        if (t->due() > now_) moveEngineTo(t->due());
        runPosted();
        if (t->enabled() && t->due() <= now_) t->fire();
        runPosted();
    }
    if (target > now_) moveEngineTo(target);
    runPosted();
    --depth_;
}

bool VirtualClock::advanceUntil(const std::function<bool()>& done, long long limitMs, long long stepMs) {
    for (long long spent = 0; spent <= limitMs; spent += stepMs) {
        if (done()) return true;
        advance(stepMs);
    }
    return done();
}

} // namespace platform
