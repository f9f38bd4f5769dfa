#include "karaoke/lyric_test_support.h"

#include <map>
#include <string>
#include <vector>

namespace velvora::testing {
namespace {

class LyricTiming : public LyricFixture {
  protected:
    // A KAR-like song: two lines of syllables, half a millisecond per tick.
    void SetUp() override {
        LyricFixture::SetUp();
        fillWords({{100, "HEL", 1},
                   {300, "LO ", 1},
                   {400, "WORLD", 1},
                   {1000, "SE", 2},
                   {1200, "COND", 2},
                   {2000, "END", 3}},
                  0.5);
        app->s.midiActive = true;
        app->s.lyricPos = 0;
        app->tmr.Timer1->setEnabled(true);
    }

    // Plays the song: at each ms in `marks` the engine "hears" the mark and stores its tick;
    // returns the ms at which each word index was reached (lyricPos moved onto the next).
    std::map<int, long long> play(const std::map<long long, int>& marks, long long totalMs) {
        std::map<int, long long> paintedAt;
        int last = app->s.lyricPos;
        for (long long ms = 0; ms < totalMs; ++ms) {
            auto it = marks.find(clock.nowMs());
            if (it != marks.end()) app->s.lyricTick = it->second;
            clock.advance(1);
            if (app->s.lyricPos != last) {
                last = app->s.lyricPos;
                // The word painted is the one before the new position.
                paintedAt[last - 1] = clock.nowMs();
            }
        }
        return paintedAt;
    }
};

TEST_F(LyricTiming, FirstStepOfTheSessionPaintsTheSentinelAtOnce) {
    EXPECT_EQ(app->s.timing.wordsRunning, 0);
    clock.advance(1);
    EXPECT_EQ(app->s.lyricPos, 1);
    EXPECT_EQ(app->s.timing.wordsRunning, -1);
    EXPECT_EQ(app->s.painter.currentLine, 0);
    // The page of lines 0 to 3 stands: line 1 in black at 70, lines 2 and 3 white below.
    EXPECT_FALSE(pixelBox(page(), isBlack, 71, 106).empty());
    EXPECT_FALSE(pixelBox(page(), isWhite, 131, 196).empty());
    EXPECT_EQ(pixelBox(page(), isRed).count, 0);
    // Nothing is due yet: later ticks leave the position where it is.
    clock.advance(20);
    EXPECT_EQ(app->s.lyricPos, 1);
}

TEST_F(LyricTiming, EachWordIsPaintedAtTheTickOfItsMark) {
    clock.advance(1); // the sentinel
    const long long t0 = clock.nowMs();
    const std::map<long long, int> marks = {{t0 + 10, 100},   {t0 + 50, 300},   {t0 + 60, 400},
                                            {t0 + 200, 1000}, {t0 + 260, 1200}, {t0 + 400, 2000}};
    const auto painted = play(marks, 600);
    ASSERT_EQ(painted.size(), 5u);
    EXPECT_EQ(painted.at(1), t0 + 11);
    EXPECT_EQ(painted.at(2), t0 + 51);
    EXPECT_EQ(painted.at(3), t0 + 61);
    EXPECT_EQ(painted.at(4), t0 + 201);
    EXPECT_EQ(painted.at(5), t0 + 261);
    // The last word is never painted, though its mark was heard.
    EXPECT_EQ(painted.count(6), 0u);
    EXPECT_EQ(app->s.lyricPos, 6);
    EXPECT_EQ(app->s.painter.currentLine, 2);
    // The page after "COND": line 2 is current at 130 and sung to its end.
    EXPECT_FALSE(pixelBox(page(), isRed, 131, 166).empty());
}

TEST_F(LyricTiming, OverdueWordsFollowOnePerTick) {
    clock.advance(1);
    app->s.lyricTick = 1200; // a jump: five words are due at once
    const long long t = clock.nowMs();
    const auto painted = play({}, 20);
    ASSERT_EQ(painted.size(), 5u);
    for (int k = 1; k <= 5; ++k) EXPECT_EQ(painted.at(k), t + k) << "word " << k;
    EXPECT_EQ(app->s.lyricPos, 6);
}

TEST_F(LyricTiming, WordIsDueAtItsExactTimeNotBefore) {
    clock.advance(1);
    app->s.lyricTick = 99;
    clock.advance(5);
    EXPECT_EQ(app->s.lyricPos, 1);
    app->s.lyricTick = 100; // 100 x 0.5 = 50 = TimeMs of the first word
    clock.advance(1);
    EXPECT_EQ(app->s.lyricPos, 2);
}

TEST_F(LyricTiming, CoarseTimerStillPaintsAtTheFirstTickAfterTheMark) {
    app->tmr.Timer1->setInterval(16);
    clock.advance(16); // the sentinel
    const long long t0 = clock.nowMs();
    const auto painted = play({{t0 + 3, 100}, {t0 + 20, 300}, {t0 + 21, 400}}, 100);
    ASSERT_EQ(painted.size(), 3u);
    EXPECT_EQ(painted.at(1), t0 + 16);
    EXPECT_EQ(painted.at(2), t0 + 32);
    EXPECT_EQ(painted.at(3), t0 + 48); // one word per tick, even when both are due
}

TEST_F(LyricTiming, LaterSongsPaintNothingBeforeTheirFirstWord) {
    clock.advance(1);
    app->s.lyricTick = 400;
    clock.advance(10);
    ASSERT_EQ(app->s.lyricPos, 4);
    // A new song starts: the position goes back to 0, the session flag stays.
    app->s.lyricTick = 0;
    app->s.lyricPos = 0;
    app->ui.Picture3->image().fill(QColor(0, 200, 0));
    clock.advance(10);
    EXPECT_EQ(app->s.lyricPos, 1);
    EXPECT_EQ(app->s.timing.wordsRunning, -1);
    EXPECT_EQ(page().pixel(100, 100), QColor(0, 200, 0).rgb());
    app->s.lyricTick = 100;
    clock.advance(1);
    EXPECT_EQ(app->s.lyricPos, 2);
    EXPECT_NE(page().pixel(100, 100), QColor(0, 200, 0).rgb());
}

TEST_F(LyricTiming, ShortListsStopBeforePainting) {
    for (int words : {0, 1}) {
        fillWords(words == 0 ? std::vector<Syllable>{} : std::vector<Syllable>{{0, "ONE", 1}}, 0.5);
        app->s.lyricPos = 0;
        app->s.timing.wordsRunning = 0;
        app->ui.Picture3->image().fill(QColor(0, 200, 0));
        clock.advance(10);
        EXPECT_EQ(app->s.lyricPos, 1) << words;
        EXPECT_EQ(app->s.timing.wordsRunning, 0) << words;
        EXPECT_EQ(pixelBox(page(), [](QRgb p) { return p != QColor(0, 200, 0).rgb(); }).count, 0) << words;
    }
}

TEST_F(LyricTiming, ZeroMsPerTickStepsEveryWordFromTheStart) {
    fillWords({{100, "A", 1}, {200, "B", 1}, {300, "C", 1}, {400, "D", 2}}, 0.0);
    const auto painted = play({}, 10);
    // Sentinel, then words 1 to 3 one per tick; word 4 is the last and stays unpainted.
    EXPECT_EQ(painted.size(), 4u);
    EXPECT_EQ(app->s.lyricPos, 4);
}

TEST_F(LyricTiming, NextLineOutOfRangeDoesNotStopThePaint) {
    // The next word's line is the last one: its following line is past shownLines.
    fillWords({{10, "A", 1}, {20, "B", 2}, {30, "C", 2}}, 1.0);
    app->s.words.shownLines.resize(2); // lines 0 and 1 only
    app->s.lyricTick = 1000;
    clock.advance(5);
    EXPECT_EQ(app->s.lyricPos, 3);
    EXPECT_EQ(app->s.painter.currentLine, 2);
}

TEST_F(LyricTiming, AudioClockIsTheWholeMillisecondsOfLyricClock) {
    app->s.midiActive = false;
    fillWords({{1, "ONE", 1}, {2, "TWO", 1}, {3, "THREE", 2}}, 1000.0); // 1 s, 2 s, 3 s
    clock.advance(1);
    ASSERT_EQ(app->s.lyricPos, 1);
    app->s.lyricTick = 5; // the MIDI clock is not the one read
    karaoke::SampleLyricClock(*app, [] { return 0.9999; });
    clock.advance(5);
    EXPECT_EQ(app->s.lyricPos, 1);
    karaoke::SampleLyricClock(*app, [] { return 1.0; });
    clock.advance(1);
    EXPECT_EQ(app->s.lyricPos, 2);
    karaoke::SampleLyricClock(*app, [] { return 2.0004; });
    clock.advance(1);
    EXPECT_EQ(app->s.lyricPos, 3);
    EXPECT_EQ(app->s.painter.currentLine, 1);
}

TEST_F(LyricTiming, EventLoopGetsItsTurnBeforeTheAudioClockIsRead) {
    app->s.midiActive = false;
    fillWords({{1, "ONE", 1}, {2, "TWO", 1}, {3, "THREE", 2}}, 1000.0);
    auto& t1 = *app->tmr.Timer1;
    auto& sampler = *app->tmr.tmrSYLTmp3;
    t1.setEnabled(false);
    t1.setInterval(10);
    sampler.setInterval(10);
    // The sampler reads the virtual clock as the song's position.
    sampler.onTick = [this] {
        karaoke::SampleLyricClock(*app, [this] { return static_cast<double>(clock.nowMs()) / 1000.0; });
    };
    const long long start = clock.nowMs();
    t1.setEnabled(true);
    sampler.setEnabled(true);
    // Both fall due together and the word step runs first: only its turn of the event loop lets
    // the sampler store 1.000 s before the comparison.
    ASSERT_TRUE(clock.advanceUntil([this] { return app->s.lyricPos == 2; }, 2000, 1));
    EXPECT_EQ(clock.nowMs() - start, 1000);
}

TEST_F(LyricTiming, ClockSamplerFollowsThePackageStemOrTheMainChannel) {
    app->s.chan = 11;
    app->s.stems = {22, 33, 44};
    app->s.FileName = "/songs/a.mp3";
    EXPECT_EQ(karaoke::LyricClockHandle(*app), 11u);
    app->s.FileName = "/songs/a.nvk";
    EXPECT_EQ(karaoke::LyricClockHandle(*app), 22u);
    app->s.FileName = "NVK";
    EXPECT_EQ(karaoke::LyricClockHandle(*app), 22u);
    app->s.FileName = "VK";
    EXPECT_EQ(karaoke::LyricClockHandle(*app), 11u);

    // With no live channel the engine answers -1 seconds: no word becomes due.
    app->s.chan = 0;
    app->s.FileName = "a.wav";
    app->s.timing.lyricClock = 12.5;
    app->tmr.tmrSYLTmp3->setEnabled(true);
    clock.advance(10);
    EXPECT_EQ(app->s.timing.lyricClock, -1.0);
}

TEST_F(LyricTiming, PlayTimerRenewsItsIntervalAndTouchesNoWords) {
    app->tmr.Timer1->setEnabled(false);
    app->tmr.PlayTimer->setInterval(7);
    app->tmr.PlayTimer->setEnabled(true);
    clock.advance(7);
    EXPECT_EQ(app->tmr.PlayTimer->interval(), 100);
    EXPECT_EQ(app->s.lyricPos, 0);
    EXPECT_EQ(app->s.timing.wordsRunning, 0);
}

} // namespace
} // namespace velvora::testing
