// Capture from a real PulseAudio server of the test's own: a tone played into a null sink is
// recorded from that sink's monitor, selected among the inputs by name.
#include "engine/api.h"
#include "engine/stream_fixtures.h"
#include "pulse/pulse_server.h"

#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <mutex>
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

struct Recorded {
    std::mutex mutex;
    std::vector<std::int16_t> samples;
};

BOOL keep(HRECORD, const void* buffer, DWORD length, void* user) {
    auto* r = static_cast<Recorded*>(user);
    const auto* s = static_cast<const std::int16_t*>(buffer);
    std::lock_guard lock(r->mutex);
    r->samples.insert(r->samples.end(), s, s + length / 2);
    return 1;
}

class RealDeviceCapture : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!onPath("pulseaudio") || !onPath("paplay") || !onPath("pactl"))
            GTEST_SKIP() << "pulseaudio, paplay or pactl is not installed";
        ASSERT_TRUE(server_.start("pulsecap", {"sink_name=velvora_cap rate=44100 "
                                               "sink_properties=device.description=VelvoraCapture",
                                               "sink_name=velvora_other rate=44100"}))
            << "the test's PulseAudio did not come up";
        dir_ = server_.dir();
        run({"pactl", "set-default-source", "velvora_other.monitor"}); // not the one we want
    }
    void TearDown() override {
        BASS_RecordFree();
        stopProcess(player_);
        server_.stop();
    }
    pulsetest::PrivateServer server_;
    std::filesystem::path dir_;
    pid_t player_ = -1;
};

TEST_F(RealDeviceCapture, MonitorOfANullSinkRecordsTheTonePlayed) {
    ASSERT_TRUE(BASS_RecordInit(0));
    int index = -1;
    for (int i = 0; const char* name = BASS_RecordGetInputName(i); ++i)
        if (std::string(name) == "Monitor of VelvoraCapture") index = i;
    ASSERT_GE(index, 0) << "the sink's monitor is not among the inputs";
    EXPECT_EQ(BASS_RecordGetInput(index, nullptr) & BASS_INPUT_TYPE_MASK, BASS_INPUT_TYPE_WAVE);
    ASSERT_TRUE(BASS_RecordSetInput(index, BASS_INPUT_ON, -1));

    const std::string wav =
        fixtures::writeAudio("cap_tone.wav", fixtures::sine(880, 3.0, 44100, 0.5), 2, 44100);
    Recorded rec;
    const HRECORD h = BASS_RecordStart(44100, 2, 0, &keep, &rec);
    ASSERT_NE(h, 0u) << BASS_ErrorGetCode();
    player_ = spawn({"paplay", "-d", "velvora_cap", wav});
    ASSERT_GT(player_, 0);
    int status = 0;
    waitpid(player_, &status, 0);
    player_ = -1;
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const DWORD level = BASS_ChannelGetLevel(h);
    ASSERT_TRUE(BASS_ChannelStop(h));
    std::lock_guard lock(rec.mutex);
    ASSERT_GT(rec.samples.size(), 44100u * 2); // more than a second arrived
    // The loudest second is the tone: amplitude about half scale, at 880 Hz.
    std::vector<float> frames(rec.samples.size());
    for (std::size_t i = 0; i < frames.size(); ++i) frames[i] = rec.samples[i] / 32768.0f;
    std::size_t best = 0;
    float bestPeak = 0;
    for (std::size_t at = 0; at + 44100 <= frames.size() / 2; at += 4410) {
        float p = 0;
        for (std::size_t i = at; i < at + 44100; ++i) p = std::max(p, std::abs(frames[i * 2]));
        if (p > bestPeak) bestPeak = p, best = at;
    }
    EXPECT_NEAR(bestPeak, 0.5f, 0.05f);
    EXPECT_NEAR(fixtures::zeroCrossingFrequency(frames, best, best + 44100, 44100), 880.0, 2.0);
    (void)level;
}

} // namespace
