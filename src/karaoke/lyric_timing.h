// The lyric timing engine: the word step of Timer1, the audio clock sampler of tmrSYLTmp3 and the
// PlayTimer tick.
#pragma once

#include "core/app.h"

#include <functional>

namespace velvora::karaoke {

// One Timer1 tick: steps at most one word whose time has come and repaints the page for it.
void Timer1_Timer(App& app);

// The handle whose position drives the audio clock: the first stem of a package, else chan.
DWORD LyricClockHandle(const App& app);

// Stores the position that `positionSeconds` reports into lyricClock.
void SampleLyricClock(App& app, const std::function<double()>& positionSeconds);

// One tmrSYLTmp3 tick: samples lyricClock from the engine's byte position of LyricClockHandle.
void tmrSYLTmp3_Timer(App& app);

// One PlayTimer tick: sets its interval to 100 again; the LyricsRef list is never followed.
void PlayTimer_Timer(App& app);

} // namespace velvora::karaoke
