// Tempo detection on generated click tracks.
#include "engine/api.h"
#include "engine/stream_fixtures.h"
#include "engine/testing.h"
#include "engine/virtual_device.h"

#include <gtest/gtest.h>

#include <optional>

#include <atomic>

namespace {

std::vector<std::int16_t> clicks(double bpm, double seconds) {
    const int rate = 44100;
    std::vector<std::int16_t> out(static_cast<std::size_t>(seconds * rate) * 2, 0);
    const double beat = 60.0 / bpm * rate;
    for (double at = 0; at < seconds * rate; at += beat)
        for (int i = 0; i < 2000 && static_cast<std::size_t>(at) + i < out.size() / 2; ++i) {
            const auto v = static_cast<std::int16_t>(20000 * std::exp(-i / 300.0) * std::sin(i * 0.3));
            out[(static_cast<std::size_t>(at) + i) * 2] = out[(static_cast<std::size_t>(at) + i) * 2 + 1] = v;
        }
    return out;
}

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
