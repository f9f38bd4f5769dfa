#include "device/virtual_output.h"

#include <algorithm>
#include <mutex>

namespace engine {

namespace {

struct VirtualState {
    std::mutex mutex;
    bool inUse = false;
    bool keep = false;
    std::vector<float> heard;
    std::vector<float> last;
    bool hearOutput = false;
    unsigned inputDelay = 0;
    std::vector<testing::VirtualInput> inputs{{"Virtual Microphone", true}};
};

VirtualState& state() {
    static VirtualState s;
    return s;
}

class VirtualOutput final : public OutputBackend {
  public:
    bool start(unsigned, RenderFn render, void* ctx) override {
        render_ = render;
        ctx_ = ctx;
        return true;
    }
    void stop() override { render_ = nullptr; }
    unsigned latencyFrames() const override { return 0; }
    bool realtime() const override { return false; }
    std::string name() const override { return "Virtual"; }

    void advance(unsigned frames, std::vector<float>* keep, std::vector<float>& last) {
        if (!render_) return;
        buffer_.resize(static_cast<std::size_t>(frames) * 2);
        render_(ctx_, buffer_.data(), frames, 0.0);
        if (keep) keep->insert(keep->end(), buffer_.begin(), buffer_.end());
        last = buffer_;
    }

  private:
    RenderFn render_ = nullptr;
    void* ctx_ = nullptr;
    std::vector<float> buffer_;
};

} // namespace

std::unique_ptr<OutputBackend> makeVirtualOutput() {
    return std::make_unique<VirtualOutput>();
}

bool virtualDeviceInUse() {
    return state().inUse;
}

std::vector<testing::VirtualInput> virtualInputs() {
    std::lock_guard lock(state().mutex);
    return state().inputs;
}

namespace testing {

void useVirtualDevice(bool on) {
    state().inUse = on;
}
bool virtualDeviceInUse() {
    return state().inUse;
}

void setVirtualInputs(std::vector<VirtualInput> inputs) {
    std::lock_guard lock(state().mutex);
    state().inputs = std::move(inputs);
}

const std::vector<float>& heard() {
    return state().heard;
}
void clearHeard() {
    state().heard.clear();
}
void keepHeard(bool on) {
    state().keep = on;
}

void hearOutputOnInput(bool on) {
    state().hearOutput = on;
}
void setVirtualInputDelay(unsigned frames) {
    state().inputDelay = frames;
}

} // namespace testing

bool virtualInputHearsOutput() {
    return state().hearOutput;
}
unsigned virtualInputDelay() {
    return state().inputDelay;
}
const std::vector<float>& lastVirtualBlock() {
    return state().last;
}

bool isVirtualOutput(const OutputBackend* backend) {
    return dynamic_cast<const VirtualOutput*>(backend) != nullptr;
}

bool advanceVirtualOutput(OutputBackend* backend, unsigned frames) {
    auto* out = dynamic_cast<VirtualOutput*>(backend);
    if (!out) return false;
    state().last.clear();
    out->advance(frames, state().keep ? &state().heard : nullptr, state().last);
    return true;
}

} // namespace engine
