// The LRC creator as a user reaches it: the LRC button beside the lyric page, and a take over a
// MIDI song that goes on to a package, whose maker finds the song's lines waiting for it.
#include "karaoke/lrc_reader.h"
#include "recording/take_files.h"
#include "support/app_fixture.h"
#include "support/midi_writer.h"
#include "support/song_files.h"
#include "widgets/main_controls.h"

#include "engine/testing.h"

#include <QApplication>
#include <QPushButton>

#include <filesystem>

namespace velvora::testing {
namespace {

namespace fs = std::filesystem;

// The verse of the test songs one syllable a second, the first at 1 s: each line is timed by its
// second syllable and stamped a second before it.
const std::string kVerseLrc = "[00:02]TWINKLE TWINKLE LITTLE STAR\r\n"
                              "[00:08]HOW I WONDER WHAT YOU ARE\r\n"
                              "[00:15]UP ABOVE THE WORLD SO HIGH\r\n"
                              "[00:22]LIKE A DIAMOND IN THE SKY\r\n";

class LrcCreatorRoad : public AppFixture {
  protected:
    void SetUp() override {
        AppFixture::SetUp();
        start();
    }
    void TearDown() override {
        while (QApplication::overrideCursor()) QApplication::restoreOverrideCursor();
        AppFixture::TearDown();
    }
    fs::path work(const std::string& name) const { return fs::path(app->appFolder) / name; }
    // Opens a KAR song of the verse, a syllable every 192 ticks (a second at 120 beats a minute).
    void openVerse() {
        const fs::path song = folder.path() / "songs" / "Twinkle.kar";
        fs::create_directories(song.parent_path());
        miditest::writeFile(song, karaokeMidi(twinkleSyllables(), 192));
        dialogs.answerFile(song.string());
        app->ui.CmdCarica->click();
    }
    std::vector<std::string> boxTexts() const {
        std::vector<std::string> texts;
        for (const platform::ShownBox& b : dialogs.shown())
            if (b.kind == platform::ShownBox::Message) texts.push_back(b.text);
        return texts;
    }
};

TEST_F(LrcCreatorRoad, TheLrcButtonWritesTheSongsLinesAndTheyReadBackAsTheSameLines) {
    openVerse();
    std::vector<std::string> opened;
    for (const std::string& line : app->s.words.lyricLines)
        if (!line.empty()) opened.push_back(line);
    ASSERT_EQ(opened.size(), 4u);

    dialogs.answer(platform::vbOK);
    app->ui.Command2->click();
    EXPECT_EQ(recordingtest::readBytes(work("syncro.lrc")), kVerseLrc);
    ASSERT_FALSE(dialogs.shown().empty());
    EXPECT_EQ(dialogs.shown().back().text, "Done! LRC Creator");
    EXPECT_EQ(dialogs.shown().back().caption, "Velvora");
    EXPECT_EQ(QApplication::overrideCursor(), nullptr) << "the pointer is back";

    // The package's lyric reader takes the file line by line, at the stamped seconds.
    std::string text = recordingtest::readBytes(work("syncro.lrc"));
    karaoke::Show_Lyrics(*app, text);
    const WordModel& m = app->s.words;
    EXPECT_EQ(std::vector<std::string>(m.lyricLines.begin() + 1, m.lyricLines.end()), opened);
    ASSERT_EQ(m.wordList.size(), 5u);
    EXPECT_EQ(m.wordList[1].TimeMs, 2000);
    EXPECT_EQ(m.wordList[4].TimeMs, 22000);
}

// Rec over a MIDI song sets the batch flag; Yes at the end of the take encodes both tracks, writes
// the LRC file, and only then opens the package maker, which reads it as it loads.
TEST_F(LrcCreatorRoad, ATakeOverAKarSongWritesTheLrcBeforeThePackageMakerOpens) {
    std::string lrcAtForm1;
    int form1Shown = 0;
    app->hooks.showForm1 = [&] {
        ++form1Shown;
        lrcAtForm1 = recordingtest::readBytes(work("syncro.lrc"));
    };
    openVerse();
    app->ui.CmdRec->click();
    EXPECT_TRUE(app->s.lrcBatch);
    app->ui.Cmd_play->click();
    engine::testing::pushCaptureInput(recordingtest::voice(2 * 44100));
    clock.advance(2000);
    dialogs.clear();
    dialogs.answer(platform::vbYes);
    dialogs.answer(platform::vbOK);
    dialogs.answer(platform::vbOK);
    app->ui.Cmd_Stop->click();

    EXPECT_EQ(boxTexts(),
              (std::vector<std::string>{"Crea NVK(SI)  Crea Wave(NO) ", "Done! LRC Creator", "Done!"}));
    EXPECT_EQ(form1Shown, 1);
    EXPECT_EQ(lrcAtForm1, kVerseLrc);
    EXPECT_TRUE(fs::exists(work("TMPK/vocaltrack.MP3")));
    EXPECT_FALSE(app->s.lrcBatch) << "the flag is spent";
}

// An audio song's take makes no LRC file, even when an earlier MIDI take left the flag set.
TEST_F(LrcCreatorRoad, ArmingATakeOverAnAudioSongClearsTheBatchFlag) {
    openVerse();
    app->ui.CmdRec->click();
    ASSERT_TRUE(app->s.lrcBatch);
    app->s.recordArmed = false;

    const fs::path mp3 = folder.path() / "songs" / "Tones.mp3";
    ASSERT_TRUE(recordingtest::writeMp3Song(mp3, 2.0));
    app->s.FileName = mp3.string();
    app->ui.CmdRec->setEnabled(true);
    app->ui.CmdRec->click();
    EXPECT_TRUE(app->s.recordArmed);
    EXPECT_FALSE(app->s.lrcBatch);
}

} // namespace
} // namespace velvora::testing
