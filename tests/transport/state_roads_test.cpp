// Every road into each state of a song, for both song kinds and after a song of the other kind:
// the buttons shown and enabled are those of the state table, of each pair of Play and Stop only
// the one of the song in hand is shown, and the engine's channels do not pile up.
#include "core/controls.h"
#include "core/song_state.h"
#include "engine/api.h"
#include "engine/testing.h"
#include "support/app_fixture.h"
#include "support/midi_writer.h"
#include "support/song_files.h"
#include "transport/song_open.h"
#include "transport/transport.h"

#include <QTest>

#include <filesystem>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using namespace transport;
using testing::AppFixture;

class StateRoadsTest : public AppFixture {
  protected:
    void SetUp() override {
        AppFixture::SetUp();
        start();
        window.resize(1100, 760);
        window.show();
        QApplication::processEvents();
        fs::create_directories(folder.path() / "songs");
        kar = folder.path() / "songs" / "Song.kar";
        miditest::writeFile(kar, testing::karaokeMidi(testing::twinkleSyllables(), 48));
        wav = folder.path() / "songs" / "Tone.wav";
        testing::writeToneWav(wav, 3.0);
    }

    // The state's buttons, and each pair on its spot with exactly one of it shown.
    ::testing::AssertionResult In(SongState state) {
        auto& ui = app->ui;
        const bool onePlay = shown(ui.Cmd_play) != shown(ui.CmdPlw);
        const bool oneStop = shown(ui.Cmd_Stop) != shown(ui.CmdStw);
        if (shows(*app, state) && onePlay && oneStop) {
            const QPoint play = ui.Cmd_play->mapTo(app->ui.window, QPoint());
            const QPoint plw = ui.CmdPlw->mapTo(app->ui.window, QPoint());
            const QPoint stop = ui.Cmd_Stop->mapTo(app->ui.window, QPoint());
            const QPoint stw = ui.CmdStw->mapTo(app->ui.window, QPoint());
            if (play == plw && stop == stw) return ::testing::AssertionSuccess();
            return ::testing::AssertionFailure() << "a pair is not on one spot";
        }
        return ::testing::AssertionFailure() << "the buttons show " << describe(seenButtons(*app)) << ", not "
                                             << nameOf(state) << ": " << describe(buttonsOf(state));
    }
    void open(const fs::path& path) {
        dialogs.answerFile(path.string());
        app->ui.CmdCarica->click();
    }
    void openByMenu(const fs::path& path) {
        dialogs.answerFile(path.string());
        app->ui.MnuOpenSong->trigger();
    }
    void cancelOpen() {
        dialogs.answerFile(std::nullopt);
        app->ui.CmdCarica->click();
    }
    void keyS() { QTest::keyClick(app->ui.window, Qt::Key_S); }
    void toTheEnd(QWidget* back) {
        ASSERT_TRUE(clock.advanceUntil([&] { return back->isEnabled(); }, 15000));
    }

    fs::path kar, wav;
};

TEST_F(StateRoadsTest, EveryRoadOfAMidiSong) {
    EXPECT_TRUE(In(SongState::Empty)) << "at start";
    open(kar);
    EXPECT_TRUE(In(SongState::MidiReady)) << "opened from Empty";
    app->ui.Cmd_play->click();
    EXPECT_TRUE(In(SongState::MidiPlaying)) << "first play";
    app->ui.CmdPause->click();
    EXPECT_TRUE(In(SongState::MidiPlaying)) << "paused";
    app->ui.CmdPause->click();
    app->ui.Cmd_Stop->click();
    EXPECT_TRUE(In(SongState::MidiReadyAgain)) << "stopped";
    app->ui.Cmd_play->click();
    EXPECT_TRUE(In(SongState::MidiPlaying)) << "played after a stop";
    keyS();
    EXPECT_TRUE(In(SongState::MidiReadyAgain)) << "key S";
    app->ui.Cmd_play->click();
    toTheEnd(app->ui.CmdCarica);
    EXPECT_TRUE(In(SongState::MidiReadyAgain)) << "ended by itself";
    open(kar);
    EXPECT_TRUE(In(SongState::MidiReady)) << "opened after a MIDI song";
    keyS();
    EXPECT_TRUE(In(SongState::MidiReadyAgain)) << "key S on a song not yet played is a stop";
    cancelOpen();
    EXPECT_TRUE(In(SongState::Empty)) << "dialog cancelled after a MIDI song";
    openByMenu(kar);
    EXPECT_TRUE(In(SongState::MidiReady)) << "opened through the menu";
}

