// The no-sound device: a clock thread consumes the mix in real time and throws it away, so that
// positions, syncs and timers behave as they would on a sound card.
#include "device/output_backend.h"

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace engine {

namespace {

class NullOutput final : public OutputBackend {
  public:
    ~NullOutput() override { stop(); }

    bool start(unsigned rate, RenderFn render, void* ctx) override {
        stop();
        running_ = true;
        thread_ = std::thread([this, rate, render, ctx] { run(rate, render, ctx); });
        return true;
    }

    void stop() override {
        running_ = false;
        if (thread_.joinable()) thread_.join();
    }

    unsigned latencyFrames() const override { return kPeriodFrames; }
    std::string name() const override { return "No sound"; }

  private:
    static constexpr unsigned kPeriodFrames = 441; // 10 ms at 44.1 kHz

    void run(unsigned rate, RenderFn render, void* ctx) {
        std::vector<float> buffer(kPeriodFrames * 2);
        using clock = std::chrono::steady_clock;
        const auto start = clock::now();
        unsigned long long framesDone = 0;
        while (running_) {
            render(ctx, buffer.data(), kPeriodFrames, kPeriodFrames);
            framesDone += kPeriodFrames;
            const auto due = start + std::chrono::nanoseconds(framesDone * 1000000000ull / rate);
            std::this_thread::sleep_until(due);
        }
    }

    std::atomic<bool> running_{false};
    std::thread thread_;
};

} // namespace

std::unique_ptr<OutputBackend> makeNullOutput() {
    return std::make_unique<NullOutput>();
}

} // namespace engine
