// Lyrics from the tags of an audio song: the quick test for a lyric frame, the frame's entries in
// the word model, the end tags read at each open, and the words stepping on the audio clock.
#include "karaoke/lyric_test_support.h"
#include "karaoke/sylt_lyrics.h"
#include "support/mp3_bytes.h"

#include <filesystem>

namespace velvora::testing {
namespace {

using namespace mp3;
namespace fs = std::filesystem;

class SyltLyrics : public LyricFixture {
  protected:
    // Writes an MP3 with `entries` in its lyric frame and makes it the song.
    std::string song(const std::vector<SyltEntry>& entries,
                     const std::string& tail = id3v1("Title", "Singer")) {
        const std::string path = (folder.path() / "song.mp3").string();
        write(path,
              tag(textFrame("TIT2", "Tag title") + syltFrame(entries)) + mpegFrame(200) + mpegFrame() + tail);
        app->s.FileName = path;
        return path;
    }
    const WordModel& words() const { return app->s.words; }
};

TEST_F(SyltLyrics, EntriesBecomeWordsInCapitalsWithLinesAtEachSlash) {
    song({{"Twin", 1000}, {"kle ", 1500}, {"/lit", 2250}, {"tle ", 2600}, {"/star", 3100}});
    app->s.timing.lyricClock = 12.5;
    app->s.lyricPos = 7;
    app->tmr.tmrSYLTmp3->setEnabled(true);
    karaoke::Mp3Sylt(*app);

    EXPECT_EQ(app->s.timing.lyricClock, 0);
    EXPECT_EQ(app->s.lyricPos, 0);
    EXPECT_FALSE(app->tmr.tmrSYLTmp3->enabled()) << "the caller starts it";
    const WordModel& m = words();
    ASSERT_EQ(m.wordList.size(), 6u);
    EXPECT_EQ(m.wordList[0].Length, 42);
    EXPECT_EQ(m.wordList[0].Text, "");
    struct Expected {
        const char* text;
        int column, line;
        double ms;
    };
    const Expected expected[] = {{"TWIN", 0, 0, 1000},
                                 {"KLE ", 4, 0, 1500},
                                 {"LIT", 0, 1, 2250},
                                 {"TLE ", 3, 1, 2600},
                                 {"STAR", 0, 2, 3100}};
    for (int i = 0; i < 5; ++i) {
        SCOPED_TRACE(i);
        const WordRec& w = m.wordList[static_cast<std::size_t>(i) + 1];
        EXPECT_EQ(w.Text, expected[i].text);
        EXPECT_EQ(w.Length, static_cast<int>(std::string(expected[i].text).size()));
        EXPECT_EQ(w.Column, expected[i].column);
        EXPECT_EQ(w.LineNo, expected[i].line);
        EXPECT_EQ(w.TimeMs, expected[i].ms);
        EXPECT_EQ(w.SpanMs, expected[i].ms);
    }
    EXPECT_EQ(m.lyricLines, (std::vector<std::string>{"TWINKLE ", "LITTLE ", "STAR"}));
    EXPECT_EQ(m.shownLines, m.lyricLines);
    EXPECT_EQ(m.lastLine, 2);
    EXPECT_TRUE(m.lyricsPresent);
}

TEST_F(SyltLyrics, WithoutSlashEveryWordIsOnLineZeroAndLowerCaseComesOutInCapitals) {
    song({{"caf\xc3\xa9 ", 10}, {"\\back <angle> @at |bar", 20}, {"\n\xc3\xa0 la fin", 30}});
    karaoke::Mp3Sylt(*app);
    const WordModel& m = words();
    ASSERT_EQ(m.wordList.size(), 4u);
    for (std::size_t i = 1; i < 4; ++i) EXPECT_EQ(m.wordList[i].LineNo, 0) << i;
    EXPECT_EQ(m.wordList[1].Text, "CAF\xc3\x89 ");
    EXPECT_EQ(m.wordList[1].Length, 5) << "characters, not bytes";
    EXPECT_EQ(m.wordList[2].Text, "\\BACK <ANGLE> @AT |BAR");
    EXPECT_EQ(m.wordList[2].Column, 5);
    EXPECT_EQ(m.wordList[3].Text, "\r\n\xc3\x80 LA FIN");
    EXPECT_EQ(m.lyricLines.size(), 1u);
    EXPECT_EQ(m.lyricLines[0], "CAF\xc3\x89 \\BACK <ANGLE> @AT |BAR\r\n\xc3\x80 LA FIN");
    EXPECT_EQ(m.lastLine, 0);
}

TEST_F(SyltLyrics, ASecondPassAppendsTheTextBeforeTheFirstSlashToLineZeroAgain) {
    // PlayAudio runs on opening and again on play; the model is not cleared in between.
    song({{"intro ", 10}, {"/one", 20}});
    karaoke::Mp3Sylt(*app);
    karaoke::Mp3Sylt(*app);
    EXPECT_EQ(words().lyricLines, (std::vector<std::string>{"INTRO INTRO ", "ONE"}));
    EXPECT_EQ(words().wordList.size(), 3u);
}

TEST_F(SyltLyrics, LettersWithoutAFrameSetThePendingFlagAndLeaveTheModelAlone) {
    song({}, id3v1("A SYLT song", "Singer"));
    // An empty frame still holds the letters; so does an ID3v1 title.
    write(app->s.FileName, mpegFrame() + id3v1("A SYLT song", "Singer"));
    fillWords({{0, "KEPT", 1}}, 1.0);
    const WordModel before = words();
    karaoke::SyltContr(*app);
    EXPECT_TRUE(app->s.syltPending);
    karaoke::Mp3Sylt(*app);
    EXPECT_EQ(words().lyricLines, before.lyricLines);
    EXPECT_EQ(words().wordList.size(), before.wordList.size());
    EXPECT_EQ(words().wordList[1].Text, "KEPT");
}

TEST_F(SyltLyrics, PendingFlagFollowsTheLettersAndAMissingFileLeavesIt) {
    const std::string path = (folder.path() / "plain.mp3").string();
    write(path, mpegFrame() + mpegFrame());
    app->s.FileName = path;
    app->s.syltPending = true;
    karaoke::SyltContr(*app);
    EXPECT_FALSE(app->s.syltPending);

    // Letters astride the search's 64 KB blocks.
    std::string big(200 * 1024, 'x');
    big.replace(64 * 1024 - 2, 4, "SYLT");
    write(path, big);
    karaoke::SyltContr(*app);
    EXPECT_TRUE(app->s.syltPending);

    app->s.FileName = (folder.path() / "gone.mp3").string();
    karaoke::SyltContr(*app);
    EXPECT_TRUE(app->s.syltPending);
    app->s.syltPending = false;
    karaoke::SyltContr(*app);
    EXPECT_FALSE(app->s.syltPending);
}

TEST_F(SyltLyrics, PackageCopyOfTheSongIsReadFromTheWorkFolder) {
    const fs::path work = fs::path(app->appFolder) / "TMPK";
    fs::create_directories(work);
    const fs::path stem = work / "zzzz.mp3";
    write(stem, tag(syltFrame({{"/from ", 100}, {"the package", 200}})) + mpegFrame());
    app->s.FileName = (folder.path() / "song.NVK").string();
    karaoke::SyltContrM(*app, stem.string());
    EXPECT_TRUE(app->s.syltPending);
    karaoke::Mp3SyltM(*app);
    ASSERT_EQ(words().lyricLines.size(), 2u);
    EXPECT_EQ(words().lyricLines[1], "FROM THE PACKAGE");
}

TEST_F(SyltLyrics, EndTagsFillTheTitleBoxesAndStopTheWordTimersWithoutALyricBlock) {
    song({{"la", 10}});
    app->tmr.Timer1->setEnabled(true);
    app->tmr.tmrSYLTmp3->setEnabled(true);
    karaoke::Load_File_Tags(*app);
    EXPECT_EQ(app->ui.Title->text().toStdString(), "Title");
    EXPECT_EQ(app->ui.Artist->text().toStdString(), "Singer");
    EXPECT_FALSE(app->s.hasTagLyrics);
    EXPECT_FALSE(app->tmr.Timer1->enabled());
    EXPECT_FALSE(app->tmr.tmrSYLTmp3->enabled());

    song({{"la", 10}}, lyrics3({{"LYR", "[00:01]words"}}) + id3v1("Title", "Singer"));
    app->tmr.Timer1->setEnabled(true);
    app->tmr.tmrSYLTmp3->setEnabled(true);
    karaoke::Load_File_Tags(*app);
    EXPECT_TRUE(app->s.hasTagLyrics);
    EXPECT_TRUE(app->tmr.Timer1->enabled());
    EXPECT_TRUE(app->tmr.tmrSYLTmp3->enabled());
    EXPECT_EQ(words().wordList.size(), 1u) << "the lyric block's text goes nowhere";

    // Once set, the flag stays for the song: a file read later without a block keeps it.
    song({{"la", 10}});
    karaoke::Load_File_Tags(*app);
    EXPECT_TRUE(app->s.hasTagLyrics);
    EXPECT_TRUE(app->tmr.Timer1->enabled());
}

TEST_F(SyltLyrics, WordsStepWhenTheAudioClockReachesTheirStamps) {
    song({{"/one ", 1000}, {"two ", 1500}, {"/three ", 2250}, {"four", 3000}, {"", 4000}});
    karaoke::Mp3Sylt(*app);
    app->s.midiActive = false;
    // The first step of a session paints the sentinel at once.
    karaoke::Timer1_Timer(*app);
    ASSERT_EQ(app->s.lyricPos, 1);
    const std::pair<double, int> steps[] = {{0.999, 1}, {1.0, 2}, {1.499, 2}, {1.5, 3}, {2.25, 4}, {3.0, 5}};
    for (const auto& [seconds, pos] : steps) {
        app->s.timing.lyricClock = seconds;
        karaoke::Timer1_Timer(*app);
        EXPECT_EQ(app->s.lyricPos, pos) << seconds;
    }
    EXPECT_EQ(app->s.painter.currentLine, 2) << "the word just reached, FOUR, is on the second line";
}

} // namespace
} // namespace velvora::testing
