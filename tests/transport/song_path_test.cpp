#include "core/controls.h"
#include "core/song_state.h"
#include "engine/api.h"
#include "support/app_fixture.h"
#include "support/midi_writer.h"
#include "support/song_files.h"
#include "transport/position_timers.h"
#include "transport/song_open.h"
#include "transport/transport.h"

#include <filesystem>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using namespace transport;
using testing::AppFixture;

// The window shows the state's buttons as the one state table has them.
::testing::AssertionResult Shows(const App& app, SongState state) {
    if (shows(app, state)) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "the buttons show " << describe(seenButtons(app)) << ", not "
                                         << nameOf(state) << ": " << describe(buttonsOf(state));
}

class SongPathTest : public AppFixture {
  protected:
    fs::path kar() {
        const fs::path path = folder.path() / "songs" / "Twinkle.kar";
        fs::create_directories(path.parent_path());
        miditest::writeFile(path, testing::karaokeMidi(testing::twinkleSyllables(), 48));
        return path;
    }
    fs::path wav(double seconds = 3.0) {
        const fs::path path = folder.path() / "songs" / "Tone.wav";
        fs::create_directories(path.parent_path());
        testing::writeToneWav(path, seconds);
        return path;
    }
    void open(const fs::path& path) {
        dialogs.answerFile(path.string());
        CmdCarica_Click(*app);
    }
};

TEST_F(SongPathTest, MidiSongThroughOpenPlayPauseStopAndASecondPlay) {
    start();
    EXPECT_TRUE(Shows(*app, SongState::Empty));
    open(kar());
    EXPECT_TRUE(Shows(*app, SongState::MidiReady));
    EXPECT_EQ(caption(app->ui.LabelSongLength), "Twinkle");
    EXPECT_NE(app->s.chan.load(), 0u);
    EXPECT_EQ(dialogs.shown().back().caption, "Load File");
    EXPECT_EQ(dialogs.shown().back().style, 0x81004);
    const DWORD opened = app->s.chan;

    Cmd_play_Click(*app);
    EXPECT_TRUE(Shows(*app, SongState::MidiPlaying));
    EXPECT_TRUE(app->s.midiActive);
    EXPECT_EQ(app->s.chan.load(), opened) << "the first play uses the stream of the open";
    EXPECT_EQ(BASS_ChannelIsActive(app->s.chan), 1u);
    clock.advance(1000);
    EXPECT_GT(BASS_ChannelGetPosition(app->s.chan, BASS_POS_MIDI_TICK), 0u);

    CmdPause_Click(*app);
    EXPECT_EQ(BASS_ChannelIsActive(app->s.chan), 3u);
    EXPECT_TRUE(Shows(*app, SongState::MidiPlaying));
    CmdPause_Click(*app);
    EXPECT_EQ(BASS_ChannelIsActive(app->s.chan), 1u);
    EXPECT_TRUE(app->s.pauseUsed);

    Cmd_Stop_Click(*app);
    EXPECT_TRUE(Shows(*app, SongState::MidiReadyAgain));
    EXPECT_FALSE(app->s.midiActive);
    EXPECT_EQ(BASS_ChannelIsActive(opened), 0u);

    Cmd_play_Click(*app);
    EXPECT_NE(app->s.chan.load(), opened) << "a second play rebuilds the stream";
    EXPECT_EQ(BASS_ChannelIsActive(app->s.chan), 1u);
    EXPECT_TRUE(Shows(*app, SongState::MidiPlaying));
}

TEST_F(SongPathTest, CancellingTheDialogLeavesTheEmptyState) {
    start();
    dialogs.answerFile(std::nullopt);
    CmdCarica_Click(*app);
    EXPECT_TRUE(Shows(*app, SongState::Empty));
    EXPECT_TRUE(app->s.FileName.empty());
    Cmd_play_Click(*app); // inert without a song
    EXPECT_TRUE(Shows(*app, SongState::Empty));
    transport::Form_KeyDown(*app, 83);
    EXPECT_TRUE(Shows(*app, SongState::Empty));
}

TEST_F(SongPathTest, MidiSongEndsByItselfAndComesBackReady) {
    start();
    open(kar());
    Cmd_play_Click(*app);
    // 28 syllables 48 ticks apart at 96 ticks a beat and 120 bpm: about 7.25 s.
    ASSERT_TRUE(clock.advanceUntil([&] { return app->ui.CmdCarica->isEnabled(); }, 12000));
    EXPECT_TRUE(Shows(*app, SongState::MidiReadyAgain));
    EXPECT_FALSE(app->s.songEnded);
    EXPECT_FALSE(app->s.midiActive);
    EXPECT_FALSE(app->tmr.Timer1->enabled());
    // Stale handle of the auto-freed stream: harmless.
    EXPECT_EQ(BASS_ChannelIsActive(app->s.chan), 0u);
}

