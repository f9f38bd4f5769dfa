// A take over a playing song: arming, the count-in that starts both writers (the encoder tap on
// the song to TKKK/BackingTrack.WAV and the capture of the voice), throwing a take away, and
// keeping the mixed LiveTrack.wav. The transport calls Encode_Wave from its play routines and
// runs the end of a take from its stop routines with the calls below.
#pragma once

#include "core/app.h"

#include <optional>
#include <string>

namespace velvora::recording {

// CmdRec: arms a take over the song in hand.
void CmdRec_Click(App& app);
// The count-in, then both writers. Called when the song's stream is ready and before it plays.
void Encode_Wave(App& app);
// The end of the backing track's writer.
void Encode_Stop(App& app);
// The take thrown away; its files stay in TKKK.
void Annulla_Rec(App& app);
// Offers to keep LiveTrack.wav under a name of the user's choice.
void SaveWave(App& app);
// The "Save WAVE File As" dialog of the mix and of the digital recorder. Its answer is kept in
// dialogFileName too, empty on a cancel.
std::optional<std::string> askWaveFileName(App& app);

// The blinkers of the count-in image and of the recording mark.
void TmrStart_Timer(App& app);
void Timer3_Timer(App& app);

} // namespace velvora::recording
