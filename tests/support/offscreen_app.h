// A whole program with no display and no sound card: the main window offscreen, scripted
// dialogs, the virtual clock, and a program folder of its own. For tests, benchmarks and fuzz
// targets alike.
#pragma once

#include "core/app.h"
#include "platform/scripted/scripted_dialogs.h"
#include "platform/scripted/scripted_printer.h"
#include "platform/scripted/scripted_process.h"
#include "platform/scripted/virtual_clock.h"
#include "ui/main_window.h"
#include "widgets/main_controls.h"

#include <filesystem>
#include <string>

namespace velvora::testing {

// A folder under the system's temporary folder, removed when the object goes.
class TempFolder {
  public:
    TempFolder();
    ~TempFolder();
    const std::filesystem::path& path() const { return path_; }
    std::string str() const { return path_.string(); }

  private:
    std::filesystem::path path_;
};

// Makes sure a QApplication exists (offscreen) for widget code.
void ensureQtApplication();

struct OffscreenApp {
    OffscreenApp();
    App& app() { return window.app(); }

    // Declared in the order they must come up: Qt first, the window last.
    struct QtReady {
        QtReady() { ensureQtApplication(); }
    } qtReady;
    TempFolder folder;
    platform::ScriptedDialogs dialogs;
    platform::VirtualClock clock;
    platform::ScriptedProcess process;
    platform::ScriptedPrinters printers;
    platform::Services services;
    ui::MainWindow window;
};

} // namespace velvora::testing
