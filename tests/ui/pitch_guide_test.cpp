// The pitch guide the user's way: the Utility menu's "Pitch guide" shows the strip; a KAR song
// opened with Load and played while a voice sings into the virtual input; at the song's end a box
// gives the score. The voice is made here from the melody the guide shows, placed on the song's
// clock from the moment the guide began to listen.
#include "core/controls.h"
#include "core/song_state.h"
#include "engine/testing.h"
#include "pitch/pitch_guide.h"
#include "pitch/sung_voice.h"
#include "recording/take_score.h"
#include "support/app_fixture.h"
#include "support/midi_writer.h"
#include "support/song_files.h"
#include "ui/form1_window.h"
#include "widgets/form1_controls.h"
#include "widgets/main_controls.h"
#include "widgets/pitch_strip.h"
#include "widgets/words_full_screen.h"

#include <gmock/gmock.h>

#include <QAction>
#include <QApplication>
#include <QLineEdit>
#include <QPushButton>

#include <cmath>

namespace velvora::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

class PitchGuideTest : public AppFixture {
  protected:
    pitch::PitchGuide& guide() { return window.pitchGuide(); }

    void openSong(const fs::path& path) {
        dialogs.answerFile(path.string());
        app->ui.CmdCarica->click();
    }
    fs::path writeKar() {
        const fs::path kar = folder.path() / "Tune.kar";
        // Eight notes of 0.6 s from 0.6 s, keys 60 to 67.
        miditest::writeFile(
            kar, karaokeMidi({"\\Do", "re", "mi", "fa", "/sol", "la", "ti", "do"}, 96, 600000, 96));
        return kar;
    }
    bool playing() const { return app->s.chan && BASS_ChannelIsActive(app->s.chan) == BASS_ACTIVE_PLAYING; }
    fs::path song;
    int tempo = 10; // the tempo control's place while the song plays: 10 is as written
    // From the guide's next look, a voice `shift` semitones from the melody (none: silence), `lag`
    // seconds late, in step with the song as it is heard at its present tempo; then the time to
    // the song's end and the program's own end of it.
    void singToTheEnd(std::optional<double> shift, double lag = 0) {
        clock.advance(pitch::PitchGuide::kTickMs);
        const double from = heardSeconds();
        // At a moved tempo the song's own seconds pass this much faster than heard ones.
        const double pace = 1.0 / app->s.temposcale.load();
        const pitch::Melody& m = guide().melody();
        const double length = (m.notes.back().end + 1.0 - from) / pace;
        std::vector<std::int16_t> stereo;
        if (shift) {
            pitch::Melody later = m;
            for (auto& n : later.notes) n.start = (n.start - from) / pace, n.end = (n.end - from) / pace;
            const std::vector<float> voice = pitch::testing::singMelody(later, length, *shift, lag);
            for (float s : voice) stereo.insert(stereo.end(), 2, static_cast<std::int16_t>(s * 32767));
        } else {
            stereo.assign(static_cast<std::size_t>(length * 44100) * 2, 0);
        }
        // What the last song's voice left unsung is not this one's.
        engine::testing::clearCaptureInput();
        engine::testing::pushCaptureInput(stereo);
        EXPECT_TRUE(clock.advanceUntil([&] { return !playing(); }, 20000, 20));
        // The program's own end of the song comes a second after its stream goes.
        clock.advance(1500);
    }
    // The song's own seconds heard now: a MIDI song's tick on its written clock.
    double heardSeconds() {
        const QWORD tick = BASS_ChannelGetPosition(app->s.chan, BASS_POS_MIDI_TICK);
        return pitch::secondsAtTick(guide().melody().clock, static_cast<double>(tick));
    }
    // Plays the open song with a voice `shift` semitones from the melody (none: silence), `lag`
    // seconds late, and returns the texts of the boxes shown at its end.
    std::vector<std::string> singThrough(std::optional<double> shift, double lag = 0) {
        // A MIDI song's stream goes at its end: each time it is opened again, as a user does.
        openSong(song);
        EXPECT_TRUE(shows(*app, SongState::MidiReady));
        dialogs.clear();
        dialogs.answer(platform::vbOK);
        if (tempo != 10) {
            // Opening a song puts its tempo back as written: the user moves it before Play.
            app->ui.SldTempo->setValue(tempo);
            emit app->ui.SldTempo->userChanged(tempo);
            EXPECT_EQ(caption(app->ui.LblTempo), std::to_string((10 - tempo) * 5) + "%");
        }
        app->ui.Cmd_play->click();
        EXPECT_TRUE(playing());
        singToTheEnd(shift, lag);
        std::vector<std::string> texts;
        for (const auto& b : dialogs.shown()) texts.push_back(b.text);
        return texts;
    }
};

