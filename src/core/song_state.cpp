#include "core/song_state.h"

#include "core/controls.h"
#include "widgets/main_controls.h"

#include <array>

namespace velvora {

namespace {

// Y on or shown, N off or hidden, K kept.
constexpr Flag Y = Flag::On, N = Flag::Off, K = Flag::Keep;

struct Row {
    SongState state;
    const char* name;
    StateButtons buttons;
};

// Every state but Empty says which button of each pair is shown, so that whatever the song before
// was, the pair of the song in hand stands alone on its spot; Empty keeps the pair that was there.
// clang-format off
constexpr std::array<Row, 10> kRows{{
    //                                          Cmd_play  CmdPlw    Cmd_Stop  CmdStw    CmdPause CmdCarica
    //                                          on shown  on shown  on shown  on shown
    {SongState::Empty,             "Empty",             {N, K,    N, K,     N, K,     N, K,     N,       Y}},
    {SongState::MidiReady,         "MidiReady",         {Y, Y,    N, N,     N, Y,     N, N,     N,       N}},
    {SongState::MidiPlaying,       "MidiPlaying",       {N, Y,    N, N,     Y, Y,     N, N,     Y,       N}},
    {SongState::MidiReadyAgain,    "MidiReadyAgain",    {Y, Y,    N, N,     N, Y,     N, N,     N,       Y}},
    {SongState::AudioReady,        "AudioReady",        {N, N,    Y, Y,     N, N,     N, Y,     N,       N}},
    {SongState::AudioPlaying,      "AudioPlaying",      {N, N,    N, Y,     N, N,     Y, Y,     Y,       N}},
    {SongState::AudioReadyAgain,   "AudioReadyAgain",   {N, N,    Y, Y,     N, N,     N, Y,     N,       Y}},
    {SongState::PackageReady,      "PackageReady",      {N, N,    Y, Y,     N, N,     N, Y,     N,       N}},
    {SongState::PackagePlaying,    "PackagePlaying",    {N, N,    N, Y,     N, N,     Y, Y,     Y,       N}},
    {SongState::PackageReadyAgain, "PackageReadyAgain", {N, N,    Y, Y,     N, N,     N, Y,     N,       Y}},
}};
// clang-format on

const Row& rowOf(SongState state) {
    for (const Row& r : kRows)
        if (r.state == state) return r;
    return kRows[0];
}

void putEnabled(QWidget* w, Flag flag) {
    if (flag != Flag::Keep) setEnabled(w, flag == Flag::On);
}
void putShown(QWidget* w, Flag flag) {
    if (flag != Flag::Keep) setShown(w, flag == Flag::On);
}

Flag flagOf(bool on) {
    return on ? Flag::On : Flag::Off;
}
bool holds(Flag wanted, Flag seen) {
    return wanted == Flag::Keep || wanted == seen;
}
const char* word(Flag flag, const char* on, const char* off) {
    return flag == Flag::Keep ? "any" : flag == Flag::On ? on : off;
}

} // namespace

StateButtons buttonsOf(SongState state) {
    return rowOf(state).buttons;
}

const char* nameOf(SongState state) {
    return rowOf(state).name;
}

void showSongState(App& app, SongState state) {
    const StateButtons& b = rowOf(state).buttons;
    auto& ui = app.ui;
    putEnabled(ui.Cmd_play, b.Cmd_play);
    putShown(ui.Cmd_play, b.Cmd_playShown);
    putEnabled(ui.CmdPlw, b.CmdPlw);
    putShown(ui.CmdPlw, b.CmdPlwShown);
    putEnabled(ui.Cmd_Stop, b.Cmd_Stop);
    putShown(ui.Cmd_Stop, b.Cmd_StopShown);
    putEnabled(ui.CmdStw, b.CmdStw);
    putShown(ui.CmdStw, b.CmdStwShown);
    putEnabled(ui.CmdPause, b.CmdPause);
    putEnabled(ui.CmdCarica, b.CmdCarica);
}

StateButtons seenButtons(const App& app) {
    const auto& ui = app.ui;
    return {flagOf(ui.Cmd_play->isEnabled()), flagOf(shown(ui.Cmd_play)),
            flagOf(ui.CmdPlw->isEnabled()),   flagOf(shown(ui.CmdPlw)),
            flagOf(ui.Cmd_Stop->isEnabled()), flagOf(shown(ui.Cmd_Stop)),
            flagOf(ui.CmdStw->isEnabled()),   flagOf(shown(ui.CmdStw)),
            flagOf(ui.CmdPause->isEnabled()), flagOf(ui.CmdCarica->isEnabled())};
}

bool shows(const App& app, SongState state) {
    const StateButtons want = buttonsOf(state), seen = seenButtons(app);
    return holds(want.Cmd_play, seen.Cmd_play) && holds(want.Cmd_playShown, seen.Cmd_playShown) &&
           holds(want.CmdPlw, seen.CmdPlw) && holds(want.CmdPlwShown, seen.CmdPlwShown) &&
           holds(want.Cmd_Stop, seen.Cmd_Stop) && holds(want.Cmd_StopShown, seen.Cmd_StopShown) &&
           holds(want.CmdStw, seen.CmdStw) && holds(want.CmdStwShown, seen.CmdStwShown) &&
           holds(want.CmdPause, seen.CmdPause) && holds(want.CmdCarica, seen.CmdCarica);
}

std::string describe(const StateButtons& b) {
    return std::string("Cmd_play=") + word(b.Cmd_play, "on", "off") + "/" +
           word(b.Cmd_playShown, "shown", "hidden") + " CmdPlw=" + word(b.CmdPlw, "on", "off") + "/" +
           word(b.CmdPlwShown, "shown", "hidden") + " Cmd_Stop=" + word(b.Cmd_Stop, "on", "off") + "/" +
           word(b.Cmd_StopShown, "shown", "hidden") + " CmdStw=" + word(b.CmdStw, "on", "off") + "/" +
           word(b.CmdStwShown, "shown", "hidden") + " CmdPause=" + word(b.CmdPause, "on", "off") +
           " CmdCarica=" + word(b.CmdCarica, "on", "off");
}

} // namespace velvora
