// The melody of a MIDI song: the notes a singer is meant to sing, with their times on the song's
// own clock (seconds from its start at its written tempo).
//
// The melody is the fourth channel's (channel 3, counted from 0), where karaoke files keep it. When
// the song has lyric marks, it is the channel whose note starts best follow the marks, for the
// files that keep the tune elsewhere. A channel that plays chords gives its highest sounding note.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace velvora::pitch {

constexpr int kMelodyChannel = 3;

struct MelodyNote {
    double start = 0; // seconds
    double end = 0;
    int key = 60; // MIDI key: 60 is middle C
};

// Where the song's ticks fall on its own clock: (tick, seconds) pairs in time order, one for
// each moment the file has an event at. A playing song's heard tick is read on it, so that a
// song played faster or slower than written still lines up with its melody.
using SongClock = std::vector<std::pair<std::uint64_t, double>>;

struct Melody {
    int channel = -1; // -1: the song has no melody
    std::vector<MelodyNote> notes;
    SongClock clock;
};

// One note-on (velocity above 0) or note-off (velocity 0) of the song.
struct NoteEvent {
    double seconds = 0;
    int channel = 0;
    int key = 0;
    int velocity = 0;
};

// The melody among a song's note events (in time order) and its lyric marks' times.
Melody melodyOf(const std::vector<NoteEvent>& events, const std::vector<double>& marks);
// The melody of the MIDI file at `path`, read through the engine (which must be up); an empty
// melody when the file cannot be read or has no notes where the melody should be.
Melody ReadMelody(const std::string& path);
// The seconds on the song's own clock of `tick`: between two known ticks in proportion, beyond
// the last one at the last pace; 0 when the clock knows fewer than two ticks.
double secondsAtTick(const SongClock& clock, double tick);
// The key sounding at `seconds`, or -1 between notes.
int keyAt(const Melody& melody, double seconds);

} // namespace velvora::pitch
