// A song named on the command line, as a desktop's file manager passes it (the entry's %f).
#pragma once

#include "core/app.h"

#include <string>
#include <vector>

namespace velvora::transport {

// The arguments behind the program's name, each made absolute against `startFolder`: the current
// folder when the program was started, before start-up moves into the program folder.
std::vector<std::string> songArguments(int argc, const char* const* argv, const std::string& startFolder);

// Once the window's event loop runs, opens the first argument as if it had been chosen in the
// Load dialog: every outcome, good or bad, is the one that choice has. Without an argument, or
// with an empty one, nothing happens and the program stays Empty. Further arguments are not
// opened; a line on standard error names them.
void openSongArgument(App& app, const std::vector<std::string>& arguments);

} // namespace velvora::transport
