#include "core/controls.h"
#include "core/song_state.h"
#include "engine/api.h"
#include "engine/testing.h"
#include "support/app_fixture.h"
#include "support/midi_writer.h"
#include "support/signal.h"
#include "support/song_files.h"
#include "support/user_input.h"
#include "transport/level_controls.h"
#include "transport/playlist.h"
#include "transport/position_timers.h"
#include "transport/song_open.h"
#include "transport/transport.h"

#include <cmath>
#include <filesystem>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using namespace transport;
using testing::AppFixture;

class LevelControlsTest : public AppFixture {
  protected:
    void openSong(const fs::path& path) {
        dialogs.answerFile(path.string());
        CmdCarica_Click(*app);
    }
    fs::path longKar() {
        std::vector<std::string> syllables(60, "la ");
        const fs::path path = folder.path() / "long.kar";
        miditest::writeFile(path, testing::karaokeMidi(syllables, 48));
        return path;
    }
    QWORD tick() { return BASS_ChannelGetPosition(app->s.chan, BASS_POS_MIDI_TICK); }
};

TEST_F(LevelControlsTest, TempoAtTwentyHalvesTheSpeedAndSaysMinusFiftyPercent) {
    start();
    openSong(longKar());
    Cmd_play_Click(*app);
    clock.advance(500);
    QWORD before = tick();
    clock.advance(2000);
    const double normal = static_cast<double>(tick() - before);
    EXPECT_NEAR(normal, 2 * 192, 20) << "96 ticks a beat at 120 bpm";

    testing::userSets(app->ui.SldTempo, 20);
    EXPECT_FLOAT_EQ(app->s.temposcale, 2.0f);
    EXPECT_EQ(caption(app->ui.LblTempo), "-50%");
    EXPECT_TRUE(app->s.levelsTouched);
    clock.advance(500); // what was buffered at the old tempo plays out
    before = tick();
    clock.advance(2000);
    EXPECT_NEAR(static_cast<double>(tick() - before) / normal, 0.5, 0.05);

    testing::userSets(app->ui.SldTempo, 0);
    EXPECT_EQ(caption(app->ui.LblTempo), "50%");
    EXPECT_NEAR(app->s.temposcale, 2.0f / 3.0f, 1e-6);
    app->ui.LblTempo->clicked();
    EXPECT_EQ(app->ui.SldTempo->value(), 10);
    EXPECT_EQ(caption(app->ui.LblTempo), "0%");
}

TEST_F(LevelControlsTest, KeyUpThreeTransposesTheMelodyDownThreeAndSaysMinusThree) {
    start();
    // One long A4 on channel 0 every two seconds.
    miditest::Track t;
    t.tempo(0, 500000).program(0, 0, 73);
    for (int i = 0; i < 4; ++i) t.on(i == 0 ? 0 : 0, 0, 69, 110).off(384, 0, 69);
    t.end(0);
    const fs::path path = folder.path() / "a4.mid";
    miditest::writeFile(path, miditest::smf(0, 96, {t}));
    openSong(path);
    testing::userSets(app->ui.Vscroll1, 3);
    EXPECT_EQ(caption(app->ui.LblPitch), "-3");
    engine::testing::keepHeard(true);
    engine::testing::clearHeard();
    Cmd_play_Click(*app);
    clock.advance(1500);
    const auto& heard = engine::testing::heard();
    ASSERT_GT(heard.size(), 2u * 44100);
    const double hz = miditest::pitch(heard, 22050, 8192, 44100);
    engine::testing::keepHeard(false);
    engine::testing::clearHeard();
    EXPECT_NEAR(hz, 440.0 * std::pow(2.0, -3.0 / 12.0), 4.0);
    app->ui.LblPitch->clicked();
    EXPECT_EQ(app->ui.Vscroll1->value(), 0);
    EXPECT_EQ(caption(app->ui.LblPitch), "0");
}

TEST_F(LevelControlsTest, TheBarFollowsTheSongAndShowsItsBeat) {
    start();
    openSong(longKar());
    testing::userSets(app->ui.SldTempo, 20);
    Cmd_play_Click(*app);
    clock.advance(2600);
    // At a scale of 2.0 and the file's 500000 µs a beat, 60 beats a minute.
    EXPECT_EQ(caption(app->ui.lblBPM), "Bpm: 60.0");
    EXPECT_NEAR(app->ui.Sldposition->value(), static_cast<int>(tick() / 120), 1);
    EXPECT_GE(app->ui.Sldposition->value(), 1);
    EXPECT_EQ(caption(app->ui.lblS), "02");
    EXPECT_EQ(caption(app->ui.lblM), "00");
}

