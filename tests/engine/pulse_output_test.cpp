// Real output through a PulseAudio server of the test's own: a null sink whose monitor parec
// records while the engine plays on the default device.
#include "engine/api.h"
#include "engine/stream_fixtures.h"
#include "engine/pulse_server.h"
#include "engine/testing.h"

#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <optional>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace {

using pulsetest::onPath;
using pulsetest::run;
using pulsetest::spawn;
using pulsetest::stopProcess;

class PulseOutput : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!onPath("pulseaudio") || !onPath("parec") || !onPath("pactl"))
            GTEST_SKIP() << "pulseaudio, parec or pactl is not installed";
        engine::testing::useVirtualDevice(false);
        ASSERT_TRUE(server_.start("pulse", {"sink_name=velvora_test rate=44100"}))
            << "the test's PulseAudio did not come up";
        dir_ = server_.dir();
        run({"pactl", "set-default-sink", "velvora_test"});
    }
    void TearDown() override {
        BASS_Free();
        stopProcess(recorder_);
        server_.stop();
    }

    // Plays `seconds` of a test signal on device -1 while recording the sink's monitor, and checks
    // that the recording is the signal: correlation above 0.99 in every half second.
    void playAndCompare(double seconds) {
        const int rate = 44100;
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
        const std::string raw = (dir_ / "recorded.raw").string();
        recorder_ = spawn({"parec", "-d", "velvora_test.monitor", "--raw", "--format=s16le", "--rate=44100",
                           "--channels=2"},
                          raw);
        ASSERT_GT(recorder_, 0);
        std::this_thread::sleep_for(std::chrono::milliseconds(300));

        ASSERT_TRUE(BASS_Init(-1, 44100, 0, nullptr, nullptr));
        ASSERT_NE(engine::testing::outputName(), "No sound");
        const HSTREAM h = BASS_StreamCreateFile(false, wav.c_str(), 0, 0, 0);
        ASSERT_NE(h, 0u);
        ASSERT_TRUE(BASS_ChannelPlay(h, false));
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds + 5);
        while (BASS_ChannelIsActive(h) && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_EQ(BASS_ChannelIsActive(h), 0u) << "the song did not end in time";
        std::this_thread::sleep_for(std::chrono::milliseconds(400));
        BASS_Free();
        stopProcess(recorder_);
        recorder_ = -1;

        std::ifstream in(raw, std::ios::binary);
        const std::string rec((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        std::vector<std::int16_t> got(rec.size() / 2);
        std::memcpy(got.data(), rec.data(), got.size() * 2);
        const std::size_t gotFrames = got.size() / 2;
        ASSERT_GT(gotFrames, frames) << "recorded less than was played";

        // Where the signal starts in the recording: the best match of its first 4096 frames.
        std::size_t onset = 0;
        while (onset < gotFrames && std::abs(got[onset * 2]) < 300 && std::abs(got[onset * 2 + 1]) < 300)
            ++onset;
        ASSERT_LT(onset + frames, gotFrames + 1) << "the signal never came out whole";
        const auto corr = [&](std::size_t offset, std::size_t from, std::size_t count) {
            double sxy = 0, sxx = 0, syy = 0;
            for (std::size_t i = from; i < from + count; ++i)
                for (int c = 0; c < 2; ++c) {
                    const double x = signal[i * 2 + c], y = got[(i + offset) * 2 + c];
                    sxy += x * y;
                    sxx += x * x;
                    syy += y * y;
                }
            return sxx > 0 && syy > 0 ? sxy / std::sqrt(sxx * syy) : 0.0;
        };
        std::size_t best = 0;
        double bestCorr = -1;
        for (std::size_t off = onset > 200 ? onset - 200 : 0; off < onset + 200 && off + frames <= gotFrames;
             ++off) {
            const double c = corr(off, 0, 4096);
            if (c > bestCorr) {
                bestCorr = c;
                best = off;
            }
        }
        ASSERT_GT(bestCorr, 0.99);
        const std::size_t window = rate / 2;
        for (std::size_t from = 0; from + window <= frames; from += window)
            ASSERT_GT(corr(best, from, window), 0.99)
                << "a dropout or glitch near " << from / double(rate) << " s";
        EXPECT_GT(corr(best, 0, frames), 0.99);
    }

    std::filesystem::path dir_;
    pulsetest::PrivateServer server_;
    pid_t recorder_ = -1;
};

TEST_F(PulseOutput, QuickPlayComesOutOfTheSinkUnchanged) {
    playAndCompare(3.0);
}

TEST_F(PulseOutput, SlowThirtySecondsWithoutDropouts) {
    playAndCompare(30.0);
}

} // namespace
