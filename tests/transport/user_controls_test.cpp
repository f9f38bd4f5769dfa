// The player's controls driven as a user drives them: clicks on the seek bar's groove, keys and the
// wheel on the window, label clicks. Values set by the program's own code run no change routine.
#include "core/controls.h"
#include "core/startup.h"
#include "engine/api.h"
#include "engine/testing.h"
#include "support/app_fixture.h"
#include "support/midi_writer.h"
#include "support/signal.h"
#include "support/song_files.h"
#include "support/user_input.h"
#include "transport/song_open.h"
#include "transport/transport.h"

#include <QCheckBox>
#include <QImage>
#include <QTest>

#include <filesystem>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using namespace transport;
using testing::AppFixture;

class UserControlsTest : public AppFixture {
  protected:
    void showWindow() {
        window.resize(1100, 760);
        window.show();
        QApplication::processEvents();
    }
    void open(const fs::path& path) {
        dialogs.answerFile(path.string());
        app->ui.CmdCarica->click();
    }
    fs::path wav(double seconds) {
        const fs::path path = folder.path() / "tone.wav";
        testing::writeToneWav(path, seconds);
        return path;
    }
    fs::path longKar() {
        const fs::path path = folder.path() / "long.kar";
        miditest::writeFile(path, testing::karaokeMidi(std::vector<std::string>(80, "la "), 96));
        return path;
    }
    double audioSeconds() {
        const DWORD chan = app->s.chan;
        return BASS_ChannelBytes2Seconds(chan, BASS_ChannelGetPosition(chan, BASS_POS_BYTE));
    }
    float channelVolume() {
        float v = -1;
        BASS_ChannelGetAttribute(app->s.chan, BASS_ATTRIB_VOL, &v);
        return v;
    }
};

// A click on the groove puts the knob where the click was and the song goes there: the press and
// release that a drag makes, and the bar's follower does not pull the knob back.
TEST_F(UserControlsTest, AGrooveClickAtEightyPercentSeeksThereAndStays) {
    start();
    showWindow();
    open(wav(20.0));
    app->ui.CmdPlw->click();
    clock.advance(1000);
    auto* bar = app->ui.Sldposition;
    ASSERT_EQ(bar->maximum(), 20);
    QTest::mouseClick(bar, Qt::LeftButton, {}, testing::knobCentreAt(bar, 16));
    EXPECT_EQ(bar->value(), 16);
    EXPECT_TRUE(app->tmr.tmrMidiTest->enabled()) << "the release gives the bar back to its follower";
    EXPECT_NEAR(audioSeconds(), 16.0, 0.05);
    clock.advance(1200); // two passes of the follower
    EXPECT_NEAR(audioSeconds(), 17.2, 0.1);
    EXPECT_EQ(bar->value(), 17);
}

// The keys on the bar seek as a click does; on a MIDI song the bar counts in 120 ticks.
TEST_F(UserControlsTest, KeysOnTheBarSeekAMidiSongByItsUnits) {
    start();
    showWindow();
    open(longKar());
    app->ui.Cmd_play->click();
    clock.advance(500);
    auto* bar = app->ui.Sldposition;
    const int from = bar->value();
    QTest::keyClick(bar, Qt::Key_PageUp);
    EXPECT_EQ(bar->value(), from + 10);
    EXPECT_TRUE(app->tmr.tmrMidiTest->enabled());
    EXPECT_EQ(BASS_ChannelGetPosition(app->s.chan, BASS_POS_MIDI_TICK), static_cast<QWORD>(from + 10) * 120);
    QTest::keyClick(bar, Qt::Key_Left);
    EXPECT_EQ(BASS_ChannelGetPosition(app->s.chan, BASS_POS_MIDI_TICK), static_cast<QWORD>(from + 9) * 120);
    testing::wheel(bar, 1);
    EXPECT_EQ(BASS_ChannelGetPosition(app->s.chan, BASS_POS_MIDI_TICK),
              static_cast<QWORD>(bar->value()) * 120);
    EXPECT_GT(bar->value(), from + 9);
}

