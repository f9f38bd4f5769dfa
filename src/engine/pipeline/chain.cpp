#include "pipeline/chain.h"

#include "pipeline/channel.h"

#include <algorithm>

namespace engine {

HandleTable<Stage>& dspTable() {
    static HandleTable<Stage> table{kTagDsp};
    return table;
}

HandleTable<Stage>& fxTable() {
    static HandleTable<Stage> table{kTagFx};
    return table;
}

ProcessingChain::~ProcessingChain() {
    release();
}

void ProcessingChain::add(const std::shared_ptr<Stage>& stage) {
    stage->order = nextOrder_++;
    // After every stage of a higher or equal priority: equal priorities run in the order set.
    auto at = std::find_if(stages_.begin(), stages_.end(),
                           [&](const std::shared_ptr<Stage>& s) { return s->priority < stage->priority; });
    stages_.insert(at, stage);
}

bool ProcessingChain::remove(const Stage* stage) {
    const auto before = stages_.size();
    std::erase_if(stages_, [&](const std::shared_ptr<Stage>& s) { return s.get() == stage; });
    return stages_.size() != before;
}

void ProcessingChain::setTap(TapKind kind, std::shared_ptr<Tap> tap) {
    if (taps_[kind]) taps_[kind]->finish();
    taps_[kind] = std::move(tap);
}

bool ProcessingChain::empty() const {
    return stages_.empty() &&
           std::none_of(std::begin(taps_), std::end(taps_), [](const auto& t) { return !!t; });
}

void ProcessingChain::run(Channel& ch, float* buffer, unsigned frames) {
    if (frames == 0 || empty()) return;
    // A copy, so that a callback may change the chain of its own channel while it runs.
    const std::vector<std::shared_ptr<Stage>> stages = stages_;
    for (const auto& s : stages) {
        // Removed by an earlier stage of this block: skip it.
        if (std::none_of(stages_.begin(), stages_.end(), [&](const auto& live) { return live == s; }))
            continue;
        s->process(ch, buffer, frames);
    }
    for (const auto& t : taps_) {
        const std::shared_ptr<Tap> tap = t;
        if (tap) tap->consume(ch, buffer, frames);
    }
}

void ProcessingChain::release() {
    for (const auto& s : stages_) {
        if (dspTable().get(s->handle) == s) dspTable().remove(s->handle);
        if (fxTable().get(s->handle) == s) fxTable().remove(s->handle);
    }
    stages_.clear();
    for (auto& t : taps_) {
        if (t) t->finish();
        t.reset();
    }
}

} // namespace engine
