// The virtual device's controls for tests (testing.h) that work on the whole engine.
#include "testing.h"

#include "device/virtual_output.h"
#include "root/engine.h"

#include <algorithm>

namespace engine::testing {

void advance(unsigned frames) {
    Engine& e = Engine::instance();
    // In blocks, as a sound card would ask: decode ahead (mix-time syncs run here), render, then
    // the delayed syncs whose audio has now been heard, in order.
    constexpr unsigned kBlock = 512;
    do {
        const unsigned block = std::min(frames, kBlock);
        // The virtual device lives and dies on the test's thread, so it cannot go away meanwhile;
        // on any other device the engine's own threads do this work.
        bool isVirtual = false;
        e.output().withBackend([&](OutputBackend* b) { isVirtual = isVirtualOutput(b); });
        if (!isVirtual) return;
        e.update();
        e.output().withBackend([&](OutputBackend* b) { advanceVirtualOutput(b, block); });
        e.captures().advanceVirtual(block); // the capture input plays along
        e.runDueSyncs();
        frames -= block;
    } while (frames > 0);
}

void pushCaptureInput(const std::vector<std::int16_t>& stereo) {
    Engine::instance().captures().pushVirtual(stereo);
}

void clearCaptureInput() {
    Engine::instance().captures().clearVirtual();
}

void runSyncs() {
    Engine::instance().runDueSyncs();
}

OutputHealth outputHealth() {
    return Engine::instance().output().health();
}

std::size_t liveChannels() {
    return Engine::instance().liveChannelCount();
}

double lastPlayStarted() {
    return Engine::instance().lastPlayStarted.load(std::memory_order_acquire);
}

std::string outputName() {
    return Engine::instance().output().name();
}

} // namespace engine::testing
