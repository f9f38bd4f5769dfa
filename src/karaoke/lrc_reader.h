// The LRC lyric reader: loads a package's LRC file and turns its time-stamped lines into the word
// model, one word per line, so that line-timed songs run through the same timing engine.
#pragma once

#include "core/app.h"

#include <string>

namespace velvora::karaoke {

// Reads the file at lyricFilePath: every line that is not blank is kept in lyricFileLines and
// added to lyricFileText with CR LF behind it. `ok` comes back true.
void Chargement_Paroles(App& app, bool& ok);

// Fills the word model from LRC text (lines separated by CR LF) and enables Timer1 and tmrSYLTmp3.
// Does nothing when the text is blank or holds no "[".
void Show_Lyrics(App& app, std::string& text);

} // namespace velvora::karaoke
