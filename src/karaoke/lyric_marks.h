// Reading a song's words from the marks of a scanning MIDI stream, one mark a round, and the rule
// that tells when the marks have run out. The word model and the LRC creator both walk the marks
// this way.
#pragma once

#include "core/app.h"

#include <array>
#include <string>
#include <string_view>

namespace velvora::karaoke {

// Word indexes run up to 851; the tick table that ends the scan has 1501 entries.
constexpr int kLastMarkIndex = 850;
constexpr int kTickTableSize = 1501;

struct LyricMark {
    std::string text; // upper-cased, in UTF-8; empty when no kind of mark carries words
    QWORD tick = 0;   // 0 when the position could not be turned into a tick
};

// True when the text begins with one of the marks that break a line: "/", "\" or "<".
bool startsWithLineBreak(std::string_view text);

// Mark `index` of the kind that carries the words: lyric marks when the song has at least 6, else
// text marks when it has at least 21. An index past the last mark gives the probed mark (5 or 20)
// again, whose tick lies behind: that is how the end shows itself.
LyricMark ReadLyricMark(const App& app, HSTREAM stream, int index);

// The end of the marks: from index 25 the tick of each round is kept, and a tick behind the one
// before it, or an index past the last one allowed, ends the walk (the round is not used).
class MarkStopRule {
  public:
    bool ends(int index, QWORD tick);

  private:
    std::array<QWORD, kTickTableSize> ticks_{};
};

} // namespace velvora::karaoke
