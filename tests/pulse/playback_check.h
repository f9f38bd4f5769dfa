// Compares what a sound server played (a recording of its monitor) with what should have been
// played (the same song rendered offline): where the song starts in the recording, every half
// second that does not match, and every run of exact digital silence.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace pulsetest {

// Interleaved stereo, either recorded (16-bit) or rendered (float, -1..1).
struct Stereo {
    const std::int16_t* s16 = nullptr;
    const float* f32 = nullptr;
    std::size_t frames = 0;
    double at(std::size_t frame, int channel) const {
        return s16 ? s16[frame * 2 + channel] / 32768.0 : f32[frame * 2 + channel];
    }
};

// The frame of `recording` where `reference` begins: the first frame of the reference that is not
// near silence, found at its best match (correlation over `matchFrames`) within `search` frames
// around the first loud frame of the recording. -1 when nothing there matches above 0.9.
long findStart(const Stereo& recording, const Stereo& reference, std::size_t matchFrames = 4096,
               std::size_t search = 2048);

// Correlation of the reference's frames [from, from + count) with the recording from `start` on.
double correlation(const Stereo& recording, const Stereo& reference, std::size_t start, std::size_t from,
                   std::size_t count);

// The half-second windows of the reference (start frames) whose correlation with the recording
// falls below `minimum`; windows quieter than `quiet` RMS in the reference are judged by their
// silence runs only.
std::vector<std::size_t> badWindows(const Stereo& recording, const Stereo& reference, std::size_t start,
                                    double minimum = 0.99, double quiet = 1e-3);

// Runs of at least `minFrames` frames of exact digital silence (both channels 0) in
// [from, to): their first frames and lengths.
struct Run {
    std::size_t from;
    std::size_t frames;
};
std::vector<Run> silenceRuns(const Stereo& audio, std::size_t from, std::size_t to,
                             std::size_t minFrames = 64);

// The silence runs of the recording inside the song whose place in the reference is not silent
// there too (the player's breaks, not the song's own rests).
std::vector<Run> breaksNotInReference(const Stereo& recording, const Stereo& reference, std::size_t start,
                                      std::size_t minFrames = 64);

std::string describe(const std::vector<Run>& runs, std::size_t start, unsigned rate = 44100);

// Where the reference lies in a long recording that may have slipped: a server that underflows
// plays silence and then goes on with the song later than before, so one dropout would make every
// later window a mismatch. From `refFrom` on (until the next piece), reference frame i is at
// recording frame i + offset.
struct Piece {
    std::size_t refFrom;
    long offset;
};
// Follows the alignment from `start`: at a window that does not match, looks for the song again
// within `search` frames either way of the current offset, and starts a new piece where it is found.
std::vector<Piece> followAlignment(const Stereo& recording, const Stereo& reference, std::size_t start,
                                   std::size_t search = 44100, double minimum = 0.99);

// The checks above over a recording that slipped: bad windows judged at their own piece's offset,
// and the breaks of every piece (as start frames in the recording).
std::vector<std::size_t> badWindows(const Stereo& recording, const Stereo& reference,
                                    const std::vector<Piece>& pieces, double minimum = 0.99,
                                    double quiet = 1e-3);
std::vector<Run> breaksNotInReference(const Stereo& recording, const Stereo& reference,
                                      const std::vector<Piece>& pieces, std::size_t minFrames = 64);
// The recording frame where reference frame `refFrame` was played.
std::size_t placeInRecording(const std::vector<Piece>& pieces, std::size_t refFrame);

} // namespace pulsetest
