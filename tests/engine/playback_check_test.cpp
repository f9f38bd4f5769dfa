// The comparison the real-device tests and the soak judge the sound by: a recording that slipped
// (a dropout that delayed the rest of the song, or a skip that lost some of it) must count as one
// break at its place, not as every half second after it.
#include "pulse/playback_check.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

namespace {

constexpr std::size_t kRate = 44100;

// Loud, non-repeating stereo "music": noise through a gentle low-pass.
std::vector<std::int16_t> song(std::size_t frames) {
    std::mt19937 random(7);
    std::normal_distribution<double> noise(0, 0.2);
    std::vector<std::int16_t> out(frames * 2);
    double l = 0, r = 0;
    for (std::size_t i = 0; i < frames; ++i) {
        l = 0.7 * l + 0.3 * noise(random);
        r = 0.7 * r + 0.3 * noise(random);
        out[i * 2] = static_cast<std::int16_t>(l * 32767);
        out[i * 2 + 1] = static_cast<std::int16_t>(r * 32767);
    }
    return out;
}

// `lead` frames of silence, then the song, with `slip` frames of silence inserted at `at` (a
// dropout) or, when negative, -slip frames of the song left out there (a skip).
std::vector<std::int16_t> recording(const std::vector<std::int16_t>& s, std::size_t lead, std::size_t at,
                                    long slip) {
    std::vector<std::int16_t> out(lead * 2, 0);
    out.insert(out.end(), s.begin(), s.begin() + static_cast<long>(at * 2));
    if (slip > 0) out.insert(out.end(), static_cast<std::size_t>(slip) * 2, 0);
    out.insert(out.end(), s.begin() + static_cast<long>(at * 2) + (slip < 0 ? -slip * 2 : 0), s.end());
    out.insert(out.end(), kRate * 2, 0);
    return out;
}

TEST(PlaybackCheck, ADropoutOrASkipIsFollowedAndCountedOnce) {
    const std::vector<std::int16_t> want = song(20 * kRate);
    const pulsetest::Stereo ref{want.data(), nullptr, want.size() / 2};
    const std::size_t lead = 3000, at = 10 * kRate + 1234;
    for (const long slip : {800L, -500L}) {
        SCOPED_TRACE(slip);
        const std::vector<std::int16_t> got = recording(want, lead, at, slip);
        const pulsetest::Stereo rec{got.data(), nullptr, got.size() / 2};
        const long start = pulsetest::findStart(rec, ref);
        ASSERT_EQ(start, static_cast<long>(lead));

        // Judged from the start alone, every window after the slip is wrong.
        EXPECT_GE(pulsetest::badWindows(rec, ref, lead).size(), 19u);

        const auto pieces = pulsetest::followAlignment(rec, ref, lead);
        ASSERT_EQ(pieces.size(), 2u);
        EXPECT_EQ(pieces[1].offset - pieces[0].offset, slip);
        EXPECT_LE(pieces[1].refFrom, at + kRate / 2 + 1);
        EXPECT_GT(pieces[1].refFrom, at);
        const auto bad = pulsetest::badWindows(rec, ref, pieces);
        ASSERT_EQ(bad.size(), 1u);
        EXPECT_LE(bad[0], at);
        EXPECT_GT(bad[0] + kRate / 2, at);
        EXPECT_EQ(pulsetest::placeInRecording(pieces, 15 * kRate), lead + 15 * kRate + slip);

        const auto breaks = pulsetest::breaksNotInReference(rec, ref, pieces);
        if (slip > 0) {
            ASSERT_EQ(breaks.size(), 1u) << pulsetest::describe(breaks, lead);
            EXPECT_EQ(breaks[0].from, lead + at);
            EXPECT_EQ(breaks[0].frames, static_cast<std::size_t>(slip));
        } else {
            EXPECT_TRUE(breaks.empty()) << pulsetest::describe(breaks, lead);
        }
    }
}

TEST(PlaybackCheck, AnUnbrokenRecordingIsOnePieceWithoutFaults) {
    const std::vector<std::int16_t> want = song(6 * kRate);
    const pulsetest::Stereo ref{want.data(), nullptr, want.size() / 2};
    const std::vector<std::int16_t> got = recording(want, 500, 0, 0);
    const pulsetest::Stereo rec{got.data(), nullptr, got.size() / 2};
    const auto pieces = pulsetest::followAlignment(rec, ref, 500);
    EXPECT_EQ(pieces.size(), 1u);
    EXPECT_TRUE(pulsetest::badWindows(rec, ref, pieces).empty());
    EXPECT_TRUE(pulsetest::breaksNotInReference(rec, ref, pieces).empty());
}

} // namespace