TEST_F(SongPathTest, KeySStopsAMidiSongAndTheBarSeeksByTicks) {
    start();
    open(kar());
    Cmd_play_Click(*app);
    clock.advance(500);
    Sldposition_Press(*app);
    EXPECT_FALSE(app->tmr.tmrMidiTest->enabled());
    app->ui.Sldposition->setValue(10);
    Sldposition_Release(*app);
    EXPECT_TRUE(app->tmr.tmrMidiTest->enabled());
    EXPECT_EQ(BASS_ChannelGetPosition(app->s.chan, BASS_POS_MIDI_TICK), 1200u);
    transport::Form_KeyDown(*app, 'A');
    EXPECT_TRUE(Shows(*app, SongState::MidiPlaying));
    transport::Form_KeyDown(*app, 83);
    EXPECT_TRUE(Shows(*app, SongState::MidiReadyAgain));
}

TEST_F(SongPathTest, AudioPlayDuringMidiPlaySaysPremiStopAndChangesNothing) {
    start();
    open(kar());
    Cmd_play_Click(*app);
    const StateButtons before = seenButtons(*app);
    dialogs.answer(platform::vbOK);
    CmdPlw_Click(*app);
    ASSERT_EQ(dialogs.shown().back().text, "PREMI STOP");
    EXPECT_EQ(dialogs.shown().back().caption, "Velvora");
    EXPECT_EQ(dialogs.shown().back().style, 32);
    EXPECT_EQ(describe(seenButtons(*app)), describe(before));
}

TEST_F(SongPathTest, AudioSongThroughOpenPlaySeekStopAndNaturalEnd) {
    start();
    open(wav(3.0));
    EXPECT_TRUE(Shows(*app, SongState::AudioReady));
    EXPECT_TRUE(app->s.midiStreamStale);
    EXPECT_EQ(caption(app->ui.LabelSongLength), "Tone");

    CmdPlw_Click(*app);
    EXPECT_TRUE(Shows(*app, SongState::AudioPlaying));
    EXPECT_EQ(app->ui.Sldposition->maximum(), 3);
    EXPECT_EQ(caption(app->ui.lblTime), "0:03");
    app->ui.Sldposition->setValue(2);
    Sldposition_Press(*app);
    Sldposition_Release(*app);
    const double at =
        BASS_ChannelBytes2Seconds(app->s.chan, BASS_ChannelGetPosition(app->s.chan, BASS_POS_BYTE));
    EXPECT_NEAR(at, 2.0, 0.05);

    CmdStw_Click(*app);
    EXPECT_TRUE(Shows(*app, SongState::AudioReadyAgain));

    CmdPlw_Click(*app);
    EXPECT_TRUE(Shows(*app, SongState::AudioPlaying));
    ASSERT_TRUE(clock.advanceUntil([&] { return app->ui.CmdPlw->isEnabled(); }, 6000));
    EXPECT_TRUE(Shows(*app, SongState::AudioReadyAgain));
}

TEST_F(SongPathTest, ANonMidiFileNamedMidOpensWithEmptyFieldsAndCannotPlay) {
    start();
    const fs::path fake = folder.path() / "fake.mid";
    std::ofstream(fake) << "this is not a MIDI file at all";
    dialogs.answer(platform::vbOK);
    open(fake);
    ASSERT_FALSE(dialogs.shown().empty());
    EXPECT_EQ(dialogs.shown().back().text.rfind("Can't play the file", 0), 0u);
    EXPECT_EQ(dialogs.shown().back().caption, "Error");
    EXPECT_FALSE(app->ui.Cmd_play->isEnabled());
    EXPECT_TRUE(app->ui.Title->text().trimmed().isEmpty()) << app->ui.Title->text().toStdString();
    EXPECT_TRUE(app->ui.Artist->text().trimmed().isEmpty());
}

TEST_F(SongPathTest, AMidiExtensionOfFourLettersTakesTheAudioRoad) {
    start();
    const fs::path path = folder.path() / "song.midi";
    miditest::writeFile(path, testing::karaokeMidi({"a", "b"}));
    open(path);
    EXPECT_TRUE(Shows(*app, SongState::AudioReady));
    dialogs.answer(platform::vbOK);
    CmdPlw_Click(*app);
    // The audio road cannot decode MIDI bytes: the song has no valid length.
    EXPECT_EQ(dialogs.shown().back().text, "File non Valido, PREMI STOP");
}

} // namespace
} // namespace velvora
