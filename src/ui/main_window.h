// The main window: owns the controls and the session, and asks before it closes.
#pragma once

#include "core/app.h"
#include "ui/wiring.h"

#include <QMainWindow>
#include <memory>

namespace velvora::pitch {
class PitchGuide;
}
namespace velvora::widgets {
class PitchStrip;
}

namespace velvora::explorer {
class ExplorerWindow;
}

namespace velvora::ui {

class LiveSpecWindow;
class Form1Window;

class MainWindow final : public QMainWindow {
  public:
    explicit MainWindow(platform::Services& services);
    ~MainWindow() override;

    App& app() { return *app_; }
    WindowParts& parts() { return parts_; }
    // The live input level window, made on first use.
    LiveSpecWindow& liveSpec();
    explorer::ExplorerWindow& explorer() { return *explorer_; }
    // The pitch strip under the lyric page (the singer's screen has one too), the guide that fills
    // both, and its toggle in the Utility menu (off at start).
    widgets::PitchStrip& pitchStrip() { return *pitchStrip_; }
    pitch::PitchGuide& pitchGuide() { return *pitchGuide_; }
    QAction* pitchAction() { return pitchAction_; }
    // The package maker's window, made on first use.
    Form1Window& form1();

  protected:
    void closeEvent(QCloseEvent* event) override;
    // The S key stops the song wherever the focus is, unless text is being typed.
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void addPitchGuide();
    std::unique_ptr<widgets::MainControls> controls_;
    // Before the session, whose hooks use it, and gone after it.
    WindowParts parts_;
    std::unique_ptr<App> app_;
    std::unique_ptr<LiveSpecWindow> liveSpec_; // goes before the session it works on
    std::unique_ptr<explorer::ExplorerWindow> explorer_;
    std::unique_ptr<Form1Window> form1_;
    widgets::PitchStrip* pitchStrip_ = nullptr; // owned by the lyric group box
    QAction* pitchAction_ = nullptr;
    std::unique_ptr<pitch::PitchGuide> pitchGuide_;
};

} // namespace velvora::ui