TEST_F(LevelControlsTest, AudioTempoAndToneStretchTheShownLength) {
    start();
    const fs::path wav = folder.path() / "tone.wav";
    testing::writeToneWav(wav, 13.0);
    openSong(wav);
    CmdPlw_Click(*app);
    EXPECT_EQ(caption(app->ui.lblTime), "0:13");
    testing::userSets(app->ui.SldMp3[1], 30);
    EXPECT_EQ(caption(app->ui.Lbltmp), "30%");
    EXPECT_EQ(caption(app->ui.lblTime), "0:10") << "13 s at 1.3 times the speed";
    testing::userSets(app->ui.SldMp3[0], -2);
    EXPECT_EQ(caption(app->ui.LblTone), "-2");
    float pitch = 0;
    ASSERT_TRUE(BASS_ChannelGetAttribute(app->s.chan, BASS_ATTRIB_TEMPO_PITCH, &pitch));
    EXPECT_FLOAT_EQ(pitch, -2.0f);
    app->ui.Lbltmp->clicked();
    EXPECT_EQ(app->ui.SldMp3[1]->value(), 0);
    EXPECT_EQ(caption(app->ui.lblTime), "0:13");
    testing::userSets(app->ui.SldVolume, 75);
    float volume = 0;
    BASS_ChannelGetAttribute(app->s.chan, BASS_ATTRIB_VOL, &volume);
    EXPECT_FLOAT_EQ(volume, 0.25f);
}

TEST_F(LevelControlsTest, PackageTempoShowsItsPercentAndAShorterTime) {
    start();
    const fs::path wav = folder.path() / "stem.wav";
    testing::writeToneWav(wav, 10.0);
    app->s.FileName = (folder.path() / "song.NVK").string();
    const std::wstring w = wav.wstring();
    const HSTREAM source = BASS_StreamCreateFile(0, w.c_str(), 0, 0, BASS_STREAM_DECODE | BASS_UNICODE);
    app->s.stems[0] = BASS_FX_TempoCreate(source, BASS_STREAM_DECODE | BASS_FX_FREESOURCE);
    app->s.stemCount = 1;
    ASSERT_NE(app->s.stems[0], 0u);

    testing::userSets(app->ui.Hstempo, 20);
    EXPECT_EQ(caption(app->ui.LbltKTM), "20%");
    EXPECT_EQ(caption(app->ui.lblTime), "0:08");
    float tempo = 0;
    BASS_ChannelGetAttribute(app->s.stems[0], BASS_ATTRIB_TEMPO, &tempo);
    EXPECT_FLOAT_EQ(tempo, 20.0f);
    app->ui.LbltKTM->clicked();
    EXPECT_EQ(app->ui.Hstempo->value(), 0);
    EXPECT_EQ(caption(app->ui.lblTime), "0:10");

    // The tone label's click shows 0 whether or not the tone had been moved.
    app->ui.LblToneM->clicked();
    EXPECT_EQ(caption(app->ui.LblToneM), "0");
    testing::userSets(app->ui.HscrollTempo, 3);
    EXPECT_EQ(caption(app->ui.LblToneM), "3");
    app->ui.LblToneM->clicked();
    EXPECT_EQ(caption(app->ui.LblToneM), "0");

    // The end of a package is an audio end.
    app->s.songEnded = true;
    tmrMidiTest_Timer(*app);
    EXPECT_FALSE(app->s.songEnded);
    EXPECT_TRUE(shows(*app, SongState::PackageReadyAgain)) << describe(seenButtons(*app));
}

TEST_F(LevelControlsTest, MasterLevelFollowsItsSliderOnEveryPass) {
    start();
    testing::userSets(app->ui.Slider1, 8);
    EXPECT_FLOAT_EQ(BASS_GetVolume(), 0.2f);
    BASS_SetVolume(1.0f);
    tmrMidiTest_Timer(*app);
    EXPECT_FLOAT_EQ(BASS_GetVolume(), 0.2f);
    testing::userSets(app->ui.Sldvol, 3);
    EXPECT_FLOAT_EQ(BASS_MIDI_FontGetVolume(app->s.font), 0.7f);
    EXPECT_EQ(app->ui.TextR->text().toStdString(), "7");
}

TEST_F(LevelControlsTest, ThePlaylistButtonTogglesTheExplorerHook) {
    start();
    int showCalls = 0, hideCalls = 0;
    app->hooks.showExplorer = [&] { ++showCalls; };
    app->hooks.hideExplorer = [&] { ++hideCalls; };
    app->ui.CmdCarica->setEnabled(false);
    CmdEx_Click(*app);
    EXPECT_EQ(showCalls, 1);
    EXPECT_TRUE(app->s.explorerOpen);
    CmdEx_Click(*app);
    EXPECT_EQ(hideCalls, 1);
    EXPECT_FALSE(app->s.explorerOpen);
    EXPECT_TRUE(app->ui.CmdCarica->isEnabled());
}

TEST_F(LevelControlsTest, TheWaveEntryAsksForAWaveOrMp3AndKeepsTheSongInHand) {
    start();
    dialogs.answerFile(std::nullopt);
    menuwave_Click(*app);
    EXPECT_EQ(dialogs.shown().back().filter, "Wave Files (*.wav)|*.wav|Mp3 Files (*.mp3)|*.mp3");
    EXPECT_FALSE(app->ui.CmdPlw->isEnabled());
    app->s.FileName = "/songs/old.mp3";
    dialogs.answerFile(std::string("/songs/new.wav"));
    menuwave_Click(*app);
    EXPECT_EQ(app->s.FileName, "/songs/old.mp3");
    EXPECT_EQ(app->s.dialogFileName, "/songs/new.wav");
    EXPECT_TRUE(app->ui.CmdPlw->isEnabled());
    EXPECT_EQ(caption(app->ui.LabelSongLength), "old.mp3");
}

} // namespace
} // namespace velvora
