// The engine on real time: the no-sound device, whose clock thread consumes the mix as a sound card
// would, with the engine's own threads decoding, mixing and calling back. These tests watch the
// wall clock, so they run on their own (a serial group), never beside other tests.
#include "engine/api.h"
#include "engine/stream_fixtures.h"
#include "engine/testing.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

// Real-time device 0: the engine's own threads decode, mix and call back.
class NoSoundTest : public ::testing::Test {
  protected:
    void SetUp() override {
        engine::testing::useVirtualDevice(false);
        ASSERT_TRUE(BASS_Init(0, 44100, 0, nullptr, nullptr));
    }
    void TearDown() override { BASS_Free(); }
};

TEST_F(NoSoundTest, SleepingAndSelfFreeingSyncsStallNothing) {
    const std::string shortFile = fixtures::writeAudio("rt-short.wav", fixtures::pattern(2205), 2, 44100);
    const std::string longFile = fixtures::writeAudio("rt-long.wav", fixtures::sine(200, 3.0), 2, 44100);
    struct State {
        std::atomic<int> slept{0};
        std::atomic<int> freed{0};
    } state;
    const HSTREAM sleeper = BASS_StreamCreateFile(false, shortFile.c_str(), 0, 0, 0);
    const HSTREAM freer = BASS_StreamCreateFile(false, shortFile.c_str(), 0, 0, 0);
    const HSTREAM other = BASS_StreamCreateFile(false, longFile.c_str(), 0, 0, 0);
    ASSERT_TRUE(sleeper && freer && other);
    BASS_ChannelSetSync(
        sleeper, BASS_SYNC_END, 0,
        [](HSYNC, DWORD, DWORD, void* u) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1000));
            ++static_cast<State*>(u)->slept;
        },
        &state);
    BASS_ChannelSetSync(
        freer, BASS_SYNC_END | BASS_SYNC_MIXTIME, 0,
        [](HSYNC, DWORD ch, DWORD, void* u) { static_cast<State*>(u)->freed += BASS_StreamFree(ch); },
        &state);
    ASSERT_TRUE(BASS_ChannelPlay(other, false));
    ASSERT_TRUE(BASS_ChannelPlay(sleeper, false));
    ASSERT_TRUE(BASS_ChannelPlay(freer, false));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    // The sleeper is inside its callback now; the other channel plays on and the API answers.
    const QWORD a = BASS_ChannelGetPosition(other, BASS_POS_BYTE);
    const auto before = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const QWORD b = BASS_ChannelGetPosition(other, BASS_POS_BYTE);
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(600));
    EXPECT_GT(b, a + 44100 * 4 / 10);
    EXPECT_EQ(state.freed.load(), 1);
    EXPECT_EQ(state.slept.load(), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(700));
    EXPECT_EQ(state.slept.load(), 1);
    EXPECT_EQ(BASS_ChannelIsActive(other), BASS_ACTIVE_PLAYING);
}

TEST_F(NoSoundTest, PositionsMoveOnSmoothlyAndNeverBackwards) {
    const std::string path = fixtures::writeAudio("rt-pos.wav", fixtures::sine(200, 2.0), 2, 44100);
    const HSTREAM src = BASS_StreamCreateFile(false, path.c_str(), 0, 0, BASS_STREAM_DECODE);
    const HSTREAM h = BASS_FX_TempoCreate(src, BASS_FX_FREESOURCE);
    BASS_ChannelSetAttribute(h, BASS_ATTRIB_TEMPO, 10);
    ASSERT_TRUE(BASS_ChannelPlay(h, false));
    QWORD last = 0;
    const auto start = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() - start < std::chrono::milliseconds(400)) {
        const QWORD pos = BASS_ChannelGetPosition(h, BASS_POS_BYTE);
        ASSERT_GE(pos, last);
        last = pos;
        std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
    // About 0.4 s at 110 %, less the device's latency and the start.
    EXPECT_NEAR(static_cast<double>(last) / 4 / 44100, 0.44, 0.08);
}

TEST_F(NoSoundTest, ConsumesTheMixInRealTime) {
    EXPECT_EQ(engine::testing::outputName(), "No sound");
    const std::string path = fixtures::writeAudio("rt-clock.wav", fixtures::sine(300, 3.0), 2, 44100);
    const HSTREAM h = BASS_StreamCreateFile(false, path.c_str(), 0, 0, 0);
    ASSERT_NE(h, 0u);
    ASSERT_TRUE(BASS_ChannelPlay(h, false));
    const auto start = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(std::chrono::milliseconds(800));
    const double heard = BASS_ChannelBytes2Seconds(h, BASS_ChannelGetPosition(h, BASS_POS_BYTE));
    const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    // As fast as the clock and no faster: never ahead of the time gone by, behind it only by the
    // device's 10 ms and the start.
    EXPECT_LE(heard, elapsed);
    EXPECT_GE(heard, elapsed - 0.1);
    EXPECT_EQ(BASS_ChannelIsActive(h), BASS_ACTIVE_PLAYING);
}

TEST(DefaultDevice, AlwaysComesUpEvenWithoutASoundCard) {
    engine::testing::useVirtualDevice(false);
    BASS_Free();
    ASSERT_TRUE(BASS_Init(-1, 44100, 0, nullptr, nullptr));
    EXPECT_FALSE(engine::testing::outputName().empty());
    EXPECT_TRUE(BASS_Free());
    EXPECT_FALSE(BASS_Init(99, 44100, 0, nullptr, nullptr));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_DEVICE);
}

} // namespace
