// The words the program builds from a song's lyric and text marks: each marker rule, the probes
// that choose the kind of mark, the limits, and the real karaoke files of others.
#include "core/utf8.h"
#include "karaoke/word_extraction.h"
#include "support/app_fixture.h"
#include "support/midi_writer.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace velvora::karaoke {
namespace {

namespace fs = std::filesystem;

// A format 1 file: tempo 500000 at 96 ticks a beat, a track of `lyrics` as lyric events and one of
// `texts` as text events, each 24 ticks apart, and a note so that the song has a length. The scan
// runs no more rounds than the file has bytes: `padding` bytes of a sequencer event make it longer.
std::string marksSong(const std::vector<std::string>& lyrics, const std::vector<std::string>& texts = {},
                      std::size_t padding = 0) {
    miditest::Track conductor;
    conductor.tempo(0, 500000);
    if (padding) conductor.meta(0, 0x7F, std::string(padding, 'x'));
    conductor.end(0);
    miditest::Track words;
    for (const std::string& l : lyrics) words.lyric(24, l);
    for (const std::string& t : texts) words.text(24, t);
    words.end(24);
    miditest::Track melody;
    melody.on(0, 0, 60).off(96, 0, 60).end(0);
    return miditest::smf(1, 96, {conductor, words, melody});
}

class LyricMarks : public testing::AppFixture {
  protected:
    const WordModel& scan(const std::string& bytes) {
        const fs::path path = folder.path() / ("song" + std::to_string(n++) + ".kar");
        miditest::writeFile(path, bytes);
        app->s.FileName = path.string();
        app->s.words = WordModel{};
        app->s.words.wordList.assign(1, WordRec{});
        app->s.words.lyricLines.assign(1, std::string());
        GetKaraoke(*app);
        return app->s.words;
    }
    static std::vector<std::string> texts(const WordModel& m) {
        std::vector<std::string> out;
        for (std::size_t i = 1; i < m.wordList.size(); ++i) out.push_back(m.wordList[i].Text);
        return out;
    }
    int n = 0;
};

TEST_F(LyricMarks, MarkersBreakLinesAndAreCutAndCaseIsRaised) {
    start();
    std::vector<std::string> marks{"@Ttitle", "perch\xC3\xA9 ", "gi\xC3\xA0 ", "\\Sei ", "qui",  "/ora ",
                                   "<poi ",   "fine|",          "dopo",        "@L",     "[x] ", "%y"};
    // Twenty more, so that the song ends at its last mark (see the quirk of short songs below).
    for (int i = 0; i < 20; ++i) marks.push_back("la");
    const WordModel& m = scan(marksSong(marks));
    ASSERT_TRUE(m.lyricsPresent);
    ASSERT_EQ(m.wordList.size(), 33u);
    const std::vector<std::string> all = texts(m);
    EXPECT_EQ(std::vector<std::string>(all.begin(), all.begin() + 12),
              (std::vector<std::string>{"", "PERCH\xC3\x89 ", "GI\xC3\x80 ", "SEI ", "QUI", "ORA ", "POI ",
                                        "FINE|", "DOPO", "", "[X] ", "%Y"}));
    // "@" at the first mark opens line 1 and never reaches a line; the words after it join it.
    // "|" at a word's end opens the next line before the word is stored, "|" and all.
    std::string last = "FINE|DOPO[X] %Y";
    for (int i = 0; i < 20; ++i) last += "LA";
    EXPECT_EQ(m.lyricLines,
              (std::vector<std::string>{"", "PERCH\xC3\x89 GI\xC3\x80 ", "SEI QUI", "ORA ", "POI ", last}));
    const std::vector<int> lineOf{1, 1, 1, 2, 2, 3, 4, 5, 5, 5, 5, 5};
    const std::vector<int> columnOf{0, 0, 7, 0, 4, 0, 0, 0, 5, 9, 9, 13};
    for (std::size_t i = 0; i < lineOf.size(); ++i) {
        EXPECT_EQ(m.wordList[i + 1].LineNo, lineOf[i]) << i;
        EXPECT_EQ(m.wordList[i + 1].Column, columnOf[i]) << i;
    }
    // Times: the mark's tick (24 apart, from 24) times the first tempo's ms a tick.
    EXPECT_DOUBLE_EQ(m.wordList[2].TimeMs, 48 * m.msPerTick);
    EXPECT_EQ(m.wordList[0].Length, 42);
}

// Six lyric marks are needed for lyrics to be taken, else 21 text marks; with neither there are
// no lyrics.
TEST_F(LyricMarks, TheProbesChooseTheKindOfMark) {
    start();
    const std::vector<std::string> five(5, "la "), six(6, "la ");
    std::vector<std::string> twenty(20, "te "), twentyOne(21, "te ");
    EXPECT_FALSE(scan(marksSong(five, twenty)).lyricsPresent);
    EXPECT_TRUE(scan(marksSong(five, twentyOne)).lyricsPresent);
    EXPECT_EQ(app->s.words.wordList[1].Text, "TE ");
    twentyOne.assign(30, "te ");
    EXPECT_TRUE(scan(marksSong(six, twentyOne)).lyricsPresent);
    EXPECT_EQ(app->s.words.wordList[1].Text, "LA ") << "lyrics win when both are there";
}

// Past the last mark the probed mark comes back: from index 25 its tick lies behind and ends the
// scan, but a song of 6 to 24 marks never compares, so copies of mark 5 run up to the cap.
TEST_F(LyricMarks, TheCapAndTheQuirkOfShortSongs) {
    start();
    std::vector<std::string> many;
    for (int i = 0; i < 900; ++i) many.push_back("w" + std::to_string(i) + " ");
    const WordModel& capped = scan(marksSong(many));
    EXPECT_EQ(capped.wordList.size(), 852u) << "mark indexes 0 to 850";
    EXPECT_EQ(capped.wordList[851].Text, "W850 ");

    std::vector<std::string> ten;
    for (int i = 0; i < 10; ++i) ten.push_back("s" + std::to_string(i) + " ");
    const std::size_t short10 = scan(marksSong(ten)).wordList.size();
    EXPECT_EQ(short10, app->s.scan.midiBuffer.size() + 2) // rounds 0 to the length, and the sentinel
        << "a file of fewer bytes than the cap ends the copies at its length";
    const WordModel& quirk = scan(marksSong(ten, {}, 1000));
    EXPECT_EQ(quirk.wordList.size(), 852u);
    EXPECT_EQ(quirk.wordList[10].Text, "S9 ");
    EXPECT_EQ(quirk.wordList[11].Text, "S5 ") << "the probed mark, again and again";
    EXPECT_EQ(quirk.wordList[851].Text, "S5 ");

    std::vector<std::string> thirty;
    for (int i = 0; i < 30; ++i) thirty.push_back("t" + std::to_string(i) + " ");
    EXPECT_EQ(scan(marksSong(thirty)).wordList.size(), 31u) << "a song of 25 marks and more ends at its end";
}

// The real files of others: the words lie in their lines where their columns say, in time order.
TEST_F(LyricMarks, RealFilesKeepTheModelsPromises) {
    const fs::path dir = fs::path(VELVORA_REALDATA) / "kar_mid_lyrics";
    if (!fs::exists(dir)) GTEST_SKIP() << "no real data";
    start();
    int songs = 0;
    for (const auto& entry : fs::directory_iterator(dir)) {
        const std::string name = entry.path().filename().string();
        app->s.FileName = entry.path().string();
        app->s.words = WordModel{};
        app->s.words.wordList.assign(1, WordRec{});
        app->s.words.lyricLines.assign(1, std::string());
        GetKaraoke(*app);
        const WordModel& m = app->s.words;
        if (!m.lyricsPresent) continue;
        ++songs;
        for (std::size_t i = 1; i < m.wordList.size(); ++i) {
            const WordRec& w = m.wordList[i];
            ASSERT_LT(static_cast<std::size_t>(w.LineNo), m.lyricLines.size()) << name << " " << i;
            const std::u32string line = utf8::toText32(m.lyricLines[static_cast<std::size_t>(w.LineNo)]);
            if (line.find(U'|') == std::u32string::npos) {
                EXPECT_EQ(utf8::fromText32(line.substr(
                              std::min<std::size_t>(static_cast<std::size_t>(w.Column), line.size()),
                              static_cast<std::size_t>(w.Length))),
                          w.Text)
                    << name << " word " << i;
            }
            // Copies of mark 5 past the end of a short song (the quirk above) are not in order.
            const bool copyOfMark5 =
                i > 6 && w.Text == m.wordList[6].Text && w.TimeMs == m.wordList[6].TimeMs;
            if (i > 1 && !copyOfMark5) {
                EXPECT_GE(w.TimeMs, m.wordList[i - 1].TimeMs) << name << " word " << i;
            }
        }
    }
    EXPECT_GE(songs, 8);
}

} // namespace
} // namespace velvora::karaoke