// The wheel turned up and the Up key raise the audio level, on a slider whose top is its minimum.
TEST_F(UserControlsTest, WheelUpAndKeyUpRaiseTheAudioLevel) {
    start();
    showWindow();
    open(wav(5.0));
    app->ui.CmdPlw->click();
    const float before = channelVolume();
    EXPECT_NEAR(before, (100 - app->ui.SldVolume->value()) / 100.0f, 1e-6);
    testing::wheel(app->ui.SldVolume, 1);
    const float afterWheel = channelVolume();
    EXPECT_GT(afterWheel, before);
    QTest::keyClick(app->ui.SldVolume, Qt::Key_Up);
    EXPECT_GT(channelVolume(), afterWheel);
    testing::wheel(app->ui.SldVolume, -2);
    EXPECT_LT(channelVolume(), afterWheel);
}

// Every slider drawn upside down moves its knob up with the wheel turned up and with the Up key.
TEST_F(UserControlsTest, UpsideDownSlidersFollowTheWheelAndTheKeys) {
    start();
    showWindow();
    auto& ui = app->ui;
    std::vector<widgets::Slider*> sliders{ui.SldVolume, ui.Slider1,  ui.Sldvol,
                                          ui.SldMidi,   ui.SldTempo, ui.Vscroll1};
    for (widgets::Slider* s : ui.Slider2) sliders.push_back(s);
    for (widgets::Slider* s : sliders) {
        const std::string name = s->objectName().toStdString();
        ASSERT_TRUE(s->invertedAppearance()) << name;
        s->setEnabled(true);
        s->show();
        QApplication::processEvents();
        s->setValue((s->minimum() + s->maximum()) / 2);
        const int start = testing::knobRect(s).center().y();
        testing::wheel(s, 1);
        const int afterWheel = testing::knobRect(s).center().y();
        EXPECT_LT(afterWheel, start) << name << ": the wheel turned up moves the knob up";
        // Enough presses to move the knob by a pixel even on a slider of 127 steps.
        for (int i = 0; i < (s->maximum() - s->minimum()) / 8 + 1; ++i) QTest::keyClick(s, Qt::Key_Up);
        EXPECT_LT(testing::knobRect(s).center().y(), afterWheel) << name << ": Up moves the knob up";
    }
}

// What the program writes into a slider runs nothing; the user's move runs the routine.
TEST_F(UserControlsTest, AValueSetByCodeRunsNoChangeRoutine) {
    start();
    open(wav(5.0));
    app->ui.CmdPlw->click();
    const float level = channelVolume();
    app->ui.SldVolume->setValue(90);
    EXPECT_FLOAT_EQ(channelVolume(), level);
    testing::userSets(app->ui.SldVolume, 80);
    EXPECT_NEAR(channelVolume(), 0.2f, 1e-6);
}

// The clicks on the value labels bring each control and its sound back to neutral.
TEST_F(UserControlsTest, LabelClicksReturnTheAudioControlsAndTheirSoundToNeutral) {
    start();
    open(wav(5.0));
    app->ui.CmdPlw->click();
    auto& ui = app->ui;
    auto attribute = [&](DWORD which) {
        float v = -99;
        BASS_ChannelGetAttribute(app->s.chan, which, &v);
        return v;
    };
    testing::userSets(ui.SldMp3[1], 12);
    testing::userSets(ui.SldMp3[0], -3);
    EXPECT_FLOAT_EQ(attribute(BASS_ATTRIB_TEMPO), 12.0f);
    EXPECT_FLOAT_EQ(attribute(BASS_ATTRIB_TEMPO_PITCH), -3.0f);
    QTest::mouseClick(ui.Lbltmp, Qt::LeftButton);
    QTest::mouseClick(ui.LblTone, Qt::LeftButton);
    EXPECT_EQ(ui.SldMp3[1]->value(), 0);
    EXPECT_EQ(ui.SldMp3[0]->value(), 0);
    EXPECT_EQ(caption(ui.Lbltmp), "0%");
    EXPECT_EQ(caption(ui.LblTone), "0");
    EXPECT_FLOAT_EQ(attribute(BASS_ATTRIB_TEMPO), 0.0f);
    EXPECT_FLOAT_EQ(attribute(BASS_ATTRIB_TEMPO_PITCH), 0.0f);
}

