// The window's timers that follow the song: the position label, the bar and the end of the song.
#pragma once

#include "core/app.h"

namespace velvora::transport {

void TimTps_Timer(App& app);
void tmrMidiTest_Timer(App& app);
void tmrPlaybackPosition_Timer(App& app);

} // namespace velvora::transport
