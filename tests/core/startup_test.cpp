#include "core/controller.h"
#include "core/controls.h"
#include "core/startup.h"
#include "engine/api.h"
#include "engine/testing.h"
#include "support/app_fixture.h"

#include <filesystem>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using testing::AppFixture;

class StartupTest : public AppFixture {};

TEST_F(StartupTest, EndsInTheEmptyStateWithOnlyThePainterTimersRunning) {
    start();
    auto& ui = app->ui;
    EXPECT_TRUE(ui.CmdCarica->isEnabled());
    EXPECT_TRUE(ui.MnuOpenSong->isEnabled());
    for (QWidget* off : {static_cast<QWidget*>(ui.Cmd_play), static_cast<QWidget*>(ui.CmdPlw),
                         static_cast<QWidget*>(ui.Cmd_Stop), static_cast<QWidget*>(ui.CmdStw),
                         static_cast<QWidget*>(ui.CmdPause), static_cast<QWidget*>(ui.cmdplaystop)})
        EXPECT_FALSE(off->isEnabled()) << off->objectName().toStdString();
    EXPECT_TRUE(app->s.FileName.empty());

    const Timers& t = app->tmr;
    EXPECT_TRUE(t.Timer4->enabled());
    EXPECT_TRUE(t.Timer->enabled());
    for (const auto* stopped : {&t.Timer1, &t.tmrMidiTest, &t.TimTps, &t.tmrPlaybackPosition, &t.tmrSpectrum,
                                &t.tmrSYLTmp3, &t.PlayTimer, &t.Timer3, &t.TmrStart, &t.TmrDigit, &t.Timer5})
        EXPECT_FALSE((*stopped)->enabled());
    EXPECT_EQ(t.Timer4->interval(), 32000);

    EXPECT_FLOAT_EQ(app->s.temposcale, 1.0f);
    EXPECT_EQ(app->s.sampleRate, 44100u);
    EXPECT_EQ(app->s.floatFlag, 256u);
    EXPECT_FALSE(ui.Check1[3]->isChecked());
    EXPECT_FALSE(ui.Check1[3]->isEnabled());
    EXPECT_FALSE(ui.Slider2[3]->isEnabled());
    EXPECT_FALSE(ui.SldMidi->isEnabled());
    EXPECT_FALSE(ui.Picture2->isEnabled());
    EXPECT_EQ(app->s.capture.recBufStep, 200000);
    EXPECT_EQ(app->s.painter.lyricSizeClass, 1);
    EXPECT_EQ(app->s.painter.sungColour, 255u);
    EXPECT_EQ(app->s.painter.nextPairColour, 0xFFFFFFu);
    EXPECT_EQ(app->s.spectrum.specMode, 1);
    EXPECT_TRUE(dialogs.shown().empty());
    // The engine is up: the master level can be set.
    EXPECT_TRUE(BASS_SetVolume(1.0f));
}

TEST_F(StartupTest, ListsTheCaptureInputsAndSelectsTheOneThatIsOn) {
    engine::testing::setVirtualInputs(
        {{"Line In", false}, {"Microphone", true}, {"Monitor of Speakers", false}});
    start();
    ASSERT_EQ(app->ui.cmbInput->count(), 3);
    EXPECT_EQ(app->ui.cmbInput->itemText(2).toStdString(), "Monitor of Speakers");
    EXPECT_EQ(app->s.inputIndex, 1);
    EXPECT_EQ(app->ui.cmbInput->currentIndex(), 1);
    engine::testing::setVirtualInputs({{"Virtual Microphone", true}});
}

TEST_F(StartupTest, NoCaptureDeviceLeavesTheInputListEmptyAndGoesOn) {
    engine::testing::setVirtualInputs({});
    start();
    EXPECT_EQ(app->ui.cmbInput->count(), 0);
    EXPECT_EQ(app->s.inputIndex, -1);
    EXPECT_TRUE(app->ui.CmdCarica->isEnabled());
    engine::testing::setVirtualInputs({{"Virtual Microphone", true}});
}

TEST_F(StartupTest, TheProgramFolderSoundFontWinsInWhateverCase) {
    testing::writeTinySoundFont(folder.path() / "Chorium.sf2", "Chorium");
    start();
    ASSERT_NE(app->s.font, 0u);
    EXPECT_EQ(fs::path(app->s.soundFontPath).filename(), "Chorium.sf2");
    BASS_MIDI_FONTINFO info{};
    ASSERT_TRUE(BASS_MIDI_FontGetInfo(app->s.font, &info));
    EXPECT_STREQ(info.name, "Chorium");
    EXPECT_FLOAT_EQ(BASS_MIDI_FontGetVolume(app->s.font), 0.5f);
}

