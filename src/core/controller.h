// The session's control groups: menus, the three layouts of song kinds, resets.
#pragma once

#include "core/app.h"

#include <string>

namespace velvora {

// Song kinds, told by the last three characters of the file name alone.
bool isMidiSong(const std::string& fileName);    // "mid" or "kar", any case
bool isPackageSong(const std::string& fileName); // "NVK", any case
bool isCdgSong(const std::string& fileName);     // "cdg", any case: graphics over an MP3 twin
// The file whose sound a song of the audio road plays: a CD+G song's MP3 twin beside it ("" when
// it has gone), any other song's own file.
std::string songAudioFile(const std::string& fileName);

void dmenu(App& app);
void dismenu(App& app);
void enamenu(App& app);
void LayoutMidi(App& app);
void LayoutPackage(App& app);
void LayoutAudio(App& app);
void ZeroVariables(App& app);

// Every tone, tempo and key control of the three song kinds back to neutral, with its label.
void neutralTonesAndTempos(App& app);
// The audio tempo, the MIDI key and tempo and the vocal remover back to neutral, as an open
// through the menu and the stop of a song whose levels were touched do it.
void neutralKeyAndTempo(App& app);
void abilita(App& app);

// The master level of Slider1 on the output (its change routine's work). A device brought up
// starts at full level, so each bring-up applies it before any song plays.
void applyMasterLevel(App& app);

} // namespace velvora
