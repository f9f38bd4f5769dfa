// The playlist button and the wave-file entry of the digital recorder.
#pragma once

#include "core/app.h"

namespace velvora::transport {

// Shows or hides the explorer; showing it re-opens the song in hand while a take is armed.
void CmdEx_Click(App& app);
void menuwave_Click(App& app);

} // namespace velvora::transport
