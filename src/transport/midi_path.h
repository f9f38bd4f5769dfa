// The MIDI song's play stream: its syncs and tempo, the rebuild for a second play, and the
// routines that end a song.
#pragma once

#include "core/app.h"
#include "core/song_state.h"

#include <string>

namespace velvora::transport {

// Tempo of the file's event in force scaled by the user's factor; with `reset` the file's tempo
// is read back from the stream first.
void SetTempo(App& app, bool reset);
// Sets the lyric, text, end and tempo syncs on the play stream.
void setMidiSyncs(App& app);
// Length of the stream in the position bar and the time label.
void showMidiLength(App& app);
// The mix-time tempo and position syncs that keep the user's tempo through the song's own
// tempo changes and through seeks.
void setMixTimeTempoSyncs(App& app);
// Sets the end sync on `chan` (audio songs and packages).
void setEndSync(App& app);

// When the user moved tone, tempo or key: those back to neutral, Rec on, the MIDI mode left.
void resetTouchedLevels(App& app);
// What the stop of a MIDI song and its end share: the moved levels back to neutral, the page
// cleared, the song's timers off, the stream freed, the menus back and the MidiReadyAgain state.
void leaveMidiPlay(App& app);

// Pause and Stop off, Rec on, the lyric and meter timers off, the page cleared, the stream freed:
// the end and the stop of an audio song or package.
void stopAudioSong(App& app);

// The state an audio song or a package is in after its stop or its end.
SongState audioReadyAgain(const std::string& fileName);

void MidiRepeat(App& app);
void MidiEnd(App& app);
void Mp3End(App& app);

} // namespace velvora::transport
