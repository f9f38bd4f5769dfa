// How well a take followed the melody: the share of the melody's note time that the singer sang
// within half a semitone of the note, an octave up or down counting as on it.
#pragma once

#include "pitch/melody.h"
#include "pitch/pitch_detector.h"

#include <vector>

namespace velvora::pitch {

// The distance in semitones from `hz` to the nearest octave of `key`: -6 up to 6.
double foldedSemitones(double hz, int key);

// 0 to 100. `trace` is the singer's pitch, one reading a hop, its times on the capture's clock;
// `voiceLag` is how much later the voice reached the capture than the song was heard (the
// measured round trip), so a reading at t sings the song at t - voiceLag. The first and last
// tenth of a second of each note are not held against the singer (attack, glide, release).
// Each reading counts for the time to the next one (at most two hops), so that a trace placed on
// the song's clock of a song played faster or slower than written still covers its notes.
// 0 when the melody is empty or nothing was sung.
int scoreTake(const Melody& melody, const std::vector<PitchFrame>& trace, double hopSeconds,
              double voiceLag = 0);

} // namespace velvora::pitch