TEST_F(StateRoadsTest, EveryRoadOfAnAudioSong) {
    open(wav);
    EXPECT_TRUE(In(SongState::AudioReady)) << "opened from Empty";
    app->ui.CmdPlw->click();
    EXPECT_TRUE(In(SongState::AudioPlaying)) << "first play";
    app->ui.CmdPause->click();
    EXPECT_TRUE(In(SongState::AudioPlaying)) << "paused";
    app->ui.CmdPause->click();
    app->ui.CmdStw->click();
    EXPECT_TRUE(In(SongState::AudioReadyAgain)) << "stopped";
    app->ui.CmdPlw->click();
    EXPECT_TRUE(In(SongState::AudioPlaying)) << "played after a stop";
    keyS();
    EXPECT_TRUE(In(SongState::AudioReadyAgain)) << "key S";
    app->ui.CmdPlw->click();
    toTheEnd(app->ui.CmdPlw);
    EXPECT_TRUE(In(SongState::AudioReadyAgain)) << "ended by itself";
    cancelOpen();
    EXPECT_TRUE(In(SongState::Empty)) << "dialog cancelled after an audio song";
    open(wav);
    EXPECT_TRUE(In(SongState::AudioReady)) << "opened after a cancel";
}

// The two kinds one after the other, both ways round: the pair of the song before never stays
// beside the pair of the song in hand.
TEST_F(StateRoadsTest, AudioThenMidiAndMidiThenAudio) {
    open(wav);
    app->ui.CmdPlw->click();
    app->ui.CmdStw->click();
    open(kar);
    EXPECT_TRUE(In(SongState::MidiReady)) << "MIDI after audio";
    EXPECT_FALSE(shown(app->ui.CmdPlw)) << "exactly one Play button";
    app->ui.Cmd_play->click();
    EXPECT_TRUE(In(SongState::MidiPlaying));
    app->ui.Cmd_Stop->click();
    EXPECT_TRUE(In(SongState::MidiReadyAgain));
    open(wav);
    EXPECT_TRUE(In(SongState::AudioReady)) << "audio after MIDI";
    app->ui.CmdPlw->click();
    EXPECT_TRUE(In(SongState::AudioPlaying));
    toTheEnd(app->ui.CmdPlw);
    EXPECT_TRUE(In(SongState::AudioReadyAgain));
    open(kar);
    app->ui.Cmd_play->click();
    toTheEnd(app->ui.CmdCarica);
    EXPECT_TRUE(In(SongState::MidiReadyAgain)) << "MIDI ended after an audio song";
}

// Opens, plays and stops of both kinds, in every order: afterwards the engine holds as many
// channels as before. A MIDI song opened after an audio song builds a stream at the open that its
// first play replaces; the replaced one must go.
TEST_F(StateRoadsTest, OpensPlaysAndStopsLeaveNoChannelBehind) {
    const std::size_t before = engine::testing::liveChannels();
    for (int round = 0; round < 2; ++round) {
        open(kar);
        app->ui.Cmd_play->click();
        clock.advance(300);
        app->ui.Cmd_Stop->click();
        open(wav);
        app->ui.CmdPlw->click();
        clock.advance(300);
        app->ui.CmdStw->click();
        open(kar);
        app->ui.Cmd_play->click();
        clock.advance(300);
        app->ui.Cmd_Stop->click();
        app->ui.Cmd_play->click();
        toTheEnd(app->ui.CmdCarica);
        EXPECT_EQ(engine::testing::liveChannels(), before) << "round " << round;
    }
}

} // namespace
} // namespace velvora
