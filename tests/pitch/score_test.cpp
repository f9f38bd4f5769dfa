#include "engine/api.h"
#include "pitch/score.h"
#include "pitch/sung_voice.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace velvora::pitch {
namespace {

using testing::detect;
using testing::singMelody;

// Eight notes of 0.6 s with rests of 0.1 s, a tune over an octave and a half.
Melody tune() {
    Melody m;
    m.channel = 3;
    const int keys[] = {57, 60, 64, 67, 72, 69, 65, 62};
    double t = 0.5;
    for (int key : keys) {
        m.notes.push_back({t, t + 0.6, key});
        t += 0.7;
    }
    return m;
}

TEST(FoldedSemitones, AnOctaveAwayIsOnTheNote) {
    EXPECT_NEAR(foldedSemitones(440.0, 69), 0.0, 1e-9);
    EXPECT_NEAR(foldedSemitones(220.0, 69), 0.0, 1e-9);
    EXPECT_NEAR(foldedSemitones(880.0, 57), 0.0, 1e-9);
    EXPECT_NEAR(foldedSemitones(466.16, 69), 1.0, 1e-3);
    EXPECT_NEAR(foldedSemitones(415.30, 69), -1.0, 1e-3);
    EXPECT_NEAR(std::abs(foldedSemitones(440.0 * std::sqrt(2.0), 69)), 6.0, 1e-6) << "a tritone is farthest";
}

TEST(ScoreTake, InTuneAnOctaveDownOrLateByTheRoundTripScoresHighOffBySemitoneLow) {
    const Melody m = tune();
    const double seconds = 7.0;
    const double hop = static_cast<double>(PitchDetector::kHop) / testing::kRate;

    const int inTune = scoreTake(m, detect(singMelody(m, seconds)), hop);
    EXPECT_GE(inTune, 95);
    EXPECT_GE(scoreTake(m, detect(singMelody(m, seconds, -12)), hop), 95) << "an octave lower";
    EXPECT_GE(scoreTake(m, detect(singMelody(m, seconds, 12)), hop), 95) << "an octave higher";
    EXPECT_LE(scoreTake(m, detect(singMelody(m, seconds, 1)), hop), 10) << "a semitone sharp";
    EXPECT_LE(scoreTake(m, detect(singMelody(m, seconds, -1)), hop), 10) << "a semitone flat";

    // Late by a round trip of 120 ms or 250 ms: the same score once the lag is taken off. The
    // first and last tenth of a second of a note are not scored, so only the longer lag shows
    // when it is left on.
    for (const double lag : {0.12, 0.25}) {
        const auto late = detect(singMelody(m, seconds + lag, 0, lag));
        EXPECT_NEAR(scoreTake(m, late, hop, lag), inTune, 1) << lag;
        if (lag > 0.2) {
            EXPECT_LT(scoreTake(m, late, hop, 0.0), inTune - 10);
        }
    }

    // Half the notes sung: about half the score.
    Melody firstHalf = m;
    firstHalf.notes.resize(4);
    EXPECT_NEAR(scoreTake(m, detect(singMelody(firstHalf, seconds)), hop), 50, 5);
}

TEST(ScoreTake, ATraceOnTheClockOfASongPlayedFasterCoversItsNotes) {
    // Sung at +20 %: each reading, a hop of the singer's time, is 1.2 hops of the song's.
    const Melody m = tune();
    const double hop = static_cast<double>(PitchDetector::kHop) / testing::kRate;
    Melody heard = m;
    for (MelodyNote& n : heard.notes) n.start /= 1.2, n.end /= 1.2;
    std::vector<PitchFrame> trace = detect(singMelody(heard, 7.0 / 1.2));
    for (PitchFrame& f : trace) f.seconds *= 1.2;
    EXPECT_GE(scoreTake(m, trace, hop), 95);
    // A trace with a hole of half a second (readings lost) is not credited across it.
    std::vector<PitchFrame> holed = detect(singMelody(m, 7.0));
    holed.erase(std::remove_if(holed.begin(), holed.end(),
                               [](const PitchFrame& f) { return f.seconds > 2.0 && f.seconds < 2.5; }),
                holed.end());
    EXPECT_LT(scoreTake(m, holed, hop), scoreTake(m, detect(singMelody(m, 7.0)), hop) - 5);
}

TEST(ScoreTake, SilenceOrNoMelodyScoresNothing) {
    const Melody m = tune();
    const double hop = static_cast<double>(PitchDetector::kHop) / testing::kRate;
    EXPECT_EQ(scoreTake(m, detect(std::vector<float>(testing::kRate * 7, 0.0f)), hop), 0);
    EXPECT_EQ(scoreTake(m, {}, hop), 0);
    EXPECT_EQ(scoreTake(Melody{}, detect(singMelody(m, 7.0)), hop), 0);
}

} // namespace
} // namespace velvora::pitch
