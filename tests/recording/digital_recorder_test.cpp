#include "core/controls.h"
#include "engine/testing.h"
#include "recording/digital_recorder.h"
#include "recording/take_files.h"
#include "support/app_fixture.h"
#include "widgets/main_controls.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using namespace recording;
using namespace recordingtest;
using testing::AppFixture;

class DigitalRecorderTest : public AppFixture {};

TEST_F(DigitalRecorderTest, RecordsTheInputAndSavesItUnderTheChosenName) {
    start();
    { std::ofstream(folder.path() / "LiveTrack.wav") << "an earlier mix"; }
    auto& ui = app->ui;
    mnew_Click(*app);
    EXPECT_FALSE(fs::exists(folder.path() / "LiveTrack.wav"));
    EXPECT_TRUE(ui.Start_Dig->isEnabled());
    EXPECT_FALSE(ui.CmdCarica->isEnabled());
    EXPECT_FALSE(ui.Cmd_play->isEnabled());

    Start_Dig_Click(*app);
    EXPECT_EQ(caption(ui.lblTime), "00:00");
    EXPECT_EQ(caption(ui.lblM), "00");
    EXPECT_EQ(caption(ui.lblS), "00");
    EXPECT_FALSE(ui.Start_Dig->isEnabled());
    EXPECT_TRUE(ui.Stop_dig->isEnabled());
    const auto sung = voice(2 * 44100 + 4410, 42);
    engine::testing::pushCaptureInput(sung);
    clock.advance(2100);
    EXPECT_EQ(caption(ui.lblS), "02");
    Stop_dig_Click(*app);
    EXPECT_FALSE(app->tmr.TmrDigit->enabled());
    EXPECT_TRUE(ui.Save_Digit->isEnabled());
    const Wav take = readWav(folder.path() / "TKKK" / "vocaltrack.wav");
    EXPECT_EQ(take.samples, sung);

    clock.advance(3000);
    EXPECT_EQ(caption(ui.lblS), "02") << "the counter stands after the stop";
    const fs::path kept = folder.path() / "memo.wav";
    dialogs.answerFile(kept.string());
    dialogs.answer(platform::vbOK);
    Save_Digit_Click(*app);
    EXPECT_FALSE(ui.Save_Digit->isEnabled());
    EXPECT_TRUE(ui.CmdCarica->isEnabled());
    ASSERT_EQ(dialogs.shown().size(), 2u);
    EXPECT_EQ(dialogs.shown()[0].caption, "Save WAVE File As");
    EXPECT_EQ(dialogs.shown()[0].style, platform::ofnOverwritePrompt);
    EXPECT_EQ(dialogs.shown()[0].filter, "File Wave (*.wav)|*.wav");
    EXPECT_EQ(dialogs.shown()[1].text, "Done!");
    EXPECT_EQ(dialogs.shown()[1].style, 0);
    EXPECT_EQ(readBytes(kept), readBytes(folder.path() / "TKKK" / "vocaltrack.wav"));
}

TEST_F(DigitalRecorderTest, TheCounterGoesPast99MinutesAndIsNotResetByAStart) {
    const InputsScope none({}); // the counter runs also when the capture cannot start
    start();
    mnew_Click(*app);
    app->s.digital.digSeconds = 99 * 60 + 58; // an earlier take's count
    Start_Dig_Click(*app);
    EXPECT_EQ(caption(app->ui.lblM), "00");
    clock.advance(1000);
    EXPECT_EQ(caption(app->ui.lblM), "99");
    EXPECT_EQ(caption(app->ui.lblS), "59");
    clock.advance(1000);
    EXPECT_EQ(caption(app->ui.lblM), "100");
    EXPECT_EQ(caption(app->ui.lblS), "00");
    clock.advance(61000);
    EXPECT_EQ(caption(app->ui.lblM), "101");
    EXPECT_EQ(caption(app->ui.lblS), "01");
    Stop_dig_Click(*app);
    EXPECT_FALSE(fs::exists(folder.path() / "TKKK" / "vocaltrack.wav")) << "no capture, no file";
    EXPECT_TRUE(dialogs.shown().empty());
}

TEST_F(DigitalRecorderTest, ACancelledSaveGivesTheOpenButtonBackAndCopiesNothing) {
    start();
    mnew_Click(*app);
    Start_Dig_Click(*app);
    clock.advance(500);
    Stop_dig_Click(*app);
    dialogs.answerFile(std::nullopt);
    Save_Digit_Click(*app);
    EXPECT_TRUE(app->ui.CmdCarica->isEnabled());
    ASSERT_EQ(dialogs.shown().size(), 1u) << "no Done! after a cancel";
    EXPECT_TRUE(app->s.dialogFileName.empty());
}

} // namespace
} // namespace velvora
