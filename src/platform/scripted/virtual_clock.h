// A clock that moves only when a test moves it. Advancing renders the same span of audio on the
// engine's virtual device and fires the UI timers that fall due, in time order, on the caller's thread.
#pragma once

#include "platform/clock.h"

#include <deque>
#include <functional>
#include <vector>

namespace platform {

class VirtualTimer;

class VirtualClock final : public Clock {
  public:
    VirtualClock();
    ~VirtualClock() override;

    long long nowMs() override { return now_; }
    void sleep(int ms) override;
    void doEvents() override;
    std::unique_ptr<Timer> makeTimer(int intervalMs, bool enabled) override;
    void post(std::function<void()> fn) override;
    void waitThen(int ms, std::function<void()> fn) override;

    // Moves time on by `ms`, firing timers as they fall due.
    void advance(long long ms);
    // Advances in steps until `done` holds or `limitMs` have passed; true when `done` held.
    bool advanceUntil(const std::function<bool()>& done, long long limitMs, long long stepMs = 10);

    std::size_t timerTicks() const { return ticks_; }

  private:
    friend class VirtualTimer;
    void moveEngineTo(long long ms);
    void moveEngineFramesTo(long long ms);
    void runPosted();
    void runWaitsDueBy(long long ms);
    long long nextWaitDue() const;
    VirtualTimer* nextDue(long long limit);

    long long now_ = 0;
    unsigned long long engineFrames_ = 0;
    std::vector<VirtualTimer*> timers_;
    std::deque<std::function<void()>> posted_;
    struct Wait {
        long long due;
        std::function<void()> fn;
    };
    std::vector<Wait> waits_;
    std::size_t ticks_ = 0;
    int depth_ = 0;
};

} // namespace platform
