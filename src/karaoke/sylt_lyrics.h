// Synchronised lyrics from the tags of an audio song: the end tags read at each audio open, the
// quick test for a lyric frame, and the lyric frame's entries turned into the word model, so that
// the song sings along through the same timing engine and painter as a MIDI song. All of them run
// on the UI thread.
#pragma once

#include "core/app.h"
#include "tags/id3v23_reader.h"

#include <string>
#include <vector>

namespace velvora::karaoke {

// Reads the song's end tags and first frame header into the title boxes. When no lyric block was
// found, Timer1 and tmrSYLTmp3 stop.
void Load_File_Tags(App& app);

// syltPending := whether the letters "SYLT" occur anywhere in FileName; a file that cannot be
// opened leaves it as it was.
void SyltContr(App& app);
// The same for the package's third stem, `stemPath` (the stem list's folder, "/", its name).
void SyltContrM(App& app, const std::string& stemPath);

// Fill the word model from the lyric frame of FileName, or of the package's copy of the song
// (TMPK/ZZZZ.MP3 in the program folder). The audio clock restarts and tmrSYLTmp3 stops; the
// caller starts the timers.
void Mp3Sylt(App& app);
void Mp3SyltM(App& app);

// The model from lyric entries: upper-cased, a "/" at the start of an entry opens a new line,
// times kept as they stand. With no entries the model is left as it was.
void SyltWords(App& app, const std::vector<tags::SyltEvent>& events, int eventCount);

} // namespace velvora::karaoke
