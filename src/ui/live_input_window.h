// The live input level window, made on first use and loaded each time it is shown after being
// closed. It never blocks the main window.
#pragma once

#include "core/app.h"

#include <memory>

class QDialog;
class QWidget;

namespace velvora::widgets {
struct LiveSpecControls;
}
namespace velvora::metering {
struct LiveSpec;
}

namespace velvora::ui {

class LiveSpecWindow {
  public:
    LiveSpecWindow(App& app, QWidget* parent);
    ~LiveSpecWindow();

    // Loads the window when it is not loaded, then shows it. When loading fails the process is
    // ending and nothing is shown.
    void show();
    bool loaded() const { return loaded_; }
    QDialog& dialog() { return *dialog_; }
    widgets::LiveSpecControls& controls() { return *controls_; }
    metering::LiveSpec& routines() { return *live_; }
    // The latency button: measures the round trip, shows it, and keeps it in latency.vrk.
    void CmdLatency_Click();

  private:
    App& app_;
    std::unique_ptr<QDialog> dialog_;
    std::unique_ptr<widgets::LiveSpecControls> controls_;
    std::unique_ptr<metering::LiveSpec> live_;
    bool loaded_ = false;
};

} // namespace velvora::ui
