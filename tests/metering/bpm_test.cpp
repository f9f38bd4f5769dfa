// The BPM label of an audio song: the measure at play, scaled by the stream's rate ratio, and the
// running measure behind the check box with its period box.
#include "core/controls.h"
#include "engine/api.h"
#include "metering/bpm.h"
#include "support/app_fixture.h"
#include "support/click_track.h"
#include "support/song_files.h"
#include "transport/song_open.h"
#include "transport/transport.h"
#include "widgets/main_controls.h"

#include <QCheckBox>
#include <QLineEdit>

#include <filesystem>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using testing::AppFixture;

class BpmDisplayTest : public AppFixture {
  protected:
    // A click track at 120 a minute, shorter than the 30 seconds the first measure asks for.
    void playClicks(double seconds = 12.0) {
        const fs::path path = folder.path() / "clicks.wav";
        testing::writeWav(path, testing_clicks::clicks(120, seconds), 2);
        dialogs.answerFile(path.string());
        transport::CmdCarica_Click(*app);
        transport::CmdPlw_Click(*app);
    }
    std::string label() { return caption(app->ui.lblBPM); }
};

TEST_F(BpmDisplayTest, AShortSongIsMeasuredToItsEndAndTheFigureFollowsTheTempo) {
    start();
    EXPECT_EQ(label(), "Bpm: ");
    playClicks(12.0);
    EXPECT_NEAR(app->s.bpm.bpmValue, 120.0f, 1.0f);
    EXPECT_EQ(label(), "Bpm: 120");

    // A measured 120 at a rate ratio of 1.5 shows 180.
    BASS_ChannelSetAttribute(app->s.chan, BASS_ATTRIB_TEMPO, 50);
    ASSERT_FLOAT_EQ(BASS_FX_TempoGetRateRatio(app->s.chan), 1.5f);
    app->s.bpm.bpmValue = 120.0f;
    metering::showBPM(*app);
    EXPECT_EQ(label(), "Bpm: 180");
    metering::GetBPM(*app, -1, 0, 30, 0);
    EXPECT_EQ(label(), "Bpm: 180");
}

TEST_F(BpmDisplayTest, AFailedMeasureLeavesTheLabelAsItWas) {
    start();
    playClicks();
    setCaption(app->ui.lblBPM, "Bpm: 77");
    app->s.FileName = (folder.path() / "gone.wav").string();
    metering::GetBPM(*app, -1, 0, 30, 0); // no stream to measure: nothing measured
    EXPECT_NEAR(app->s.bpm.bpmValue, 120.0f, 1.0f);
    EXPECT_EQ(label(), "Bpm: 77");
    // Silence has no tempo: the measure fails with 0.
    const fs::path quiet = folder.path() / "quiet.wav";
    testing::writeToneWav(quiet, 5.0, 0.0);
    app->s.FileName = quiet.string();
    metering::GetBPM(*app, -1, 0, 30, 0);
    EXPECT_EQ(app->s.bpm.bpmValue, 0.0f);
    EXPECT_EQ(label(), "Bpm: 77");
}

TEST_F(BpmDisplayTest, TheRunningMeasureReportsEachPeriodUntilTheBoxIsCleared) {
    start();
    playClicks(30.0);
    setCaption(app->ui.lblBPM, "Bpm: ?");
    app->ui.TxtBPMPeriod->setText("4");
    app->ui.chkBPMCallback->setChecked(true); // its click starts the measure
    clock.advance(3000);
    EXPECT_EQ(label(), "Bpm: ?") << "the first span is not heard yet";
    clock.advance(3000);
    EXPECT_EQ(label(), "Bpm: 120");

    app->ui.chkBPMCallback->setChecked(false);
    setCaption(app->ui.lblBPM, "Bpm: ?");
    clock.advance(9000);
    EXPECT_EQ(label(), "Bpm: ?");

    // A period that is no number starts nothing.
    app->ui.TxtBPMPeriod->setText("soon");
    app->ui.chkBPMCallback->setChecked(true);
    clock.advance(9000);
    EXPECT_EQ(label(), "Bpm: ?");
}

} // namespace
} // namespace velvora
