// Connects the main window's controls and timers to the routines of the subsystems, and the
// core's upward hooks to the routines that stand above it. The window and the tests use the same
// wiring.
#pragma once

#include "core/app.h"

#include <memory>

namespace velvora::encoding {
class cLameEncoder;
}

namespace velvora::explorer {
class ExplorerWindow;
}

namespace velvora::ui {

// What the window owns for the routines it wires: the one MP3 encoder of the take's flow, made at
// start-up and kept as long as the window.
struct WindowParts {
    WindowParts();
    ~WindowParts();
    std::unique_ptr<encoding::cLameEncoder> encoder;
};

void wire(App& app, WindowParts& parts, explorer::ExplorerWindow& explorer);

} // namespace velvora::ui