TEST_F(StartupTest, WithoutAnySoundFontMidiIsSilentAndNothingIsSaid) {
    app->systemSoundFont = (folder.path() / "no-such-font.sf2").string();
    start();
    EXPECT_EQ(app->s.font, 0u);
    EXPECT_TRUE(dialogs.shown().empty());
    EXPECT_TRUE(app->ui.CmdCarica->isEnabled());
}

TEST_F(StartupTest, WithoutFloatSupportTheFlagStaysZero) {
    // Before the device is up no stream can be made, which is how a machine without float
    // streams looks to the first phase.
    ASSERT_TRUE(Form_Initialize(*app));
    EXPECT_EQ(app->s.floatFlag, 0u);
    EXPECT_EQ(app->s.sampleRate, 44100u);
}

TEST_F(StartupTest, MakeDirCreatesTheFoldersOnceAndStopsAtTheFirstThatExists) {
    start();
    for (const char* f : {"PLAY", "TKKK", "TMPK", "SONGCUSTOM"})
        EXPECT_TRUE(fs::is_directory(folder.path() / f)) << f;
    fs::remove(folder.path() / "TMPK");
    MakeDir(*app);
    // PLAY is there, so the routine leaves before it gets to TMPK.
    EXPECT_FALSE(fs::exists(folder.path() / "TMPK"));
    EXPECT_TRUE(dialogs.shown().empty());
}

TEST_F(StartupTest, AnEngineThatCannotComeUpAgainEndsTheProgramWithItsErrorCode) {
    start();
    // The device is still up, so bringing it up again fails with "already".
    PerPausa(*app);
    ASSERT_EQ(dialogs.unexpected().size(), 1u);
    EXPECT_EQ(dialogs.shown().back().caption, "Error");
    EXPECT_EQ(dialogs.shown().back().style, 48);
    EXPECT_EQ(dialogs.shown().back().text,
              "Can't initialize device\n\nBASS Error Code: 14\nBASS_FX Error Code: ");
    EXPECT_TRUE(process.ended());
    dialogs.clear();
}

class ExitTest : public AppFixture {};

TEST_F(ExitTest, ClosingTheWindowAsksAndNoKeepsEverything) {
    start();
    dialogs.answer(platform::vbNo);
    EXPECT_FALSE(Form_Unload(*app));
    ASSERT_EQ(dialogs.shown().size(), 1u);
    EXPECT_EQ(dialogs.shown()[0].text, "Exit ?");
    EXPECT_EQ(dialogs.shown()[0].caption, "Velvora Synth");
    EXPECT_EQ(dialogs.shown()[0].style, 68);
    EXPECT_FALSE(process.ended());
    EXPECT_TRUE(BASS_SetVolume(1.0f)) << "the engine must still be up";
}

TEST_F(ExitTest, ClosingTheWindowWithYesFreesTheEngineWaitsAndEnds) {
    start();
    dialogs.answer(platform::vbYes);
    const long long before = clock.nowMs();
    EXPECT_TRUE(Form_Unload(*app));
    EXPECT_TRUE(process.ended());
    EXPECT_EQ(clock.nowMs() - before, 2000);
    EXPECT_FALSE(BASS_SetVolume(1.0f));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_INIT);
    EXPECT_EQ(app->s.cancelFlag, 1);
}

TEST_F(ExitTest, TheMenuDoorAsksUnderItsOwnCaptionAndDoesNotWait) {
    start();
    app->tmr.Timer1->setEnabled(true);
    dialogs.answer(platform::vbNo);
    MnuExit_Click(*app);
    EXPECT_FALSE(process.ended());
    EXPECT_TRUE(app->tmr.Timer1->enabled());
    dialogs.answer(platform::vbYes);
    const long long before = clock.nowMs();
    MnuExit_Click(*app);
    EXPECT_EQ(dialogs.shown()[1].caption, "Velvora");
    EXPECT_EQ(dialogs.shown()[1].style, 68);
    EXPECT_TRUE(process.ended());
    EXPECT_EQ(clock.nowMs(), before);
    EXPECT_FALSE(app->tmr.Timer1->enabled());
    EXPECT_FALSE(BASS_SetVolume(1.0f));
}

TEST_F(ExitTest, TheWindowsCloseButtonRunsTheSameQuestion) {
    start();
    window.show();
    dialogs.answer(platform::vbNo);
    EXPECT_FALSE(window.close());
    dialogs.answer(platform::vbYes);
    EXPECT_TRUE(window.close());
    EXPECT_TRUE(process.ended());
}

} // namespace
} // namespace velvora
