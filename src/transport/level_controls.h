// Tempo, key and level controls of each song kind, and the labels that return them to neutral.
#pragma once

#include "core/app.h"

namespace velvora::transport {

void SldTempo_Change(App& app);
void LblTempo_Click(App& app);
void Vscroll1_Change(App& app);
void LblPitch_Click(App& app);
void Sldvol_Change(App& app);
void SldMidi_Change(App& app);
void Slider2_Change(App& app, int index);
void SldMp3_Change(App& app, int index);
void Lbltmp_Click(App& app);
void LblTone_Click(App& app);
void HscrollTempo_Change(App& app);
void LblToneM_Click(App& app);
void Hstempo_Change(App& app);
void LbltKTM_Click(App& app);
void SldVolume_Change(App& app);
void Slider1_Change(App& app);

// The time label after a tempo change: the song's length stretched by the tempo ratio.
void UpdatePositionLabel(App& app);
void UpdatePosNVK(App& app);

} // namespace velvora::transport
