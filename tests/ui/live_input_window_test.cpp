#include "engine/testing.h"
#include "metering/live_input_level.h"
#include "support/app_fixture.h"
#include "ui/live_input_window.h"
#include "widgets/live_input_controls.h"
#include "widgets/main_controls.h"

#include <QDialog>
#include <QImage>
#include <QSlider>

#include <gmock/gmock.h>

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

} // namespace
} // namespace velvora
