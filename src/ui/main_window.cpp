#include "ui/main_window.h"

#include "core/startup.h"
#include "ui/wiring.h"

#include <QCloseEvent>

namespace velvora::ui {

MainWindow::MainWindow(platform::Services& services)
    : controls_(std::make_unique<MainControls>(this)), app_(std::make_unique<App>(*controls_, services)) {
    wire(*app_);
}

MainWindow::~MainWindow() = default;

void MainWindow::closeEvent(QCloseEvent* event) {
    if (app_->sys.process.ended() || Form_Unload(*app_))
        event->accept();
    else
        event->ignore();
}

} // namespace velvora::ui
