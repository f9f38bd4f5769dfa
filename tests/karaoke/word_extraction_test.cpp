#include "core/utf8.h"
#include "karaoke/word_extraction.h"
#include "support/app_fixture.h"
#include "support/midi_writer.h"
#include "support/song_files.h"

#include <gtest/gtest.h>

namespace velvora::karaoke {
namespace {

class WordExtraction : public testing::AppFixture {};

// The painter finds a word by its column in its line, counting characters; the word model must
// count them the same way, also for letters outside the basic plane (two UTF-16 units each).
TEST_F(WordExtraction, ColumnsAndLengthsCountCharactersAsThePainterDoes) {
    start();
    std::vector<std::string> syllables;
    for (int verse = 0; verse < 6; ++verse)
        for (const char* s : {"\\Per", "ch\xC3\xA9 ", "t\xF0\x9F\x8E\xB5 ", "s\xC3\xAC"})
            syllables.push_back(s);
    const auto path = folder.path() / "notes.kar";
    miditest::writeFile(path, testing::karaokeMidi(syllables, 48));
    app->s.FileName = path.string();
    GetKaraoke(*app);

    const WordModel& m = app->s.words;
    ASSERT_TRUE(m.lyricsPresent);
    ASSERT_GE(m.wordList.size(), syllables.size());
    int checked = 0;
    for (std::size_t i = 1; i < m.wordList.size(); ++i) {
        const WordRec& w = m.wordList[i];
        if (w.Text.empty()) continue;
        ASSERT_LT(static_cast<std::size_t>(w.LineNo), m.lyricLines.size());
        const std::u32string line = utf8::toText32(m.lyricLines[static_cast<std::size_t>(w.LineNo)]);
        const auto column = static_cast<std::size_t>(w.Column);
        ASSERT_LE(column + static_cast<std::size_t>(w.Length), line.size()) << i;
        EXPECT_EQ(utf8::fromText32(line.substr(column, static_cast<std::size_t>(w.Length))), w.Text) << i;
        ++checked;
    }
    EXPECT_EQ(checked, static_cast<int>(syllables.size()));
    EXPECT_EQ(m.wordList[5].Text, "T\xF0\x9F\x8E\xB5 ");
    EXPECT_EQ(m.wordList[5].Length, 3);
    EXPECT_EQ(m.wordList[6].Column, 10) << "PER, CHÉ and T🎵 before it";
}

} // namespace
} // namespace velvora::karaoke
