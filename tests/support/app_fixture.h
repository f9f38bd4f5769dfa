// A whole program for a test: the main window offscreen, scripted dialogs, the virtual clock
// driving the virtual sound device, and a program folder of the test's own.
#pragma once

#include "core/app.h"
#include "platform/scripted/scripted_dialogs.h"
#include "platform/scripted/scripted_process.h"
#include "platform/scripted/virtual_clock.h"
#include "ui/main_window.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
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

// Makes sure a QApplication exists (offscreen) for widget tests.
void ensureQtApplication();

class AppFixture : public ::testing::Test {
  protected:
    AppFixture();
    ~AppFixture() override;
    void SetUp() override;
    void TearDown() override;

    // Both start-up phases, as the program runs them.
    void start();

    TempFolder folder;
    platform::ScriptedDialogs dialogs;
    platform::VirtualClock clock;
    platform::ScriptedProcess process;
    platform::Services services;
    std::unique_ptr<ui::MainWindow> window;
    App* app = nullptr;
};

// A small but valid SF2 soundfont named `name`.
void writeTinySoundFont(const std::filesystem::path& path, const std::string& name);

} // namespace velvora::testing
