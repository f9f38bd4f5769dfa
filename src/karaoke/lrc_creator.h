// The LRC creator: the lyric marks of the open MIDI song become timed lines in "syncro.lrc" in the
// program folder, which the package maker takes into a package as its lyric. The LRC button of the
// main window runs it, and so does the take's way to a package when its batch flag is set.
#pragma once

#include "core/app.h"

#include <string>

namespace velvora::karaoke {

// Keeps the bare file name of FileName in the creator's state.
void SoloTitolo(App& app);

// Walks the song's marks as the word model does, a mark every 30 ms, and writes one stamped line
// for each line of the song: a line starts at a mark that begins with "/", "\" or "<" and is timed
// by its second mark (a line of one mark keeps the time of the line before it); what comes before
// the first such mark is one line of its own. Ends with "Done! LRC Creator". A song with no marks
// leaves an empty file. When the file cannot be written a box tells so and an earlier file of that
// name stays as it was.
void Lrc_batch(App& app);

// The file the creator writes, in whatever case the program folder already holds it.
std::string LrcBatchFile(const App& app);

} // namespace velvora::karaoke
