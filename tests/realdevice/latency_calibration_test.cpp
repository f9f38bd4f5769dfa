// The latency calibration on a real sound server: the input is the monitor of the null sink the
// clicks play into, so the round trip it finds is the server's own. The test measures that round
// trip a second way, with no capture of the engine's: the calibration's own clicks, heard on the
// monitor by the test's recorder, placed on the steady clock where the server says the sink played
// them (MonitorRecorder::playedAt), from the moment the engine was told to play them. The two must
// agree within 2 ms, run after run.
#include "engine/api.h"
#include "engine/testing.h"
#include "pulse/monitor_recorder.h"
#include "pulse/pulse_server.h"
#include "realdevice/real_window.h"
#include "recording/latency_calibration.h"
#include "recording/take_files.h"
#include "support/offscreen_app.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <thread>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using pulsetest::onPath;

// The first frame of `rec` the sink played at or after `t` (steady seconds).
std::size_t framePlayedAt(const pulsetest::MonitorRecorder& rec, double t) {
    const double first = std::chrono::duration<double>(rec.playedAt(0).time_since_epoch()).count();
    return t <= first ? 0
                      : static_cast<std::size_t>(std::ceil((t - first) * pulsetest::MonitorRecorder::kRate));
}

class RealDeviceCalibration : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!onPath("pulseaudio") || !onPath("pactl")) GTEST_SKIP() << "pulseaudio or pactl is not installed";
        engine::testing::useVirtualDevice(false);
        testing::ensureQtApplication();
        ASSERT_TRUE(server_.start("calibration", {"sink_name=velvora_cal rate=44100"}))
            << "the test's PulseAudio did not come up";
        pulsetest::run({"pactl", "set-default-sink", "velvora_cal"});
        pulsetest::run({"pactl", "set-default-source", "velvora_cal.monitor"});
    }
    void TearDown() override {
        BASS_RecordFree();
        BASS_Free();
        server_.stop();
    }

    pulsetest::PrivateServer server_;
};

// Disabled until it holds run after run: in 8 sets of 10 runs the two measurements agreed within
// 0.5 ms in all but a few runs, but once 1.8 ms and once 4.8 ms apart (104.85 against 100.05 ms);
// which of the two placements of the capture on the steady clock wandered is not yet known.
TEST_F(RealDeviceCalibration, DISABLED_TheCalibrationFindsTheRoundTripTheServerPlays) {
    testing::TempFolder folder;
    testing::RealWindow real(folder.str());
    App& app = real.app;
    ASSERT_TRUE(real.start());
    ASSERT_EQ(engine::testing::outputName(), "PulseAudio");
    ASSERT_GE(app.s.inputIndex, 0) << "no capture input on the test's server";

    for (int run = 0; run < 10; ++run) {
        pulsetest::MonitorRecorder rec;
        ASSERT_TRUE(rec.start("velvora_cal.monitor", 20));
        rec.waitForFrames(44100 / 2, std::chrono::seconds(5)); // the recorder's clock settles
        const recording::CalibrationOutcome outcome = recording::CalibrateLatency(app);
        const double played = engine::testing::lastPlayStarted();
        rec.waitForFrames(rec.frames() + 44100 / 2, std::chrono::seconds(5));
        rec.stop();
        ASSERT_EQ(rec.overflows(), 0u) << "the test's recorder lost audio";
        ASSERT_TRUE(outcome.measured) << outcome.message;
        // The same clicks as the test's recorder heard them, from the moment they were started.
        const std::vector<std::int16_t> all = rec.samples();
        std::vector<float> mono;
        for (std::size_t f = framePlayedAt(rec, played); 2 * f + 1 < all.size(); ++f)
            mono.push_back((all[2 * f] + all[2 * f + 1]) / 65536.0f);
        const auto independent = recording::findRoundTrip(recording::makeClickTrain(), mono);
        ASSERT_TRUE(independent) << "the test's recorder heard no click";
        std::printf(
            "run %d: calibration %.2f ms (spread %.2f, output %.2f); heard by the test %.2f ms (spread "
            "%.2f)\n",
            run, outcome.measured->roundTripMs, outcome.measured->spreadMs, outcome.measured->outputMs,
            independent->roundTripMs, independent->spreadMs);
        EXPECT_NEAR(outcome.measured->roundTripMs, independent->roundTripMs, 2.0);
        EXPECT_LE(outcome.measured->spreadMs, 2.0);
    }
    EXPECT_TRUE(real.dialogs.unexpected().empty())
        << "an unexpected box: " << real.dialogs.unexpected().front().text;
}

} // namespace
} // namespace velvora
