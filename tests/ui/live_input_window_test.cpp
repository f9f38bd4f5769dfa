#include "engine/testing.h"
#include "metering/live_input_level.h"
#include "support/app_fixture.h"
#include "ui/live_input_window.h"
#include "widgets/live_input_controls.h"
#include "widgets/main_controls.h"

#include <QDialog>
#include <QImage>
#include <QLabel>
#include <QPushButton>
#include <QSlider>

#include <gmock/gmock.h>

#include <filesystem>

namespace velvora {
namespace {

using testing::AppFixture;

// Rows of the bar's box that hold any lit (non-black) pixel, counted from the bottom.
int litRows(QWidget* meter) {
    const QImage image = meter->grab().toImage();
    int rows = 0;
    for (int y = image.height() - 1; y >= 0; --y) {
        bool lit = false;
        for (int x = 0; x < image.width() && !lit; ++x) lit = (image.pixel(x, y) & 0xffffff) != 0;
        if (!lit) break;
        ++rows;
    }
    return rows;
}

class LiveSpecTest : public AppFixture {
  protected:
    ui::LiveSpecWindow& live() { return window.liveSpec(); }
    QWidget* meter() { return live().controls().picVUMeter[1]; }
    // Plays a steady input with this peak for a while, so that several ticks draw it.
    void hear(std::int16_t peak, int ms) {
        std::vector<std::int16_t> input(static_cast<std::size_t>(ms) * 441 / 10 * 2);
        for (std::size_t i = 0; i < input.size(); i += 2)
            input[i] = (i / 2) % 2 ? peak : static_cast<std::int16_t>(-peak);
        engine::testing::pushCaptureInput(input);
        clock.advance(ms);
    }
};

TEST_F(LiveSpecTest, SilenceDrawsNothingAndAPeakOf30000FillsTheBox) {
    start();
    live().show();
    ASSERT_TRUE(live().loaded());
    EXPECT_TRUE(live().routines().tmrLiveSpec->enabled());
    EXPECT_EQ(live().routines().tmrLiveSpec->interval(), 25);
    meter()->resize(48, 200);
    hear(0, 200);
    EXPECT_EQ(litRows(meter()), 0);
    hear(30000, 200);
    EXPECT_EQ(litRows(meter()), 200) << "full scale is 30000";
    hear(15000, 200);
    EXPECT_NEAR(litRows(meter()), 100, 1);
    hear(32767, 200);
    EXPECT_EQ(litRows(meter()), 200) << "louder still fills the box";
}

TEST_F(LiveSpecTest, ClosingUnloadsAndShowingLoadsAgain) {
    start();
    live().show();
    const HRECORD first = live().routines().liveChan;
    ASSERT_NE(first, 0u);
    live().dialog().close();
    EXPECT_FALSE(live().loaded());
    EXPECT_FALSE(live().routines().tmrLiveSpec->enabled());
    EXPECT_EQ(BASS_ChannelIsActive(first), 0u) << "its capture ended";
    live().show();
    EXPECT_TRUE(live().loaded());
    EXPECT_NE(live().routines().liveChan, 0u);
    app->ui.CmdMicro->click();
    EXPECT_TRUE(live().dialog().isVisible());
}

TEST_F(LiveSpecTest, TheSliderSetsTheInputLevelUpsideDown) {
    start();
    live().show();
    auto* slider = live().controls().sldEQR;
    float level = -1;
    slider->setValue(100);
    BASS_RecordGetInput(app->s.inputIndex, &level);
    EXPECT_FLOAT_EQ(level, 0.0f);
    slider->setValue(0);
    BASS_RecordGetInput(app->s.inputIndex, &level);
    EXPECT_FLOAT_EQ(level, 1.0f);
    slider->setValue(25);
    BASS_RecordGetInput(app->s.inputIndex, &level);
    EXPECT_FLOAT_EQ(level, 0.75f);
    EXPECT_FALSE(BASS_RecordGetInput(app->s.inputIndex, nullptr) & BASS_INPUT_OFF) << "the input stays on";
}

TEST_F(LiveSpecTest, TheSoundSetUpEntriesStartTheDesktopMixerAndTheInputList) {
    start();
    metering::Cominput_Click(*app);
    metering::Comout_Click(*app);
    ASSERT_EQ(process.started().size(), 2u);
    EXPECT_EQ(process.started()[0].program, "pavucontrol");
    EXPECT_THAT(process.started()[0].args, ::testing::ElementsAre("--tab=4"));
    EXPECT_EQ(process.started()[1].program, "pavucontrol");
    EXPECT_THAT(process.started()[1].args, ::testing::ElementsAre("--tab=3"));

    app->ui.cmbInput->hide();
    dialogs.answer(platform::vbNo);
    metering::inputmenu_Click(*app);
    EXPECT_TRUE(app->ui.cmbInput->isHidden());
    dialogs.answer(platform::vbYes);
    metering::inputmenu_Click(*app);
    EXPECT_FALSE(app->ui.cmbInput->isHidden());
    ASSERT_EQ(dialogs.shown().size(), 2u);
    EXPECT_EQ(dialogs.shown()[0].text, "Funzione Disponibile solo per XP Confermi ?");
    EXPECT_EQ(dialogs.shown()[0].caption, "REGISTRAZIONE");
    EXPECT_EQ(dialogs.shown()[0].style, platform::vbYesNo);
}

// The latency button says in its label what it found; a deaf input or none keeps nothing, a heard
// round trip is kept in latency.vrk. The live meter's own capture runs all along.
TEST_F(LiveSpecTest, TheLatencyButtonShowsWhatItHeardAndKeepsOnlyAMeasurement) {
    engine::testing::setVirtualInputDelay(44100 * 87 / 1000); // the meter's capture opens the input
    start();
    live().show();
    ASSERT_TRUE(live().loaded());
    const auto label = [this] { return live().controls().LblLatency->text().toStdString(); };
    const auto kept = folder.path() / "latency.vrk";
    live().controls().CmdLatency->click(); // the input hears the room, not the output
    EXPECT_EQ(label(), "No click was heard: the latency was not measured.");
    EXPECT_FALSE(app->s.capture.calibration);
    EXPECT_FALSE(std::filesystem::exists(kept));
    engine::testing::hearOutputOnInput(true);
    live().controls().CmdLatency->click();
    engine::testing::hearOutputOnInput(false);
    engine::testing::setVirtualInputDelay(0);
    EXPECT_EQ(label(), "Latency: 87 ms \u00b1 0 ms");
    ASSERT_TRUE(app->s.capture.calibration);
    EXPECT_TRUE(std::filesystem::exists(kept));
    // No capture device: a plain word, and the measurement kept before stays.
    BASS_RecordFree();
    live().controls().CmdLatency->click();
    EXPECT_EQ(label(), "No input to listen on: the latency cannot be measured.");
    EXPECT_TRUE(app->s.capture.calibration);
    EXPECT_TRUE(live().controls().CmdLatency->isEnabled());
}

} // namespace
} // namespace velvora
