// An MP3 whose tag carries synchronised lyrics, taken the user's way: chosen in the Load dialog,
// played with its Play button on the virtual clock. Its words step on the lyric page through the
// same word step and painter as a KAR song's, each at the audio position of its stamp.
#include "core/controls.h"
#include "encoding/wav_to_mp3.h"
#include "engine/api.h"
#include "karaoke/lyric_test_support.h"
#include "support/mp3_bytes.h"
#include "support/song_files.h"
#include "widgets/lyricpicture.h"
#include "widgets/main_controls.h"

#include <QPushButton>

#include <filesystem>
#include <map>

namespace velvora::testing {
namespace {

namespace fs = std::filesystem;

class TagLyricsRoad : public AppFixture {
  protected:
    // Opens the song through the Load button and starts it with the audio Play button.
    void openAndPlay(const fs::path& song) {
        dialogs.answerFile(song.string());
        app->ui.CmdCarica->click();
        ASSERT_TRUE(app->ui.CmdPlw->isEnabled());
        app->ui.CmdPlw->click();
    }
    double audioMs() const {
        const DWORD chan = app->s.chan;
        return BASS_ChannelBytes2Seconds(chan, BASS_ChannelGetPosition(chan, BASS_POS_BYTE)) * 1000.0;
    }
};

TEST_F(TagLyricsRoad, WordsOfTheTagAreSungOnTheLyricPageAtTheirStamps) {
    start();
    const std::vector<mp3::SyltEntry> entries = {{"/Eve", 800}, {"ning ", 1200}, {"/sing ", 2000},
                                                 {"a ", 2600},  {"long", 3200},  {"", 4200}};
    const fs::path song = writeSyltSong(folder.path(), "Evening Song.mp3", entries, 6.0);
    dialogs.answerFile(song.string());
    app->ui.CmdCarica->click();
    EXPECT_EQ(caption(app->ui.LabelSongLength), "Evening Song");
    EXPECT_TRUE(app->s.syltPending) << "the tag's lyrics wait for Play to start their timers";
    EXPECT_FALSE(app->tmr.Timer1->enabled());
    ASSERT_TRUE(app->ui.CmdPlw->isEnabled());
    app->ui.CmdPlw->click();
    EXPECT_FALSE(app->s.syltPending);
    const WordModel& m = app->s.words;
    ASSERT_EQ(m.lyricLines, (std::vector<std::string>{"", "EVENING ", "SING A LONG"}));
    ASSERT_TRUE(app->tmr.Timer1->enabled());
    ASSERT_TRUE(app->tmr.tmrSYLTmp3->enabled());

    // Where the audio was when each word was painted (the step moved past it).
    std::map<int, double> paintedAt;
    int last = app->s.lyricPos;
    bool redOnLineTwo = false;
    while (clock.nowMs() < 4500) {
        clock.advance(1);
        if (app->s.lyricPos > last) {
            for (int k = std::max(last, 1); k < app->s.lyricPos; ++k) paintedAt.emplace(k, audioMs());
            last = app->s.lyricPos;
            if (last - 1 == 3) {
                // "SING " is painted in the sung colour on the page.
                const QImage& page = app->ui.Picture3->image();
                redOnLineTwo = !pixelBox(page, isRed).empty();
            }
        }
    }
    // Every word but the last: at or after its stamp, and within one period of the clock that
    // samples the audio position (tmrSYLTmp3) and the step's own tick.
    const int period = app->tmr.tmrSYLTmp3->interval() + app->tmr.Timer1->interval();
    ASSERT_EQ(paintedAt.size(), entries.size() - 1);
    for (const auto& [k, ms] : paintedAt) {
        const double stamp = m.wordList[static_cast<std::size_t>(k)].TimeMs;
        EXPECT_GE(ms, stamp) << "word " << k << " " << m.wordList[static_cast<std::size_t>(k)].Text;
        EXPECT_LE(ms, stamp + period) << "word " << k << " " << m.wordList[static_cast<std::size_t>(k)].Text;
    }
    EXPECT_TRUE(redOnLineTwo);
    EXPECT_EQ(app->s.painter.currentLine, 2);
    EXPECT_TRUE(dialogs.unexpected().empty());
}

TEST_F(TagLyricsRoad, ASongWithoutAFrameOpensAndPlaysWithNoWords) {
    start();
    const fs::path wav = folder.path() / "plain.wav";
    writeToneWav(wav, 2.0);
    const fs::path song = folder.path() / "Plain.mp3";
    ASSERT_EQ(encoding::convertWavToMp3(wav.string(), song.string(), "velvora").status,
              encoding::ConvertOutcome::Done);
    openAndPlay(song);
    EXPECT_FALSE(app->s.syltPending);
    EXPECT_FALSE(app->tmr.Timer1->enabled()) << "no lyric block: the word timer stays off";
    clock.advance(1000);
    EXPECT_GT(audioMs(), 500.0);
    EXPECT_FALSE(app->s.words.lyricsPresent);
    EXPECT_TRUE(dialogs.unexpected().empty());
}

} // namespace
} // namespace velvora::testing
