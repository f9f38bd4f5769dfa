// Printing the open song's lyric lines, title first.
#pragma once

#include "core/app.h"
#include "platform/printer.h"

namespace velvora::karaoke {

// The click of CmdPrint: refuses packages and songs with no lyrics, asks "Print ?", then prints
// the song title at 18 points, an empty line, and every lyric line in capitals at 12 points.
void CmdPrint(App& app, platform::Printer& printer);

} // namespace velvora::karaoke
