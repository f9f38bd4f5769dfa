// Bringing the program from nothing to the Empty state, and taking it down again.
#pragma once

#include "core/app.h"

#include <string>

namespace velvora {

// First phase, before the window's controls are used. False when the process must end.
bool Form_Initialize(App& app);
// Second phase, with the controls: ends in the Empty state.
void Form_Load(App& app);

void BASSDLL(App& app);
void PerPausa(App& app);
void MakeDir(App& app);
// Clears the spectrum pictures and the lyric page, stops the recording blink.
void Clear(App& app);
// The engine error box: the message and the engine's last error code.
void Error_(App& app, const std::string& message);

// Closing the window: true when the program ends, false when the user keeps it open.
bool Form_Unload(App& app);
void MnuExit_Click(App& app);

// The soundfont: "chorium.SF2" beside the executable, else in the per-user data folder, else the
// system's General MIDI font.
void LoadSoundFont(App& app);
// The float probe: 256 when float streams can be made here, else 0.
DWORD FloatProbe();

} // namespace velvora
