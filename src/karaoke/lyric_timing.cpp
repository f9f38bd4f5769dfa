#include "karaoke/lyric_timing.h"

#include "karaoke/cdg_graphics.h"
#include "karaoke/lyric_painter.h"
#include "widgets/main_controls.h"

#include <cmath>
#include <cstdint>
#include <limits>

namespace velvora::karaoke {

namespace {

// The next line after `lineNo`, from shownLines; empty when there is none.
const std::string& shownLineOrEmpty(const WordModel& m, long long lineNo) {
    static const std::string empty;
    if (lineNo < 0 || lineNo >= static_cast<long long>(m.shownLines.size())) return empty;
    return m.shownLines[static_cast<std::size_t>(lineNo)];
}

// True when the last three characters of `path` are "NVK" in any case; no allocation.
bool isPackage(const std::string& path) {
    if (path.size() < 3) return false;
    const char* e = path.data() + path.size() - 3;
    auto up = [](char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c; };
    return up(e[0]) == 'N' && up(e[1]) == 'V' && up(e[2]) == 'K';
}

} // namespace

void Timer1_Timer(App& app) {
    Session& s = app.s;
    LyricTimingState& tm = s.timing;
    const auto& list = s.words.wordList;

    if (s.lyricPos == 0) s.lyricPos = 1;
    // The last word of the list is never reached: the step needs the word after it.
    if (static_cast<long long>(s.lyricPos) + 1 > static_cast<long long>(list.size()) - 1) return;

    double t;
    if (s.midiActive) {
        t = static_cast<double>(s.lyricTick.load(std::memory_order_relaxed)) * s.words.msPerTick;
    } else {
        app.sys.clock.doEvents();
        // Handlers that ran meanwhile may have changed the song's words.
        if (s.lyricPos == 0) s.lyricPos = 1;
        if (static_cast<long long>(s.lyricPos) + 1 > static_cast<long long>(list.size()) - 1) return;
        t = std::floor(tm.lyricClock * 1000.0);
    }

    if (tm.wordsRunning == 0) {
        // First step of the session: the sentinel is painted at once.
        s.lyricPos = 0;
    } else if (s.lyricPos < 0 || !(t >= list[static_cast<std::size_t>(s.lyricPos)].TimeMs)) {
        return;
    }

    tm.wordsRunning = -1;
    ++s.lyricPos;

    const WordRec& w = list[static_cast<std::size_t>(s.lyricPos - 1)];
    const WordRec& next = list[static_cast<std::size_t>(s.lyricPos)];
    const std::string nextLine = shownLineOrEmpty(s.words, static_cast<long long>(next.LineNo) + 1);
    s.painter.currentLine = w.LineNo;
    // Copies: the painter may show a box, during which the list may change.
    const std::string line = shownLineOrEmpty(s.words, w.LineNo);
    const std::string text = w.Text;
    TypeItX5Pic(app, line, text, w.Column, nextLine, app.ui.Picture3);
}

DWORD LyricClockHandle(const App& app) {
    if (isPackage(app.s.FileName)) return app.s.stems[0];
    return static_cast<DWORD>(app.s.chan);
}

void SampleLyricClock(App& app, const std::function<double()>& positionSeconds) {
    if (positionSeconds) app.s.timing.lyricClock = positionSeconds();
}

void tmrSYLTmp3_Timer(App& app) {
    ShowCdgFrame(app);
    const DWORD handle = LyricClockHandle(app);
    const QWORD bytes = BASS_ChannelGetPosition(handle, BASS_POS_BYTE);
    // The position goes through a 32-bit integer (the failure value -1 passes as it is); a
    // position that does not fit leaves the previous clock.
    const auto asSigned = static_cast<long long>(bytes);
    if (asSigned < std::numeric_limits<std::int32_t>::min() ||
        asSigned > std::numeric_limits<std::int32_t>::max())
        return;
    SampleLyricClock(
        app, [handle, asSigned] { return BASS_ChannelBytes2Seconds(handle, static_cast<QWORD>(asSigned)); });
}

void PlayTimer_Timer(App& app) {
    // The LyricsRef list it would follow is never filled, so the tick only renews its interval.
    app.tmr.PlayTimer->setInterval(100);
}

} // namespace velvora::karaoke
