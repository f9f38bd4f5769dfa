// Time as the logic sees it: one clock, timers, sleeping and yielding to the event loop.
// Production runs on Qt's event loop; tests run on a virtual clock that also drives the engine.
#pragma once

#include <functional>
#include <memory>

namespace platform {

class Timer {
  public:
    virtual ~Timer() = default;
    virtual void setInterval(int ms) = 0;
    virtual int interval() const = 0;
    virtual void setEnabled(bool on) = 0;
    virtual bool enabled() const = 0;
    // The tick handler; runs on the UI thread.
    std::function<void()> onTick;
};

class Clock {
  public:
    virtual ~Clock() = default;
    virtual long long nowMs() = 0;
    // Blocks the UI thread: no timer ticks meanwhile; the engine goes on.
    virtual void sleep(int ms) = 0;
    // Lets pending UI events and due timers run.
    virtual void doEvents() = 0;
    virtual std::unique_ptr<Timer> makeTimer(int intervalMs, bool enabled) = 0;
    // Runs `fn` on the UI thread later; callable from any thread.
    virtual void post(std::function<void()> fn) = 0;
    // For engine callbacks: holds the calling engine thread for `ms`, then runs `fn` on it. The
    // UI thread goes on meanwhile. The virtual clock runs `fn` when its time comes instead.
    virtual void waitThen(int ms, std::function<void()> fn) = 0;
};

} // namespace platform
