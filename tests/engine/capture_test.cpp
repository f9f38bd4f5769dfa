// Capture from the virtual input: the supplied samples arrive whole, in order, in ~100 ms blocks.
#include "engine/api.h"
#include "engine/stream_fixtures.h"
#include "engine/testing.h"
#include "engine/virtual_device.h"

#include <gtest/gtest.h>

#include <optional>

#include <cstring>

namespace {

using engine::testing::advance;

struct Take {
    std::vector<std::int16_t> samples;
    std::vector<DWORD> blocks;
    int stopAfter = -1; // return false after this many blocks
    bool stopSelf = false;
};

BOOL takeProc(HRECORD h, const void* buffer, DWORD length, void* user) {
    auto* t = static_cast<Take*>(user);
    const auto* s = static_cast<const std::int16_t*>(buffer);
    t->samples.insert(t->samples.end(), s, s + length / 2);
    t->blocks.push_back(length);
    if (t->stopSelf && t->blocks.size() == 2) BASS_ChannelStop(h);
    return t->stopAfter < 0 || static_cast<int>(t->blocks.size()) < t->stopAfter;
}

class CaptureTest : public ::testing::Test {
  protected:
    void SetUp() override {
        device_.emplace(
            fixtures::VirtualDevice::Options{.inputs = {{"Virtual Microphone", true}, {"Line In", false}}});
        ASSERT_TRUE(device_->opened());
        ASSERT_TRUE(BASS_RecordInit(0));
    }
    void TearDown() override { device_.reset(); }
    std::optional<fixtures::VirtualDevice> device_;
};

TEST_F(CaptureTest, TakeAndMeterCaptureTheSuppliedSamplesAtOnce) {
    const auto input = fixtures::pattern(44100 * 2);
    engine::testing::pushCaptureInput(input);
    Take take, meter, quick;
    const HRECORD a = BASS_RecordStart(44100, 2, 0, &takeProc, &take);
    const HRECORD b = BASS_RecordStart(44100, 2, 0, &takeProc, &meter);
    // A capture that asks for 10 ms blocks in the high word of its flags.
    const HRECORD c = BASS_RecordStart(44100, 2, 10u << 16, &takeProc, &quick);
    ASSERT_NE(a, 0u);
    ASSERT_NE(b, 0u);
    ASSERT_NE(c, 0u);
    EXPECT_EQ(BASS_ChannelIsActive(a), BASS_ACTIVE_PLAYING);
    for (int i = 0; i < 200; ++i) advance(441); // 2 s in uneven steps
    ASSERT_EQ(take.samples.size(), input.size());
    EXPECT_TRUE(take.samples == input); // no gap, no repeat, exact 16-bit
    EXPECT_TRUE(meter.samples == input);
    for (DWORD len : take.blocks) EXPECT_EQ(len, 4410u * 4); // 100 ms blocks
    EXPECT_TRUE(quick.samples == input);
    for (DWORD len : quick.blocks) EXPECT_EQ(len, 441u * 4);
    EXPECT_TRUE(BASS_ChannelStop(c));
    // The level: the last 20 ms captured (silence now) then, with loud input, near full scale.
    advance(4410); // the input has run out: silence
    EXPECT_EQ(BASS_ChannelGetLevel(a), 0u);
    engine::testing::pushCaptureInput(fixtures::sine(1000, 0.1, 44100, 0.5));
    advance(2205);
    const DWORD level = BASS_ChannelGetLevel(b);
    EXPECT_NEAR(static_cast<double>(level & 0xffff), 16384, 200);
    EXPECT_NEAR(static_cast<double>(level >> 16), 16384, 200);
    ASSERT_TRUE(BASS_ChannelStop(a));
    EXPECT_EQ(BASS_ChannelIsActive(a), BASS_ACTIVE_STOPPED);
    EXPECT_EQ(BASS_ChannelGetLevel(a), ~DWORD{0});
    EXPECT_FALSE(BASS_StreamFree(a)); // already gone with the stop
    const std::size_t before = take.samples.size();
    advance(44100);
    EXPECT_EQ(take.samples.size(), before);
    EXPECT_GT(meter.samples.size(), input.size());
}

TEST_F(CaptureTest, InputLevelIsAGainAndMonoAndOtherRatesConvert) {
    std::vector<std::int16_t> input(44100 * 2);
    for (std::size_t i = 0; i < input.size(); ++i)
        input[i] = static_cast<std::int16_t>(i % 2 ? -10000 : 20000);
    engine::testing::pushCaptureInput(input);
    ASSERT_TRUE(BASS_RecordSetInput(0, 0, 0.5f));
    Take stereo, mono, low;
    ASSERT_NE(BASS_RecordStart(44100, 2, 0, &takeProc, &stereo), 0u);
    ASSERT_NE(BASS_RecordStart(44100, 1, 0, &takeProc, &mono), 0u);
    ASSERT_NE(BASS_RecordStart(22050, 2, 0, &takeProc, &low), 0u);
    advance(44100);
    ASSERT_EQ(stereo.samples.size(), input.size());
    EXPECT_EQ(stereo.samples[0], 10000);
    EXPECT_EQ(stereo.samples[1], -5000);
    ASSERT_EQ(mono.samples.size(), 44100u);
    EXPECT_EQ(mono.samples[100], 2500);
    EXPECT_EQ(mono.blocks[0], 4410u * 2);
    ASSERT_EQ(low.samples.size(), 44100u);
    EXPECT_EQ(low.blocks[0], 2205u * 4);
    EXPECT_EQ(low.samples[1000], 10000);
}

TEST_F(CaptureTest, FalseEndsTheCaptureAndAStopFromTheCallbackIsSafe) {
    engine::testing::pushCaptureInput(fixtures::pattern(44100));
    Take ends, stops;
    ends.stopAfter = 3;
    stops.stopSelf = true;
    const HRECORD a = BASS_RecordStart(44100, 2, 0, &takeProc, &ends);
    const HRECORD b = BASS_RecordStart(44100, 2, 0, &takeProc, &stops);
    advance(44100);
    EXPECT_EQ(ends.blocks.size(), 3u);
    EXPECT_EQ(stops.blocks.size(), 2u);
    EXPECT_EQ(BASS_ChannelIsActive(a), BASS_ACTIVE_STOPPED);
    EXPECT_EQ(BASS_ChannelIsActive(b), BASS_ACTIVE_STOPPED);
}

// The engine's account of a take: how long the capture had run when the song was started, and
// when the song's first frame was heard, on the output's clock.
TEST_F(CaptureTest, TheOffsetOfACaptureToASongPlayedMeanwhileIsOnTheOutputsClock) {
    const std::string song = fixtures::writeAudio("offset_song.wav", fixtures::sine(440, 2), 2, 44100);
    const HSTREAM chan = BASS_StreamCreateFile(0, song.c_str(), 0, 0, 0);
    ASSERT_NE(chan, 0u);
    Take take, meter;
    const HRECORD rec = BASS_RecordStart(44100, 2, 0, &takeProc, &take);
    ASSERT_NE(rec, 0u);
    double started = -1, heard = -1;
    EXPECT_FALSE(BASS_RecordGetOffset(rec, chan, &started, &heard)) << "no sample yet, nothing played";
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_NOPLAY);
    advance(4410 + 512 * 3); // the capture runs 100 ms and three blocks before the song starts
    EXPECT_FALSE(BASS_RecordGetOffset(rec, chan, &started, &heard)) << "the song was never played";
    ASSERT_TRUE(BASS_ChannelPlay(chan, 0));
    const HRECORD late = BASS_RecordStart(44100, 2, 0, &takeProc, &meter); // joins after the start
    ASSERT_NE(late, 0u);
    advance(4410);
    ASSERT_TRUE(BASS_RecordGetOffset(rec, chan, &started, &heard));
    EXPECT_NEAR(started, (4410 + 512 * 3) / 44100.0, 1e-9);
    // Heard when the output played it: the virtual device plays a block as soon as it is rendered.
    EXPECT_NEAR(heard, started, 1.0 / 44100);
    double lateStarted = 0;
    ASSERT_TRUE(BASS_RecordGetOffset(late, chan, &lateStarted, nullptr));
    EXPECT_NEAR(lateStarted, 0.0, 1e-9) << "its first sample came with the first block after the start";
    EXPECT_FALSE(BASS_RecordGetOffset(chan, chan, &started, &heard)) << "not a capture";
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_HANDLE);
    EXPECT_FALSE(BASS_RecordGetOffset(rec, 0, &started, &heard));
    BASS_StreamFree(chan);
}

TEST_F(CaptureTest, WithoutADeviceOrInputCaptureFailsCleanly) {
    Take t;
    EXPECT_EQ(BASS_RecordStart(44100, 2, 0, nullptr, nullptr), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_ILLPARAM);
    EXPECT_EQ(BASS_RecordStart(44100, 2, 4u << 16, &takeProc, &t), 0u) << "a period below 5 ms";
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_ILLPARAM);
    ASSERT_TRUE(BASS_RecordSetInput(0, BASS_INPUT_OFF, -1));
    EXPECT_EQ(BASS_RecordStart(44100, 2, 0, &takeProc, &t), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_DEVICE);
    ASSERT_TRUE(BASS_RecordFree());
    EXPECT_EQ(BASS_RecordStart(44100, 2, 0, &takeProc, &t), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_INIT);
    engine::testing::setVirtualInputs({});
    EXPECT_FALSE(BASS_RecordInit(0));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_DEVICE);
    EXPECT_EQ(BASS_RecordStart(44100, 2, 0, &takeProc, &t), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_INIT);
    engine::testing::setVirtualInputs({{"Virtual Microphone", true}});
    ASSERT_TRUE(BASS_RecordInit(0));
}

} // namespace