TEST_F(PitchGuideTest, AVoiceOnTheMelodyScoresHighASemitoneOffLowSilenceNothing) {
    start();
    ASSERT_FALSE(window.pitchStrip().isVisible());
    window.show();
    window.pitchAction()->trigger();
    EXPECT_TRUE(window.pitchStrip().isVisible());
    EXPECT_TRUE(guide().shown());
    song = writeKar();
    openSong(song);
    ASSERT_TRUE(shows(*app, SongState::MidiReady));
    clock.advance(pitch::PitchGuide::kTickMs);
    ASSERT_EQ(guide().melody().notes.size(), 8u);
    EXPECT_EQ(window.pitchStrip().view().notes.size(), 8u) << "the melody is on the strip";

    EXPECT_THAT(singThrough(0.0), ::testing::ElementsAre(HasSubstr("Your score: ")));
    EXPECT_GE(guide().lastScore(), 95);
    EXPECT_FALSE(window.pitchStrip().view().readings.empty()) << "the trace was drawn";
    EXPECT_THAT(singThrough(-12.0), ::testing::ElementsAre(HasSubstr("Your score: ")));
    EXPECT_GE(guide().lastScore(), 95) << "an octave lower";
    EXPECT_THAT(singThrough(1.0), ::testing::ElementsAre(HasSubstr("Your score: ")));
    EXPECT_LE(guide().lastScore(), 10) << "a semitone sharp";
    EXPECT_THAT(singThrough(std::nullopt), ::testing::ElementsAre("Your score: 0 of 100")) << "silence";
    // Late by a measured round trip of 120 ms: as in time.
    app->s.capture.calibration = LatencyCalibration{120.0, 1.0};
    EXPECT_THAT(singThrough(0.0, 0.12), ::testing::ElementsAre(HasSubstr("Your score: ")));
    EXPECT_GE(guide().lastScore(), 95) << "late by the round trip";
}

TEST_F(PitchGuideTest, TheSingersScreenShowsTheSameStripAndATempoMovedUpStillScores) {
    start();
    widgets::PitchStrip& singers = *app->ui.frmWordsFullScreen->pitchStrip();
    EXPECT_TRUE(singers.isHidden()) << "off until the guide is on";
    window.pitchAction()->trigger();
    EXPECT_FALSE(singers.isHidden());
    app->ui.CmdKara->click();
    EXPECT_TRUE(singers.isVisible()) << "shown with the singer's screen";
    song = writeKar();
    openSong(song);
    clock.advance(pitch::PitchGuide::kTickMs);
    EXPECT_EQ(singers.view().notes.size(), 8u);

    // +20 %: the song goes a fifth faster than written; its melody still meets the voice.
    tempo = 6;
    EXPECT_THAT(singThrough(0.0), ::testing::ElementsAre(HasSubstr("Your score: ")));
    EXPECT_GE(guide().lastScore(), 95) << "in tune at +20 %";
    // One detector, two views: the same trace on the same clock.
    const widgets::PitchStripView& main = window.pitchStrip().view();
    ASSERT_FALSE(main.readings.empty());
    EXPECT_EQ(singers.view().readings.size(), main.readings.size());
    EXPECT_EQ(singers.view().readings.back().seconds, main.readings.back().seconds);
    EXPECT_EQ(singers.view().now, main.now);
    // The same song a semitone off at that tempo is not in tune: the clock is not merely lenient.
    EXPECT_THAT(singThrough(1.0), ::testing::ElementsAre(HasSubstr("Your score: ")));
    EXPECT_LE(guide().lastScore(), 10);

    window.pitchAction()->trigger();
    EXPECT_TRUE(singers.isHidden()) << "goes with the guide";
}

