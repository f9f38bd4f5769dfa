// The tempo of an audio song in beats a minute, in the label lblBPM: a measure of the song's
// opening seconds when it starts, and a running measure of what is heard while the box beside the
// label is ticked. The figure follows the tempo slider: the measure times the stream's rate ratio.
#pragma once

#include "core/app.h"

namespace velvora::metering {

// Measures the song's tempo from `startSec` to `endSec` (a shorter song to its end) on a
// decoding stream of its own, made anew when `reload` is not 0. `minMaxBPM`: the lowest tempo
// wanted in the low word, the highest in the high word, 0 for the usual range. A failed measure
// leaves 0 in bpmValue and the label as it was.
void GetBPM(App& app, int reload, double startSec, double endSec, DWORD minMaxBPM);

// Starts the running measure on the playing stream with the period in seconds that TxtBPMPeriod
// holds, or stops it when the box is cleared. Each figure comes on the engine's sync thread and
// is shown on the window's thread.
void chkBPMCallback_Click(App& app);

// "Bpm: " and the whole part of bpmValue times the stream's rate ratio; nothing when no tempo
// was measured.
void showBPM(App& app);

void BeatFree(App& app);

} // namespace velvora::metering
