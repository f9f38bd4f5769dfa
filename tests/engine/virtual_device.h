// The engine's virtual device for one test: switched on and opened when made, and everything a
// test may have brought up (device, capture, kept audio, supplied input) let go when it goes, so
// that the next test starts from nothing.
#pragma once

#include "engine/api.h"
#include "engine/testing.h"

#include <vector>

namespace fixtures {

class VirtualDevice {
  public:
    struct Options {
        bool open = true;       // BASS_Init on the virtual device
        bool keepHeard = false; // keep what it plays (testing::heard)
        std::vector<engine::testing::VirtualInput> inputs{{"Virtual Microphone", true}};
    };
    VirtualDevice() : VirtualDevice(Options{}) {}
    explicit VirtualDevice(const Options& options) {
        engine::testing::useVirtualDevice(true);
        engine::testing::setVirtualInputs(options.inputs);
        engine::testing::clearCaptureInput();
        engine::testing::clearHeard();
        engine::testing::keepHeard(options.keepHeard);
        opened_ = !options.open || BASS_Init(-1, 44100, 0, nullptr, nullptr);
    }
    ~VirtualDevice() {
        BASS_RecordFree();
        BASS_Free();
        engine::testing::keepHeard(false);
        engine::testing::clearHeard();
        engine::testing::clearCaptureInput();
        engine::testing::setVirtualInputs({{"Virtual Microphone", true}});
        engine::testing::useVirtualDevice(false);
    }
    VirtualDevice(const VirtualDevice&) = delete;
    VirtualDevice& operator=(const VirtualDevice&) = delete;
    // False when BASS_Init failed on it.
    bool opened() const { return opened_; }

  private:
    bool opened_ = false;
};

} // namespace fixtures
