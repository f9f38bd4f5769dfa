// The real program's main window for the real-device tests: scripted dialogs, process and printers,
// the real clock, and the devices the machine has.
#pragma once

#include "core/startup.h"
#include "platform/qt/qt_services.h"
#include "platform/scripted/scripted_dialogs.h"
#include "platform/scripted/scripted_printer.h"
#include "platform/scripted/scripted_process.h"
#include "ui/main_window.h"

#include <string>

namespace velvora::testing {

struct RealWindow {
    explicit RealWindow(const std::string& programFolder)
        : process(programFolder), services{dialogs, clock, process, printers}, window(services),
          app(window.app()) {}

    // Start-up as the program runs it; false when the window could not start.
    bool start() {
        if (!Form_Initialize(app)) return false;
        Form_Load(app);
        return true;
    }

    platform::ScriptedDialogs dialogs;
    platform::QtClock clock;
    platform::ScriptedProcess process;
    platform::ScriptedPrinters printers;
    platform::Services services;
    ui::MainWindow window;
    App& app;
};

} // namespace velvora::testing
