// The encoder as the window wires it: made at start-up, reached from the end of a take through the
// Mp3Enc hook (the recorder arms the take; here the test does), the LRC file written on the way
// when the batch flag is set, and the "Wav to Mp3" entry that starts the converter from the
// executable's folder.
#include "encoding/lame_encoder.h"
#include "encoding/mp3_frames.h"
#include "encoding/wav_bytes.h"
#include "support/app_fixture.h"
#include "support/midi_writer.h"
#include "support/song_files.h"
#include "widgets/main_controls.h"

#include <QAction>
#include <QApplication>
#include <QPushButton>

#include <filesystem>

namespace velvora::testing {
namespace {

namespace fs = std::filesystem;

class TakeEncoding : public AppFixture {
  protected:
    void SetUp() override {
        AppFixture::SetUp();
        start();
        app->hooks.showForm1 = [this] {
            ++form1Shown;
            cursorAtForm1 = QApplication::overrideCursor() != nullptr;
            lrcAtForm1 = fs::exists(work("syncro.lrc"));
        };
    }
    void TearDown() override {
        while (QApplication::overrideCursor()) QApplication::restoreOverrideCursor();
        AppFixture::TearDown();
    }
    fs::path work(const std::string& name) const { return fs::path(app->appFolder) / name; }
    // The two tracks of a take as the recorder leaves them; the backing track has `channels`.
    void writeTake(int channels = 2) {
        writeToneWav(work("TKKK/BackingTrack.WAV"), 1.5, 330.0, channels);
        writeToneWav(work("TKKK/vocaltrack.wav"), 1.5, 550.0);
    }
    // A KAR song played for a second with a take armed, then stopped with its Stop button; the
    // question at the end of the take is answered Yes. The take's tracks are put down once the song
    // is open, as the recorder puts them down: opening a song empties TKKK.
    void singAndStop(int channels = 2) {
        const fs::path song = folder.path() / "Twinkle.kar";
        miditest::writeFile(song, karaokeMidi(twinkleSyllables(), 48));
        dialogs.answerFile(song.string());
        app->ui.CmdCarica->click();
        writeTake(channels);
        app->ui.Cmd_play->click();
        clock.advance(1000);
        app->s.recordArmed = true;
        dialogs.answer(platform::vbYes);
        if (app->s.lrcBatch) dialogs.answer(platform::vbOK); // the LRC creator's box
        dialogs.answer(platform::vbOK);
        app->ui.Cmd_Stop->click();
    }
    std::vector<std::string> boxTexts() const {
        std::vector<std::string> texts;
        for (const platform::ShownBox& b : dialogs.shown())
            if (b.kind != platform::ShownBox::Open) texts.push_back(b.text);
        return texts;
    }
    int form1Shown = 0;
    bool cursorAtForm1 = true;
    bool lrcAtForm1 = false;
};

TEST_F(TakeEncoding, AYesAtTheEndOfATakeMakesBothMp3MembersThenThePackageMaker) {
    encoding::cLameEncoder* const encoder = window.parts().encoder.get();
    ASSERT_NE(encoder, nullptr) << "the window's encoder is made at start-up";
    app->s.lrcBatch = true;
    singAndStop();

    for (const char* member : {"TMPK/BackingTrack.MP3", "TMPK/vocaltrack.MP3"}) {
        SCOPED_TRACE(member);
        const std::vector<enctest::FrameHeader> frames = enctest::mp3Frames(enctest::readFile(work(member)));
        ASSERT_FALSE(frames.empty());
        const enctest::FrameValues v = enctest::valuesOf(frames);
        EXPECT_EQ(v.kbps, std::set<int>{256});
        EXPECT_EQ(v.rate, std::set<int>{44100});
        EXPECT_EQ(v.mode, std::set<int>{0});
    }
    EXPECT_EQ(form1Shown, 1);
    EXPECT_FALSE(cursorAtForm1) << "the pointer is back before the maker shows";
    EXPECT_TRUE(lrcAtForm1) << "the maker reads the LRC file when it loads";
    EXPECT_FALSE(app->s.lrcBatch);
    EXPECT_EQ(boxTexts(),
              (std::vector<std::string>{"Crea NVK(SI)  Crea Wave(NO) ", "Done! LRC Creator", "Done!"}));
    EXPECT_EQ(window.parts().encoder.get(), encoder) << "one encoder for the window's life";
    // The take itself stays where the recorder left it.
    EXPECT_TRUE(fs::exists(work("TKKK/BackingTrack.WAV")));
    EXPECT_TRUE(fs::exists(work("TKKK/vocaltrack.wav")));
}

TEST_F(TakeEncoding, ARaisedErrorIsToldTheMakerDoesNotOpenAndThePointerComesBack) {
    singAndStop(1);
    EXPECT_EQ(boxTexts(), (std::vector<std::string>{"Crea NVK(SI)  Crea Wave(NO) ",
                                                    "Only stereo 16 bit wave files supported."}))
        << "no Done! after a failed encoding";
    EXPECT_EQ(form1Shown, 0);
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);
    EXPECT_FALSE(fs::exists(work("TMPK/BackingTrack.MP3")));
    EXPECT_FALSE(fs::exists(work("TMPK/vocaltrack.MP3")));
    EXPECT_TRUE(fs::exists(work("TKKK/BackingTrack.WAV")));

    // The same window encodes the next take once it is good.
    writeTake();
    ASSERT_TRUE(app->hooks.Mp3Enc());
    EXPECT_EQ(form1Shown, 1);
    EXPECT_TRUE(fs::exists(work("TMPK/vocaltrack.MP3")));
}

TEST_F(TakeEncoding, WavToMp3StartsTheConverterBesideTheExecutable) {
    const fs::path bin = folder.path() / "bin";
    process.setFolders(bin.string(), app->appFolder);
    app->ui.wavp3->setEnabled(true);
    app->ui.wavp3->trigger();
    ASSERT_EQ(process.started().size(), 1u);
    EXPECT_EQ(process.started().back().program, (bin / "mp3enc").string());
    EXPECT_TRUE(process.started().back().args.empty());
}

} // namespace
} // namespace velvora::testing
