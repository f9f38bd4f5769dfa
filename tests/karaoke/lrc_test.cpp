#include "karaoke/lrc_reader.h"
#include "karaoke/lyric_test_support.h"

#include <fstream>
#include <random>
#include <string>

namespace velvora::testing {
namespace {

class LrcReader : public LyricFixture {
  protected:
    void load(std::string text) { karaoke::Show_Lyrics(*app, text); }
    const WordModel& model() const { return app->s.words; }
    const WordRec& word(std::size_t i) const { return app->s.words.wordList.at(i); }

    void writeFile(const std::string& name, const std::string& bytes) {
        std::ofstream(folder.path() / name, std::ios::binary) << bytes;
        app->s.timing.lyricFilePath = (folder.path() / name).string();
    }
};

TEST_F(LrcReader, EachStampedLineBecomesOneWordOnItsOwnLine) {
    load("[00:12]Hello there\r\n[01:05.50]Second line\r\n[01:05]third\r\n");
    const WordModel& m = model();
    ASSERT_EQ(m.wordList.size(), 4u);
    EXPECT_TRUE(m.lyricsPresent);
    EXPECT_EQ(word(0).Length, 42);
    EXPECT_EQ(word(0).TimeMs, 0);
    EXPECT_EQ(word(1).TimeMs, 12000);
    EXPECT_EQ(word(1).SpanMs, 12000);
    EXPECT_EQ(word(1).Text, "HELLO THERE");
    EXPECT_EQ(word(1).Length, 11);
    EXPECT_EQ(word(1).Column, 0);
    EXPECT_EQ(word(1).LineNo, 1);
    // Hundredths are ignored: both forms give 65 whole seconds.
    EXPECT_EQ(word(2).TimeMs, 65000);
    EXPECT_EQ(word(3).TimeMs, 65000);
    EXPECT_EQ(word(3).Text, "THIRD");
    EXPECT_EQ(word(3).LineNo, 3);
    ASSERT_EQ(m.lyricLines.size(), 4u);
    EXPECT_EQ(m.lyricLines[2], "SECOND LINE");
    EXPECT_EQ(m.lastLine, 3);
    EXPECT_EQ(m.shownLines, m.lyricLines);
    EXPECT_TRUE(app->tmr.Timer1->enabled());
    EXPECT_TRUE(app->tmr.tmrSYLTmp3->enabled());
}

TEST_F(LrcReader, TheLastPieceAfterTheFinalCrIsNotRead) {
    load("[00:01]one\r\n[00:02]two");
    ASSERT_EQ(model().wordList.size(), 2u);
    EXPECT_EQ(word(1).Text, "ONE");
    EXPECT_EQ(model().lastLine, 1);
    // Lines ended by LF alone are one piece with no CR behind it: nothing is read.
    fillWords({}, 0);
    app->s.words.lyricsPresent = false;
    load("[00:01]one\n[00:02]two\n");
    EXPECT_EQ(model().wordList.size(), 1u);
    EXPECT_FALSE(model().lyricsPresent);
}

TEST_F(LrcReader, LongTagsAreSkippedShortOnesRead) {
    load("[by:somebody]\r\n[02:07]a\r\n[xx:30]b\r\n[ar:x]c\r\n");
    const WordModel& m = model();
    ASSERT_EQ(m.wordList.size(), 5u);
    // The skipped line leaves an unfilled word at time 0 in its slot.
    EXPECT_EQ(word(1).Text, "");
    EXPECT_EQ(word(1).TimeMs, 0);
    EXPECT_EQ(word(2).Text, "A");
    EXPECT_EQ(word(2).TimeMs, 127000);
    EXPECT_EQ(word(2).LineNo, 1);
    // Minutes that are not a number keep the last ones.
    EXPECT_EQ(word(3).TimeMs, 150000);
    EXPECT_EQ(word(4).Text, "C");
    EXPECT_EQ(word(4).TimeMs, 120000);
    EXPECT_EQ(m.lastLine, 3);
}

TEST_F(LrcReader, SeveralStampsOnOneLine) {
    load("[00:10][00:20]la la\r\n[00:30]next\r\n");
    const WordModel& m = model();
    ASSERT_EQ(m.wordList.size(), 3u);
    // Each stamp opens a line with the same text; the word slot keeps the last stamp.
    EXPECT_EQ(m.lyricLines.at(1), "LA LA");
    EXPECT_EQ(m.lyricLines.at(2), "LA LA");
    EXPECT_EQ(word(1).TimeMs, 20000);
    EXPECT_EQ(word(1).LineNo, 2);
    EXPECT_EQ(word(2).LineNo, 3);
    EXPECT_EQ(m.lastLine, 3);
}

TEST_F(LrcReader, BlankTextOrNoBracketDoesNothing) {
    for (const char* text : {"", "    ", "no brackets here\r\n"}) {
        load(text);
        EXPECT_FALSE(model().lyricsPresent) << text;
        EXPECT_FALSE(app->tmr.Timer1->enabled()) << text;
        EXPECT_FALSE(app->tmr.tmrSYLTmp3->enabled()) << text;
    }
}

TEST_F(LrcReader, BrokenInputLoadsWhatItCan) {
    // An opening bracket with no closing one: the whole piece is the text, at the last time.
    load("[00:04]ok\r\n[00:10 broken\r\n]0:1[ x\r\n[[]]\r\n[0a:b7]y\r\n[00:09]fine\r\n");
    const WordModel& m = model();
    ASSERT_EQ(m.wordList.size(), 7u);
    // The LF of the CR LF before it stays at the front of the piece.
    EXPECT_EQ(word(2).Text, "\n[00:10 BROKEN");
    // A "]" before the "[" gives no tag either; the text is what follows the last "]".
    EXPECT_EQ(word(3).Text, "0:1[ X");
    EXPECT_EQ(word(3).TimeMs, 4000);
    EXPECT_EQ(word(2).TimeMs, 4000);
    EXPECT_EQ(word(6).Text, "FINE");
    EXPECT_EQ(word(6).TimeMs, 9000);
    for (std::size_t i = 1; i < m.wordList.size(); ++i)
        EXPECT_LT(word(i).LineNo, static_cast<int>(m.lyricLines.size()));
}

TEST_F(LrcReader, HugeAndBinaryInputNeverBreaks) {
    std::string huge = "[00:01]" + std::string(100000, 'x') + "\r\n[00:02]after\r\n";
    load(huge);
    EXPECT_EQ(word(1).Text.size(), 100000u);
    // Longer than a 16-bit length: the length is left as it was.
    EXPECT_EQ(word(1).Length, 0);
    EXPECT_EQ(word(2).Text, "AFTER");

    std::mt19937 rng(7);
    for (int round = 0; round < 200; ++round) {
        std::string bytes(rng() % 400, '\0');
        for (char& c : bytes) {
            const unsigned r = rng() % 10;
            c = r == 0 ? '[' : r == 1 ? ']' : r == 2 ? '\r' : static_cast<char>(rng() % 256);
        }
        // A new song starts from an empty model, as opening one does.
        app->s.words = WordModel{};
        load(bytes);
        const WordModel& m = model();
        ASSERT_FALSE(m.wordList.empty());
        for (const WordRec& w : m.wordList) ASSERT_LT(w.LineNo, static_cast<int>(m.lyricLines.size()));
        ASSERT_EQ(m.shownLines.size(), m.lyricLines.size());
    }
}

TEST_F(LrcReader, ManyLinesStopCountingAtTheLargestLineNumber) {
    std::string text;
    for (int i = 0; i < 33000; ++i) text += "[00:01]x\r\n";
    load(text);
    EXPECT_EQ(model().lastLine, 32767);
    EXPECT_EQ(model().wordList.back().LineNo, 32767);
    EXPECT_EQ(model().wordList.size(), 33001u);
}

TEST_F(LrcReader, FileLoaderKeepsNonBlankLinesWithCrLf) {
    writeFile("LIRICA.LRC", "[00:01]uno\n\n   \r\n[00:02]due\r\n[00:03]caff\xE8\r[00:04]last");
    bool ok = false;
    karaoke::Chargement_Paroles(*app, ok);
    EXPECT_TRUE(ok);
    const LyricTimingState& tm = app->s.timing;
    ASSERT_EQ(tm.lyricFileLines.size(), 4u);
    EXPECT_EQ(tm.lyricFileLines[2], "[00:03]caff\xC3\xA8");
    EXPECT_EQ(tm.lyricFileText, "[00:01]uno\r\n[00:02]due\r\n[00:03]caff\xC3\xA8\r\n[00:04]last\r\n");
    std::string text = tm.lyricFileText;
    karaoke::Show_Lyrics(*app, text);
    ASSERT_EQ(model().wordList.size(), 5u);
    EXPECT_EQ(word(3).Text, "CAFF\xC3\x88");
    EXPECT_EQ(word(3).Length, 5);
    EXPECT_EQ(word(4).Text, "LAST");

    // The text is not cleared by the loader: a second load appends.
    karaoke::Chargement_Paroles(*app, ok);
    EXPECT_EQ(tm.lyricFileLines.size(), 8u);

    // A missing file reads nothing and still reports success.
    app->s.timing.lyricFilePath = (folder.path() / "none.lrc").string();
    app->s.timing.lyricFileText.clear();
    ok = false;
    karaoke::Chargement_Paroles(*app, ok);
    EXPECT_TRUE(ok);
    EXPECT_TRUE(app->s.timing.lyricFileText.empty());
}

TEST_F(LrcReader, LineTimedSongRunsThroughTheWordStep) {
    load("[00:01]first line\r\n[00:02]second line\r\n[00:03]third line\r\n[00:04]end\r\n");
    app->s.midiActive = false;
    app->s.lyricPos = 0;
    // The song's position is the virtual clock's.
    app->tmr.tmrSYLTmp3->onTick = [this] {
        karaoke::SampleLyricClock(*app, [this] { return static_cast<double>(clock.nowMs()) / 1000.0; });
    };
    const long long start = clock.nowMs();
    std::vector<long long> steps;
    int last = app->s.lyricPos;
    for (int ms = 0; ms < 5000; ++ms) {
        clock.advance(1);
        if (app->s.lyricPos != last) {
            last = app->s.lyricPos;
            steps.push_back(clock.nowMs() - start);
        }
    }
    // The sentinel at once, then each line within a sampling period of its second; the last
    // line is never painted.
    ASSERT_EQ(steps.size(), 4u);
    EXPECT_LE(steps[0], 1);
    for (int k = 1; k <= 3; ++k) {
        EXPECT_GE(steps[k], k * 1000);
        EXPECT_LE(steps[k], k * 1000 + 10);
    }
    // The page for line 3 (odd, third of four): line 2 wholly sung at 130, line 3 sung at 160.
    EXPECT_FALSE(pixelBox(page(), isRed, 131, 166).empty());
    EXPECT_FALSE(pixelBox(page(), isRed, 161, 196).empty());
}

} // namespace
} // namespace velvora::testing
