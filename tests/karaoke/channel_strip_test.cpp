#include "core/controls.h"
#include "engine/api.h"
#include "engine/testing.h"
#include "karaoke/channel_strip.h"
#include "support/app_fixture.h"
#include "support/midi_writer.h"
#include "support/signal.h"
#include "support/song_files.h"
#include "support/user_input.h"
#include "transport/song_open.h"
#include "transport/transport.h"

#include <filesystem>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using testing::AppFixture;

class ChannelStripTest : public AppFixture {};

TEST_F(ChannelStripTest, OnAPackageTheFirstBoxesMuteAndRestoreTheirTracks) {
    start();
    const fs::path wav = folder.path() / "stem.wav";
    testing::writeToneWav(wav, 2.0);
    app->s.FileName = (folder.path() / "song.NVK").string();
    const std::wstring w = wav.wstring();
    app->s.stems[0] =
        BASS_FX_TempoCreate(BASS_StreamCreateFile(0, w.c_str(), 0, 0, BASS_STREAM_DECODE | BASS_UNICODE),
                            BASS_STREAM_DECODE | BASS_FX_FREESOURCE);
    ASSERT_NE(app->s.stems[0], 0u);
    app->s.channelStrip[0].Volume = 27;
    auto& ui = app->ui;
    ui.Check1[0]->setEnabled(true);
    ui.Check1[0]->setChecked(true);
    float volume = -1;
    BASS_ChannelGetAttribute(app->s.stems[0], BASS_ATTRIB_VOL, &volume);
    EXPECT_FLOAT_EQ(volume, 1.0f) << "a ticked box gives its track full level";
    EXPECT_EQ(ui.Slider2[0]->value(), 27);
    EXPECT_TRUE(ui.Slider2[0]->isEnabled());
    EXPECT_EQ(app->s.channelStrip[0].Touched, vbTrue);

    ui.Check1[0]->setChecked(false);
    BASS_ChannelGetAttribute(app->s.stems[0], BASS_ATTRIB_VOL, &volume);
    EXPECT_FLOAT_EQ(volume, 0.0f);
    EXPECT_EQ(ui.Slider2[0]->value(), 127);
    EXPECT_FALSE(ui.Slider2[0]->isEnabled());

    // The slider is an attenuator on a track: 0 is full level, 127 silence.
    ui.Slider2[0]->setEnabled(true);
    testing::userSets(ui.Slider2[0], 27);
    BASS_ChannelGetAttribute(app->s.stems[0], BASS_ATTRIB_VOL, &volume);
    EXPECT_NEAR(volume, 100.0f / 127.0f, 1e-6);
}

TEST_F(ChannelStripTest, TheMelodyButtonsSilenceAndBringBackTheFourthChannel) {
    start();
    if (!app->s.font) GTEST_SKIP() << "no soundfont on this machine";
    const fs::path kar = folder.path() / "melody.kar";
    std::vector<std::string> syllables(40, "la ");
    miditest::writeFile(kar, testing::karaokeMidi(syllables, 48));
    dialogs.answerFile(kar.string());
    transport::CmdCarica_Click(*app);
    ASSERT_TRUE(shown(app->ui.CmdOn)) << "a song starts with its melody off";
    engine::testing::keepHeard(true);
    engine::testing::clearHeard();
    transport::Cmd_play_Click(*app);
    clock.advance(1500);
    const auto& heard = engine::testing::heard();
    const std::size_t frames = heard.size() / 2;
    const double muted = miditest::rms(heard, frames - 13230, frames);

    karaoke::CmdOn_Click(*app);
    EXPECT_TRUE(shown(app->ui.CmdOff));
    EXPECT_FALSE(shown(app->ui.CmdOn));
    EXPECT_EQ(app->s.midiChannelVolume, 127);
    EXPECT_EQ(app->s.midiChannel, 3);
    clock.advance(1000);
    const std::size_t later = heard.size() / 2;
    const double playing = miditest::rms(heard, later - 13230, later);
    EXPECT_LT(muted, 0.001);
    EXPECT_GT(playing, 0.005);

    karaoke::CmdOff_Click(*app);
    EXPECT_TRUE(shown(app->ui.CmdOn));
    EXPECT_TRUE(app->ui.CmdOn->isEnabled());
    engine::testing::keepHeard(false);
    engine::testing::clearHeard();
}

} // namespace
} // namespace velvora
