#include "support/offscreen_app.h"

#include <QApplication>

#include <atomic>
#include <unistd.h>

namespace velvora::testing {

namespace fs = std::filesystem;

TempFolder::TempFolder() {
    static std::atomic<int> counter{0};
    path_ = fs::temp_directory_path() /
            ("velvora-test-" + std::to_string(getpid()) + "-" + std::to_string(counter++));
    fs::remove_all(path_);
    fs::create_directories(path_);
}

TempFolder::~TempFolder() {
    std::error_code ec;
    fs::remove_all(path_, ec);
}

void ensureQtApplication() {
    if (QApplication::instance()) return;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static int argc = 1;
    static char name[] = "velvora-tests";
    static char* argv[] = {name, nullptr};
    new QApplication(argc, argv);
}

OffscreenApp::OffscreenApp()
    : process(folder.str()), services{dialogs, clock, process, printers}, window(services) {}

} // namespace velvora::testing
