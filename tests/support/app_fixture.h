// A whole program for a test: the main window offscreen, scripted dialogs, the virtual clock
// driving the virtual sound device, and a program folder of the test's own.
#pragma once

#include "core/app.h"
#include "support/offscreen_app.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

namespace velvora::testing {

// The program of OffscreenApp on the engine's virtual device, with a check at the end that no
// box came up that the test did not expect.
class AppFixture : public ::testing::Test, protected OffscreenApp {
  protected:
    void SetUp() override;
    void TearDown() override;

    // Both start-up phases, as the program runs them.
    void start();

    App* app = &window.app();
};

// A small but valid SF2 soundfont named `name`.
void writeTinySoundFont(const std::filesystem::path& path, const std::string& name);

} // namespace velvora::testing
