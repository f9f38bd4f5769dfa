// The main window: owns the controls and the session, and asks before it closes.
#pragma once

#include "core/app.h"

#include <QMainWindow>
#include <memory>

namespace velvora::explorer {
class ExplorerWindow;
}

namespace velvora::ui {

class MainWindow final : public QMainWindow {
  public:
    explicit MainWindow(platform::Services& services);
    ~MainWindow() override;

    App& app() { return *app_; }
    explorer::ExplorerWindow& explorer() { return *explorer_; }

  protected:
    void closeEvent(QCloseEvent* event) override;
    // The S key stops the song wherever the focus is, unless text is being typed.
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    std::unique_ptr<widgets::MainControls> controls_;
    std::unique_ptr<App> app_;
    std::unique_ptr<explorer::ExplorerWindow> explorer_;
};

} // namespace velvora::ui
