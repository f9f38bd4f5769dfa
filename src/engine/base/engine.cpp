#include "base/engine.h"

#include "midi/soundfont.h"

#include <algorithm>
#include <cctype>

namespace engine {

Engine& Engine::instance() {
    static Engine e;
    return e;
}

void Engine::renderThunk(void* ctx, float* out, unsigned frames) {
    static_cast<Engine*>(ctx)->render(out, frames);
}

void Engine::render(float* out, unsigned frames) {
    std::fill(out, out + frames * 2, 0.0f);
    const float master = masterVolume.load(std::memory_order_relaxed);
    for (unsigned i = 0; i < frames * 2; ++i) out[i] *= master;
    framesRendered.fetch_add(frames, std::memory_order_release);
}

void Engine::freeAllChannels() {
    for (DWORD h : channels.handles()) channels.remove(h);
}

unsigned Engine::latencyFrames() {
    return outputLatency.load(std::memory_order_relaxed);
}

unsigned long long Engine::heardFrame() {
    const unsigned long long rendered = framesRendered.load(std::memory_order_acquire);
    const unsigned long long latency = latencyFrames();
    return rendered > latency ? rendered - latency : 0;
}

DWORD guessInputType(const std::string& name) {
    std::string lower = name;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return std::tolower(c); });
    if (lower.find("monitor") != std::string::npos) return BASS_INPUT_TYPE_WAVE;
    if (lower.find("mic") != std::string::npos) return BASS_INPUT_TYPE_MIC;
    if (lower.find("line") != std::string::npos) return BASS_INPUT_TYPE_LINE;
    return 0;
}

} // namespace engine
