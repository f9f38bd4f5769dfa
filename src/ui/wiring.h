// Connects the main window's controls and timers to the routines of the subsystems, and the
// core's upward hooks to the routines that stand above it. The window and the tests use the same
// wiring.
#pragma once

#include "core/app.h"

namespace velvora::explorer {
class ExplorerWindow;
}

namespace velvora::ui {

void wire(App& app, explorer::ExplorerWindow& explorer);

} // namespace velvora::ui
