// The digital recorder: the recorder panel as a plain voice recorder with no song behind it.
// Start, stop, save, and a minutes-and-seconds counter; the take is left in TKKK/vocaltrack.wav.
#pragma once

#include "core/app.h"

namespace velvora::recording {

// The menu entry: leaves any take's state and readies the panel.
void mnew_Click(App& app);
void Start_Dig_Click(App& app);
// One tick a second while recording.
void TmrDigit_Timer(App& app);
void Stop_dig_Click(App& app);
void Save_Digit_Click(App& app);
// Offers to keep TKKK/vocaltrack.wav under a name of the user's choice.
void savemicro(App& app);

} // namespace velvora::recording
