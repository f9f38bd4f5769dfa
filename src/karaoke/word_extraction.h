// The lyric marks of a MIDI or KAR file become the word model: timed words in their lines.
#pragma once

#include "core/app.h"

namespace velvora::karaoke {

// The whole opening of a MIDI song's text: header, identification, then the words.
void GetKaraoke(App& app);
// Reads the words from the marks, then publishes the lines, or stops the word timer when there
// are none.
void PrepareWordsForDisplay(App& app);
// Fills the model from the lyric (or, failing those, text) marks of a scanning stream.
void ScanLyricMarks(App& app);
// Copies the assembled lines to the lines the painter shows.
void PublishLyricLines(App& app);

} // namespace velvora::karaoke
