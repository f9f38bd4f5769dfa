// The byte scanner of a MIDI file. The file is read whole into a string, one character a byte, and
// every fact is found by searching that string for byte patterns; no event walking happens here.
// Every read is bounded: a position outside the buffer reads as "no byte", and a computation that
// would need such a byte (or would divide by zero) is passed over, leaving its target as it was.
#pragma once

#include "core/app.h"

#include <functional>
#include <string>
#include <string_view>

namespace velvora::karaoke {

// Files larger than this are not read (the buffer stays empty): no song comes anywhere near it.
constexpr long long kMaxMidiFileBytes = 64LL * 1024 * 1024;

// Reads the file whole into `out`. A missing, unreadable or oversized file gives an empty string.
bool LoadMidiBuffer(const std::string& path, std::string& out);

// The byte at the 1-based position, or -1 when the position lies outside the text.
int ByteAt(std::string_view s, long long pos);

// Header words from bytes 9..12: the hexadecimal digits of each byte, unpadded, read as one number,
// so that 01 00 reads as 16. A word whose bytes are missing keeps its value.
void ReadHeaderWords(MidiScanState& scan);

// The first FF 51 of the file: ticksPerSixteenth, tempoMicros, songBpm and msPerTick. Returns false
// (and changes nothing) when there is none. A zero division word leaves msPerTick as it was.
bool ReadFirstTempo(MidiScanState& scan);

// Words and lines from every FF byte of `chunk`, timed by the look-ahead delta rule with
// scan.msPerTick. Fills app.s.words.wordList and app.s.words.shownLines.
void GetWords(App& app, std::string_view chunk);

// The choice of the lyric track: the first track named "Words" or holding 50 text events, walked by
// chunk lengths from position 15; the whole file when none qualifies. Calls GetWords on it.
void ChooseLyricTrack(App& app);

// The widest of shownLines at the lyric picture's 36-point font: its index (-1 when there are no
// lines). Nothing depends on the result.
int WidestLine(App& app);

// Program, volume, pan and use of every channel, by byte search over the whole buffer.
void ChannelCensus(App& app);

// The channel strip's sliders and boxes from the census, yielding to the event loop after each.
void ApplyStripState(App& app);

// The fixed 411-byte program-change sweep written by CreateFileTemp.
std::string FileTempBytes();
// Writes filetemp.tmp into the program folder; nothing when the folder is not set.
void CreateFileTemp(App& app);

// The scan of the lyric marks through the engine's MIDI stream, supplied by the word-extraction
// routines; an empty function does nothing.
using ScanLyricMarksHook = std::function<void(App&)>;

// The full scanner: header, first tempo, lyric track and words, widest line, the lyric-mark scan,
// channel census, strip state and filetemp.tmp. Not on the song-opening path.
void ReadFile(App& app, const ScanLyricMarksHook& scanLyricMarks = {});

} // namespace velvora::karaoke
