// What the LRC creator keeps on the main window while it turns a song's marks into timed lines.
#pragma once

#include <cstdint>
#include <string>

namespace velvora {

struct LrcCreatorState {
    // The line being gathered, its first character being the mark that opened it.
    std::string lrcLine;
    // The line's time in whole seconds: the time of its second mark.
    long long lineSeconds = 0;
    // The stamp of the last line written: minutes, and the seconds the formatter worked out.
    long long lrcMinutes = 0;
    long long stampSeconds = 0;
    // Marks of the line so far, counted once the first line break has come.
    int markCount = 0;
    bool lineOpen = false;
    // Set by the first line break and kept from then on.
    bool newLine = false;
    // False until the first mark that breaks a line.
    bool markerSeen = false;
    std::int32_t lineNumber = 0;
    // The bare file name of the song the lines came from.
    std::string soloTitolo;
};

} // namespace velvora
