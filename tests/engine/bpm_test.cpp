// Tempo detection on generated click tracks.
#include "engine/api.h"
#include "engine/stream_fixtures.h"
#include "engine/testing.h"
#include "engine/virtual_device.h"
#include "support/click_track.h"

#include <gtest/gtest.h>

#include <optional>

#include <atomic>

namespace {

using testing_clicks::clicks;

class BpmTest : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(device_.emplace().opened()); }
    void TearDown() override { device_.reset(); }
    std::optional<fixtures::VirtualDevice> device_;
};

TEST_F(BpmTest, DecodeGetMeasuresASpanAndAShortFileToItsEnd) {
    const std::string path = fixtures::writeAudio("bpm120.wav", clicks(120, 20), 2, 44100);
    const HSTREAM h = BASS_StreamCreateFile(false, path.c_str(), 0, 0, BASS_STREAM_DECODE);
    ASSERT_NE(h, 0u);
    int progress = 0;
    const float bpm = BASS_FX_BPM_DecodeGet(
        h, 0, 30, 0, 0, [](DWORD, float, void* u) { ++*static_cast<int*>(u); }, &progress);
    EXPECT_NEAR(bpm, 120.0f, 1.0f);
    EXPECT_GT(progress, 0);
    EXPECT_EQ(BASS_ChannelGetPosition(h, BASS_POS_BYTE), 0u); // left where it was
    // Folded into a range.
    EXPECT_NEAR(BASS_FX_BPM_DecodeGet(h, 0, 30, 150 | (300u << 16), 0, nullptr, nullptr), 240.0f, 2.0f);
    // Silence has no tempo; bad spans and non-decoding channels fail.
    const HSTREAM quiet = BASS_StreamCreateFile(
        false,
        fixtures::writeAudio("quiet.wav", std::vector<std::int16_t>(44100 * 2 * 5, 0), 2, 44100).c_str(), 0,
        0, BASS_STREAM_DECODE);
    EXPECT_EQ(BASS_FX_BPM_DecodeGet(quiet, 0, 5, 0, 0, nullptr, nullptr), 0.0f);
    EXPECT_EQ(BASS_FX_BPM_DecodeGet(h, 5, 2, 0, 0, nullptr, nullptr), 0.0f);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_ILLPARAM);
    const HSTREAM play = BASS_StreamCreateFile(false, path.c_str(), 0, 0, 0);
    EXPECT_EQ(BASS_FX_BPM_DecodeGet(play, 0, 5, 0, 0, nullptr, nullptr), 0.0f);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_DECODE);
    EXPECT_TRUE(BASS_FX_BPM_BeatFree(h));
    EXPECT_FALSE(BASS_FX_BPM_BeatFree(0));
}

// The detector alone locks on a bar or a half bar of these (58 for 175, 47.5 for 95, 30 for 60 with
// a kick); the figure must be the beat.
TEST_F(BpmTest, DecodeGetGivesTheBeatAPersonWouldTap) {
    for (const auto& [truth, kicks] :
         {std::pair{175.0, false}, {180.0, true}, {95.0, true}, {60.0, false}, {60.0, true}, {140.0, true}}) {
        const std::string path = fixtures::writeAudio("beat.wav", clicks(truth, 30, kicks), 2, 44100);
        const HSTREAM h = BASS_StreamCreateFile(false, path.c_str(), 0, 0, BASS_STREAM_DECODE);
        ASSERT_NE(h, 0u);
        EXPECT_NEAR(BASS_FX_BPM_DecodeGet(h, 0, 30, 0, 0, nullptr, nullptr), truth, 1.0)
            << truth << (kicks ? " with kicks" : " clicks");
        // Asked for a slower range, the half tempo.
        EXPECT_NEAR(BASS_FX_BPM_DecodeGet(h, 0, 30, 30 | (static_cast<DWORD>(truth * 0.7) << 16), 0, nullptr,
                                          nullptr),
                    truth / 2, 1.0)
            << truth;
        BASS_StreamFree(h);
    }
}

struct Reports {
    std::vector<float> bpms;
};

TEST_F(BpmTest, CallbackReportsEachPeriodHeard) {
    const std::string path = fixtures::writeAudio("bpm100.wav", clicks(100, 30), 2, 44100);
    const HSTREAM h = BASS_StreamCreateFile(false, path.c_str(), 0, 0, 0);
    Reports r;
    ASSERT_TRUE(BASS_FX_BPM_CallbackSet(
        h, [](DWORD, float bpm, void* u) { static_cast<Reports*>(u)->bpms.push_back(bpm); }, 8.0, 0, 2, &r));
    ASSERT_TRUE(BASS_ChannelPlay(h, false));
    engine::testing::advance(44100 * 7);
    EXPECT_TRUE(r.bpms.empty()); // the first span is not heard yet
    engine::testing::advance(44100 * 10);
    ASSERT_EQ(r.bpms.size(), 2u);
    for (float b : r.bpms) EXPECT_NEAR(b, 100.0f, 1.0f);
    ASSERT_TRUE(BASS_FX_BPM_Free(h));
    engine::testing::advance(44100 * 10);
    EXPECT_EQ(r.bpms.size(), 2u);
    EXPECT_FALSE(BASS_FX_BPM_CallbackSet(h, nullptr, 8.0, 0, 0, nullptr));
}

} // namespace
