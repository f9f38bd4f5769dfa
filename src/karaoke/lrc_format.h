// The LRC text as the program writes it: one line a timed line, "[mm:ss]" and the words in
// capitals, CR LF at the end; no hundredths and no header tags. The reader is Show_Lyrics.
#pragma once

#include "core/state/lrc_state.h"

#include <string>

namespace velvora::karaoke {

// Stamps the gathered line and appends it to `channel5` (nothing when the line is empty). The
// stamp runs a second ahead of the line's time so that the line is on the page before it is sung;
// at the turn of a minute it falls three seconds back instead (1:00 gives [00:57]), and no line is
// stamped before the first second. The line's first character, its opening mark, is left out, and
// a line break inside the text becomes a space.
void Lrc_format(LrcCreatorState& lrc, std::string& channel5);

} // namespace velvora::karaoke