TEST_F(UserControlsTest, LabelClicksReturnTheMidiTempoAndKeyToNeutral) {
    start();
    open(longKar());
    app->ui.Cmd_play->click();
    auto& ui = app->ui;
    testing::userSets(ui.SldTempo, 20);
    EXPECT_FLOAT_EQ(app->s.temposcale, 2.0f);
    const DWORD fileTempo = 500000;
    EXPECT_EQ(BASS_MIDI_StreamGetEvent(app->s.chan, 0, MIDI_EVENT_TEMPO), fileTempo);
    QTest::mouseClick(ui.LblTempo, Qt::LeftButton);
    EXPECT_EQ(ui.SldTempo->value(), 10);
    EXPECT_FLOAT_EQ(app->s.temposcale, 1.0f);
    EXPECT_EQ(caption(ui.LblTempo), "0%");
    // The bar moves at the file's own pace again: 96 ticks a beat at 120 beats a minute.
    clock.advance(500);
    const QWORD before = BASS_ChannelGetPosition(app->s.chan, BASS_POS_MIDI_TICK);
    clock.advance(2000);
    EXPECT_NEAR(static_cast<double>(BASS_ChannelGetPosition(app->s.chan, BASS_POS_MIDI_TICK) - before), 384,
                20);

    testing::userSets(ui.Vscroll1, 4);
    EXPECT_EQ(caption(ui.LblPitch), "-4");
    QTest::mouseClick(ui.LblPitch, Qt::LeftButton);
    EXPECT_EQ(ui.Vscroll1->value(), 0);
    EXPECT_EQ(caption(ui.LblPitch), "0");
}

// A cleared channel box leaves that channel's level and the channel SldMidi drives as they were.
TEST_F(UserControlsTest, ClearingAChannelBoxLeavesTheChannelAsItWas) {
    start();
    if (!app->s.font) GTEST_SKIP() << "no soundfont on this machine";
    showWindow();
    // A long note on channel 5 alone, at a volume the file sets.
    miditest::Track t;
    t.tempo(0, 500000).program(0, 5, 0).cc(0, 5, 7, 100);
    for (int i = 0; i < 8; ++i) t.on(0, 5, 60, 100).off(192, 5, 60);
    t.end(0);
    const fs::path path = folder.path() / "ch5.mid";
    miditest::writeFile(path, miditest::smf(0, 96, {t}));
    open(path);
    app->ui.Cmd_play->click();
    const auto channel = app->s.midiChannel;
    auto* box = app->ui.Check1[5];
    box->setEnabled(true);
    app->s.channelStrip[5].Volume = 30;
    engine::testing::keepHeard(true);
    engine::testing::clearHeard();
    QTest::mouseClick(box, Qt::LeftButton);
    ASSERT_TRUE(box->isChecked());
    clock.advance(1000);
    const auto& heard = engine::testing::heard();
    std::size_t frames = heard.size() / 2;
    const double ticked = miditest::rms(heard, frames - 13230, frames);
    QTest::mouseClick(box, Qt::LeftButton);
    ASSERT_FALSE(box->isChecked());
    EXPECT_EQ(app->s.midiChannel, channel) << "clearing the box moves no channel";
    EXPECT_EQ(app->ui.Slider2[5]->value(), 127);
    clock.advance(1000);
    frames = heard.size() / 2;
    const double cleared = miditest::rms(heard, frames - 13230, frames);
    EXPECT_GT(ticked, 0.0005);
    EXPECT_NEAR(cleared / ticked, 1.0, 0.25) << "the channel sounds as it did";
    engine::testing::keepHeard(false);
    engine::testing::clearHeard();
}

// The master level holds from the first block a device plays, not from the bar's first pass.
TEST_F(UserControlsTest, TheMasterLevelIsOnTheDeviceFromItsBringUp) {
    start();
    EXPECT_FLOAT_EQ(BASS_GetVolume(), (10 - app->ui.Slider1->value()) / 10.0f);
    app->ui.Slider1->setValue(8);
    BASS_Free();
    PerPausa(*app);
    EXPECT_FLOAT_EQ(BASS_GetVolume(), 0.2f);
}

// A disabled Rec button must not look armed: its red is for an enabled one only.
TEST_F(UserControlsTest, ADisabledRecButtonLooksDisabled) {
    start();
    showWindow();
    auto* rec = app->ui.CmdRec;
    auto reddish = [](const QImage& image) {
        int n = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x) {
                const QColor c = image.pixelColor(x, y);
                n += c.red() > 120 && c.red() > 2 * c.green() && c.red() > 2 * c.blue();
            }
        return n;
    };
    rec->setEnabled(true);
    const int enabledRed = reddish(rec->grab().toImage());
    rec->setEnabled(false);
    const int disabledRed = reddish(rec->grab().toImage());
    EXPECT_GT(enabledRed, 10);
    EXPECT_EQ(disabledRed, 0);
}

} // namespace
} // namespace velvora
