// Play, pause, stop and seek, for MIDI songs (Cmd_play, Cmd_Stop) and for audio songs and
// packages (CmdPlw, CmdStw).
#pragma once

#include "core/app.h"

namespace velvora::transport {

void Cmd_play_Click(App& app);
void CmdPlw_Click(App& app);
void CmdPause_Click(App& app);
void Cmd_Stop_Click(App& app);
void CmdStw_Click(App& app);
void cmdstop_Click(App& app);
// The question that ends a take once both of its files are in TKKK: a package, a mixed WAV or
// nothing. `midiDoor` is the Stop button of MIDI songs (its title word and its "Done!").
void askTakeFate(App& app, bool midiDoor);
// A take left behind by a crash: offered back, then the same question as after a Stop.
void recoverTake(App& app);
// Only the letter S counts: it stops the song in hand.
void Form_KeyDown(App& app, int keyCode);
// The position bar: a press stops it following the song, a release seeks there.
void Sldposition_Press(App& app);
void Sldposition_Release(App& app);

} // namespace velvora::transport
