// The states a song goes through and the buttons that show each one. The buttons are the state
// machine's only guard: a transition is reachable only through an enabled button. The transport
// puts a state's buttons with showSongState; the tests read them back against the same table.
#pragma once

#include "core/app.h"

#include <cstdint>
#include <string>

namespace velvora {

enum class SongState : std::uint8_t {
    Empty,             // at start, and after the Load dialog was cancelled
    MidiReady,         // a MIDI song opened: its stream built, silent
    MidiPlaying,       // Play pressed; Pause keeps this state
    MidiReadyAgain,    // stopped, or ended by itself: Play rebuilds the stream
    AudioReady,        // an audio song opened and armed
    AudioPlaying,      // Play pressed; Pause keeps this state
    AudioReadyAgain,   // stopped, or ended by itself
    PackageReady,      // a package opened, checked and armed
    PackagePlaying,    // its tracks playing; Pause keeps this state
    PackageReadyAgain, // stopped, or ended by itself
};

inline constexpr SongState kSongStates[] = {SongState::Empty,           SongState::MidiReady,
                                            SongState::MidiPlaying,     SongState::MidiReadyAgain,
                                            SongState::AudioReady,      SongState::AudioPlaying,
                                            SongState::AudioReadyAgain, SongState::PackageReady,
                                            SongState::PackagePlaying,  SongState::PackageReadyAgain};

// What a state asks of one flag of a button: off, on, or left as the way there left it.
enum class Flag : std::uint8_t { Keep, Off, On };

// The buttons that carry the state: the two Play buttons on one spot and the two Stop buttons on
// another (of each pair only the one of the song's kind is shown), Pause and Load.
struct StateButtons {
    Flag Cmd_play, Cmd_playShown, CmdPlw, CmdPlwShown, Cmd_Stop, Cmd_StopShown, CmdStw, CmdStwShown, CmdPause,
        CmdCarica;
    bool operator==(const StateButtons&) const = default;
};

// The buttons of a state as the transitions into it leave them.
StateButtons buttonsOf(SongState state);
const char* nameOf(SongState state);

// Sets every flag of the state that is not Keep.
void showSongState(App& app, SongState state);

// The buttons as the window has them now, every flag On or Off.
StateButtons seenButtons(const App& app);
// True when every flag the state sets is as the window has it.
bool shows(const App& app, SongState state);
// "Cmd_play=on/shown CmdPlw=off/hidden ...", for test messages.
std::string describe(const StateButtons& buttons);

} // namespace velvora