TEST_F(PitchGuideTest, WithNoMicrophoneTheStripSaysSoAndThereIsNoScore) {
    // The capture device has no input; the others' tests have the microphone again.
    struct NoMicrophone {
        NoMicrophone() { engine::testing::setVirtualInputs({}); }
        ~NoMicrophone() { engine::testing::setVirtualInputs({{"Virtual Microphone", true}}); }
    } noMicrophone;
    start();
    window.pitchAction()->trigger();
    song = writeKar();
    openSong(song);
    dialogs.clear();
    app->ui.Cmd_play->click();
    ASSERT_TRUE(playing());
    clock.advance(pitch::PitchGuide::kTickMs);
    for (const widgets::PitchStrip* strip : {&window.pitchStrip(), app->ui.frmWordsFullScreen->pitchStrip()})
        EXPECT_THAT(strip->view().message.toStdString(), HasSubstr("No input to listen on"));
    EXPECT_TRUE(clock.advanceUntil([&] { return !playing(); }, 20000, 20));
    clock.advance(1500);
    EXPECT_TRUE(dialogs.shown().empty()) << "no score without a voice to hear";
    EXPECT_EQ(guide().lastScore(), -1);
    EXPECT_TRUE(window.pitchStrip().view().readings.empty());
}

TEST_F(PitchGuideTest, AScoreSungOverATakeIsKeptWithItAndGoesIntoThePackage) {
    start();
    window.pitchAction()->trigger();
    song = writeKar();
    openSong(song);
    const std::string kept = recording::takeScorePath(*app);
    // A score left by an earlier take is not this take's.
    recording::keepTakeScore(*app, {12, "Old.kar"});
    app->ui.CmdRec->click();
    ASSERT_TRUE(app->s.recordArmed);
    dialogs.clear();
    dialogs.answer(platform::vbOK); // the score
    app->ui.Cmd_play->click();      // through the count-in
    ASSERT_TRUE(playing());
    EXPECT_FALSE(fs::exists(kept)) << "the new take forgot the old score";
    singToTheEnd(0.0);
    ASSERT_GE(guide().lastScore(), 95);
    std::optional<recording::TakeScore> score = recording::readTakeScore(kept);
    ASSERT_TRUE(score) << "kept in the take folder once the song was sung";
    EXPECT_EQ(score->score, guide().lastScore());
    EXPECT_EQ(score->song, "Tune.kar");

    // Stop, and Yes to the take question: the maker makes a package, with the score in it.
    dialogs.answer(platform::vbYes);
    dialogs.answer(platform::vbOK); // "Done! LRC Creator"
    dialogs.answer(platform::vbOK); // "Done!"
    app->ui.Cmd_Stop->click();
    EXPECT_TRUE(fs::exists(fs::path(app->appFolder) / "TKKK" / "vocaltrack.wav"));
    EXPECT_EQ(recording::readTakeScore(kept)->score, score->score) << "the take's answer keeps it";
    widgets::Form1Controls& maker = window.form1().controls();
    ASSERT_TRUE(window.form1().dialog().isVisible());
    maker.TxtTitle->setText("Tune");
    maker.CmdSalva->click();
    const fs::path nvk = folder.path() / "Tune.NVK";
    dialogs.answerFile(nvk.string());
    dialogs.answer(platform::vbOK); // "NVK CREATO CON SUCCESSO!"
    maker.Command5->click();
    ASSERT_TRUE(fs::exists(nvk));

    // Reopened, the package unpacks the score beside its information, and it is no track.
    openSong(nvk);
    ASSERT_TRUE(shows(*app, SongState::PackageReady));
    EXPECT_EQ(app->s.stemCount, 3);
    score = recording::readTakeScore((fs::path(app->appFolder) / "TMPK" / "score.txt").string());
    ASSERT_TRUE(score) << "the score came with the package";
    EXPECT_EQ(score->score, guide().lastScore());
    EXPECT_EQ(score->song, "Tune.kar");
}

TEST_F(PitchGuideTest, AnAudioSongHasNoMelodyAndNoScoreAndAHiddenStripDoesNotListen) {
    start();
    window.pitchAction()->trigger();
    const fs::path wav = folder.path() / "Tone.wav";
    writeToneWav(wav, 2.0, 220.0);
    openSong(wav);
    clock.advance(pitch::PitchGuide::kTickMs);
    EXPECT_EQ(guide().melody().channel, -1);
    EXPECT_THAT(window.pitchStrip().view().message.toStdString(), HasSubstr("no melody"));
    dialogs.clear();
    app->ui.CmdPlw->click();
    EXPECT_TRUE(clock.advanceUntil([&] { return !playing(); }, 10000, 20));
    clock.advance(4 * pitch::PitchGuide::kTickMs);
    EXPECT_TRUE(dialogs.shown().empty()) << "no score without a melody";
    EXPECT_EQ(guide().lastScore(), -1);

    window.pitchAction()->trigger();
    EXPECT_FALSE(guide().shown());
    EXPECT_FALSE(window.pitchStrip().isVisible());
}

} // namespace
} // namespace velvora::testing
