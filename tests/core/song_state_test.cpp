#include "core/song_state.h"
#include "support/app_fixture.h"

#include <gtest/gtest.h>

namespace velvora {
namespace {

using testing::AppFixture;

// The buttons are the only guard of the state machine, so every state must leave the user the
// button that leads on: Load from Empty, Play from a Ready state, Stop from a playing one.
TEST(SongStates, EveryStateOffersItsWayOn) {
    EXPECT_EQ(buttonsOf(SongState::Empty).CmdCarica, Flag::On);
    for (SongState s : {SongState::MidiReady, SongState::MidiReadyAgain})
        EXPECT_EQ(buttonsOf(s).Cmd_play, Flag::On) << nameOf(s);
    for (SongState s : {SongState::AudioReady, SongState::AudioReadyAgain, SongState::PackageReady,
                        SongState::PackageReadyAgain})
        EXPECT_EQ(buttonsOf(s).CmdPlw, Flag::On) << nameOf(s);
    EXPECT_EQ(buttonsOf(SongState::MidiPlaying).Cmd_Stop, Flag::On);
    for (SongState s : {SongState::AudioPlaying, SongState::PackagePlaying}) {
        EXPECT_EQ(buttonsOf(s).CmdStw, Flag::On) << nameOf(s);
        EXPECT_EQ(buttonsOf(s).CmdPause, Flag::On) << nameOf(s);
    }
    // A stopped song has nothing to pause, and a playing one cannot be replaced by another open.
    for (SongState s : {SongState::MidiPlaying, SongState::AudioPlaying, SongState::PackagePlaying})
        EXPECT_EQ(buttonsOf(s).CmdCarica, Flag::Off) << nameOf(s);
    for (SongState s : {SongState::MidiReadyAgain, SongState::AudioReadyAgain, SongState::PackageReadyAgain})
        EXPECT_EQ(buttonsOf(s).CmdPause, Flag::Off) << nameOf(s);
}

// Of each pair on one spot exactly one is shown by every state that says so, and it is the pair
// of the state's song kind.
TEST(SongStates, EachStateShowsOneButtonOfEachPair) {
    for (SongState s : kSongStates) {
        const StateButtons b = buttonsOf(s);
        if (s == SongState::Empty) continue; // keeps the pair of the song before
        EXPECT_NE(b.Cmd_playShown, b.CmdPlwShown) << nameOf(s);
        EXPECT_NE(b.Cmd_StopShown, b.CmdStwShown) << nameOf(s);
        EXPECT_EQ(b.Cmd_playShown, b.Cmd_StopShown) << nameOf(s) << ": both pairs of one kind";
        EXPECT_NE(b.Cmd_playShown, Flag::Keep) << nameOf(s);
    }
}

class SongStateWindow : public AppFixture {};

// What showSongState puts is what seenButtons reads back, flag by flag, for every state, from all
// flags on and from all flags off, so that a flag written to the wrong button shows.
TEST_F(SongStateWindow, EachStatePutsExactlyItsFlags) {
    start();
    auto& ui = app->ui;
    QWidget* const buttons[] = {ui.Cmd_play, ui.CmdPlw, ui.Cmd_Stop, ui.CmdStw, ui.CmdPause, ui.CmdCarica};
    auto kept = [](Flag want, Flag seen, Flag before) { return want != Flag::Keep || seen == before; };
    for (bool from : {true, false}) {
        for (SongState s : kSongStates) {
            for (QWidget* w : buttons) {
                w->setEnabled(from);
                w->setVisible(from);
            }
            const StateButtons before = seenButtons(*app);
            showSongState(*app, s);
            const StateButtons want = buttonsOf(s), seen = seenButtons(*app);
            EXPECT_TRUE(shows(*app, s)) << nameOf(s) << ": " << describe(seen);
            EXPECT_TRUE(kept(want.Cmd_play, seen.Cmd_play, before.Cmd_play) &&
                        kept(want.Cmd_playShown, seen.Cmd_playShown, before.Cmd_playShown) &&
                        kept(want.CmdPlw, seen.CmdPlw, before.CmdPlw) &&
                        kept(want.CmdPlwShown, seen.CmdPlwShown, before.CmdPlwShown) &&
                        kept(want.Cmd_Stop, seen.Cmd_Stop, before.Cmd_Stop) &&
                        kept(want.Cmd_StopShown, seen.Cmd_StopShown, before.Cmd_StopShown) &&
                        kept(want.CmdStw, seen.CmdStw, before.CmdStw) &&
                        kept(want.CmdStwShown, seen.CmdStwShown, before.CmdStwShown) &&
                        kept(want.CmdPause, seen.CmdPause, before.CmdPause) &&
                        kept(want.CmdCarica, seen.CmdCarica, before.CmdCarica))
                << nameOf(s) << " touched a flag it keeps: " << describe(seen);
        }
    }
}

} // namespace
} // namespace velvora
