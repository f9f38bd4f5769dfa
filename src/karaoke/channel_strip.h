// The sixteen-channel strip: a check box and a level slider for each MIDI channel, the first
// three driving a package's tracks; and the melody buttons for channel 4.
#pragma once

#include "core/app.h"

namespace velvora::karaoke {

void Check1_Click(App& app, int index);
void CmdOn_Click(App& app);
void CmdOff_Click(App& app);

} // namespace velvora::karaoke
