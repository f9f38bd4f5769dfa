// What runs on a channel's audio right after produce(): DSP callbacks and effects in one priority
// order, then the taps (the encoder, the tempo watch) that see the final result.
//
// Threads: Channel::runProcessing() calls run() on the producing thread with the channel's
// produceMutex() held; every change (add, remove, release) is made under that same lock, so the
// device callback, which never takes it, is never held up. A DSP callback may add or remove stages
// of its own channel (the lock is recursive and run() works on a copy of the list). Effect
// parameters have a small lock of each effect's own (see effects.h).
#pragma once

#include "api.h"
#include "common/handles.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace engine {

class Channel;

// A DSP callback or an effect.
class Stage {
  public:
    virtual ~Stage() = default;
    // In place, `frames` interleaved frames of the channel's channel count.
    virtual void process(Channel& ch, float* buffer, unsigned frames) = 0;

    DWORD handle = 0;
    int priority = 0;
    std::uint64_t order = 0;
    std::weak_ptr<Channel> owner;
};

// Sees the final samples of each block (after every stage); may raise events on the channel.
class Tap {
  public:
    virtual ~Tap() = default;
    virtual void consume(Channel& ch, const float* buffer, unsigned frames) = 0;
    // The channel is freed or the tap removed: finish (close files). Called under produceMutex().
    virtual void finish() {}
};

class ProcessingChain {
  public:
    ~ProcessingChain();

    void add(const std::shared_ptr<Stage>& stage);
    bool remove(const Stage* stage);
    // Taps, keyed by kind (one of each kind per channel).
    enum TapKind { kEncoder = 0, kTempo = 1, kTapKinds = 2 };
    std::shared_ptr<Tap> tap(TapKind kind) const { return taps_[kind]; }
    void setTap(TapKind kind, std::shared_ptr<Tap> tap);

    void run(Channel& ch, float* buffer, unsigned frames);
    bool empty() const;
    // Removes every stage from the handle tables and finishes every tap (the channel is freed).
    void release();

  private:
    std::vector<std::shared_ptr<Stage>> stages_; // by priority, highest first
    std::shared_ptr<Tap> taps_[kTapKinds];
    std::uint64_t nextOrder_ = 0;
};

// The handle tables of DSP callbacks and effects.
HandleTable<Stage>& dspTable();
HandleTable<Stage>& fxTable();

} // namespace engine
