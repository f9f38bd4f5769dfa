// The effect panel of the main window: voice reverb, voice equaliser, music compressor, gain, the
// vocal remover and the equaliser presets. Every routine works on the engine's effects of the
// session's channels; the vocal remover's callback is the only sample arithmetic of its own.
#pragma once

#include "core/app.h"
#include "engine/api.h"

#include <cstdint>

namespace velvora::effects {

// Reverb on the voice track.
void ChkRev_Click(App& app);
void Sldrev_Change(App& app);
// The reverb's mix in dB for a slider level: a cubic, 0 -> 0 dB, 10 -> -12 dB, 20 -> -96 dB.
float reverbMix(std::int16_t level);

// Compressor on the whole mix.
void Chkphaser_Click(App& app);
// Writes one field of the compressor's parameters (0 attack, 1 gain, 2 ratio, 3 release,
// 4 threshold, 5 channel), starting from what the effect holds.
void Sldphaser_Change(App& app, int index);

// Voice equaliser, toggled by its own state, not by the button's.
void Chkequalizer_Click(App& app);
// One band at the slider's value negated (-10 on the slider is +10 dB).
void SldEq_Change(App& app, int index);

// A new volume effect on the second stream at each move, at 10 - vcompr(1).
void vcompr_Change(App& app, int index);

// Controls that have no audible effect.
void Chkcmp_Click(App& app);
void Chklow_Click(App& app);
int Slider3_Change(App& app, int index);
void Veq1_Change(App& app);
void equal1(App& app);
void UpdateFX(App& app, int level);
// Clears the remover box and brings the gain sliders back to 10.
void Default(App& app);

// The vocal remover: every stereo float frame (L, R) becomes ((R - L) / 2, (R - L) / 2), in place.
void RemoveVocals(HDSP handle, DWORD channel, void* buffer, DWORD length, void* user);
void Chkrem_Click(App& app);
void RemDefault(App& app);

// Equaliser presets in Equalizer.txt of the program folder.
void ApplyEqBand(App& app, int index);
// False when the file cannot be written.
bool SaveEq(const App& app);
void CmdReset_Click(App& app);
void LoadEq(App& app);

} // namespace velvora::effects
