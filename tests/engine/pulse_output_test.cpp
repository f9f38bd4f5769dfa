// Real output through a PulseAudio server of the test's own: a null sink whose monitor the test
// records while the engine plays on the default device. A failure names what broke: the player's
// sound (a window that does not match, a silence inside the song), or the recorder itself.
#include "engine/api.h"
#include "engine/stream_fixtures.h"
#include "engine/testing.h"
#include "pulse/monitor_recorder.h"
#include "pulse/playback_check.h"
#include "pulse/pulse_server.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <thread>

namespace {

using pulsetest::onPath;
using pulsetest::run;

class PulseOutput : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!onPath("pulseaudio") || !onPath("pactl")) GTEST_SKIP() << "pulseaudio or pactl is not installed";
        engine::testing::useVirtualDevice(false);
        ASSERT_TRUE(server_.start("pulse", {"sink_name=velvora_test rate=44100"}))
            << "the test's PulseAudio did not come up";
        run({"pactl", "set-default-sink", "velvora_test"});
    }
    void TearDown() override {
        BASS_Free();
        recorder_.stop();
        server_.stop();
    }

    // Plays `seconds` of a test signal on device -1 while recording the sink's monitor, and checks
    // that the recording is the signal: correlation above 0.99 in every half second, no silence.
    void playAndCompare(double seconds) {
        const unsigned rate = 44100;
        const auto frames = static_cast<std::size_t>(seconds * rate);
        std::vector<std::int16_t> signal(frames * 2);
        for (std::size_t i = 0; i < frames; ++i) {
            const double t = static_cast<double>(i) / rate;
            const double env = 0.6 + 0.4 * std::sin(2 * M_PI * 0.7 * t);
            const double l = env * (0.3 * std::sin(2 * M_PI * 331 * t) + 0.2 * std::sin(2 * M_PI * 1187 * t));
            const double r = env * (0.3 * std::sin(2 * M_PI * 523 * t) + 0.2 * std::sin(2 * M_PI * 2011 * t));
            signal[i * 2] = static_cast<std::int16_t>(std::lround(l * 32767));
            signal[i * 2 + 1] = static_cast<std::int16_t>(std::lround(r * 32767));
        }
        const std::string wav = fixtures::writeAudio("pulse_signal.wav", signal, 2, rate);
        ASSERT_TRUE(recorder_.start("velvora_test.monitor", seconds + 10)) << "the recorder did not start";

        ASSERT_TRUE(BASS_Init(-1, rate, 0, nullptr, nullptr));
        ASSERT_EQ(engine::testing::outputName(), "PulseAudio");
        const HSTREAM h = BASS_StreamCreateFile(false, wav.c_str(), 0, 0, 0);
        ASSERT_NE(h, 0u);
        ASSERT_TRUE(BASS_ChannelPlay(h, false));
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds + 5);
        while (BASS_ChannelIsActive(h) && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_EQ(BASS_ChannelIsActive(h), 0u) << "the song did not end in time";
        // The engine says the end was heard: a quarter of a second more of the monitor holds it.
        ASSERT_TRUE(recorder_.waitForFrames(recorder_.frames() + rate / 4, std::chrono::seconds(5)))
            << "the monitor stopped delivering";
        const engine::testing::OutputHealth health = engine::testing::outputHealth();
        std::printf("server underflows %u, ring underruns %u, recorder overflows %u\n",
                    health.deviceUnderruns, health.ringUnderruns, recorder_.overflows());
        BASS_Free();
        recorder_.stop();
        ASSERT_EQ(recorder_.overflows(), 0u)
            << "the recorder lost audio: this run says nothing of the player";
        EXPECT_EQ(health.deviceUnderruns, 0u) << "the sound server ran out of audio";
        EXPECT_EQ(health.ringUnderruns, 0u) << "the engine did not decode ahead in time";
        EXPECT_EQ(health.failures, 0u);

        const std::vector<std::int16_t> got = recorder_.samples();
        const pulsetest::Stereo rec{got.data(), nullptr, got.size() / 2};
        const pulsetest::Stereo ref{signal.data(), nullptr, frames};
        const long start = pulsetest::findStart(rec, ref);
        ASSERT_GE(start, 0) << "the signal is not in the recording";
        ASSERT_LE(static_cast<std::size_t>(start) + frames, rec.frames) << "the signal never came out whole";
        const auto breaks = pulsetest::breaksNotInReference(rec, ref, static_cast<std::size_t>(start));
        EXPECT_TRUE(breaks.empty()) << "silence inside the song: " << pulsetest::describe(breaks, start);
        for (std::size_t from : pulsetest::badWindows(rec, ref, static_cast<std::size_t>(start)))
            ADD_FAILURE() << "a dropout or glitch near " << from / double(rate) << " s";
    }

    pulsetest::PrivateServer server_;
    pulsetest::MonitorRecorder recorder_;
};

TEST_F(PulseOutput, QuickPlayComesOutOfTheSinkUnchanged) {
    playAndCompare(3.0);
}

TEST_F(PulseOutput, SlowThirtySecondsWithoutDropouts) {
    playAndCompare(30.0);
}

} // namespace
