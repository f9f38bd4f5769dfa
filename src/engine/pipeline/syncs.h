// Syncs: callbacks on events of a channel. A channel raises "event of type T with data D at
// frame F of its output" (Channel::raise, or the pipeline for ends and seeks); here the matching
// syncs are called: mix-time ones at once on the producing thread, the others later on the sync
// thread (or in testing::advance on the virtual device) once that frame is heard.
//
// No engine lock is held while a callback runs, so callbacks may call any operation, free their own
// channel, or sleep.
#pragma once

#include "api.h"
#include "pipeline/channel.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace engine {

class Syncs {
  public:
    Syncs() = default;
    ~Syncs() { stop(); }
    Syncs(const Syncs&) = delete;
    Syncs& operator=(const Syncs&) = delete;

    HSYNC set(DWORD channel, DWORD type, QWORD param, SYNCPROC* proc, void* user);
    bool remove(DWORD channel, HSYNC sync);
    void removeChannel(DWORD channel);

    // An event of `ch` whose audio lands at ring index `ring` of ctx.top (ignored without a top).
    // Runs the mix-time syncs now and queues the rest. The end of a playing channel is always
    // queued: once heard the channel stops, and is freed when auto-free.
    void raise(Channel& ch, DWORD type, DWORD data, DWORD param, const PullContext& ctx, double ring);

    // Runs the delayed syncs that are due, in order, on the calling thread.
    void runDue();
    // Starts or stops the sync thread (real-time devices).
    void start();
    void stop();
    // Drops queued syncs (BASS_Free).
    void clearPending();

  private:
    struct Entry {
        HSYNC handle;
        DWORD channel;
        DWORD type; // without the mix-time flag
        QWORD param;
        bool mixtime;
        bool onetime;
        SYNCPROC* proc;
        void* user;
    };
    struct Pending {
        std::weak_ptr<Channel> channel;
        std::weak_ptr<Channel> top; // whose ring carries the audio
        bool hasTop = false;        // without one (decoded, not played) it is due at once
        std::uint64_t epoch;
        double ring;
        DWORD type;
        DWORD data;
        DWORD param;
    };
    std::vector<Entry> matching(DWORD channel, DWORD type, DWORD param, bool mixtime);
    // Seconds until `p` is heard (<= 0 when due); `dropped` when its audio will never be heard.
    double dueIn(const Pending& p, bool& dropped) const;
    void deliver(const Pending& p);
    void threadMain(unsigned generation);

    std::mutex mutex_; // guards entries_ and nextId_
    std::vector<Entry> entries_;
    DWORD nextId_ = 1;

    std::mutex pendingMutex_;
    std::condition_variable wake_;
    std::deque<Pending> pending_;
    bool running_ = false;
    unsigned generation_ = 0; // a thread left behind by stop() from inside a sync ends on its own
    std::thread thread_;
};

} // namespace engine
