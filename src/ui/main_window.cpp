#include "ui/main_window.h"

#include "core/startup.h"
#include "explorer/explorer_window.h"
#include "pitch/pitch_guide.h"
#include "ui/form1_window.h"
#include "ui/live_input_window.h"
#include "ui/wiring.h"
#include "widgets/main_controls.h"
#include "widgets/pitch_strip.h"
#include "widgets/words_full_screen.h"

#include "transport/transport.h"

#include <QAction>
#include <QApplication>
#include <QBoxLayout>
#include <QCloseEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPushButton>

namespace velvora::ui {

MainWindow::MainWindow(platform::Services& services)
    : controls_(std::make_unique<widgets::MainControls>(this)),
      app_(std::make_unique<App>(*controls_, services)),
      explorer_(std::make_unique<explorer::ExplorerWindow>(*app_)) {
    wire(*app_, parts_, *explorer_);
    app_->hooks.showLiveSpec = [this] { liveSpec().show(); };
    app_->hooks.showForm1 = [this] { form1().show(); };
    QObject::connect(controls_->CmdMicro, &QPushButton::clicked, [this] { liveSpec().show(); });
    addPitchGuide();
    qApp->installEventFilter(this);
}

MainWindow::~MainWindow() = default;

void MainWindow::addPitchGuide() {
    pitchStrip_ = new widgets::PitchStrip(controls_->grpLyrics);
    auto* box = qobject_cast<QBoxLayout*>(controls_->grpLyrics->layout());
    box->insertWidget(box->indexOf(controls_->Picture3) + 1, pitchStrip_);
    pitchStrip_->hide();
    pitchGuide_ = std::make_unique<pitch::PitchGuide>(*app_, *pitchStrip_);
    widgets::PitchStrip* singers = controls_->frmWordsFullScreen->pitchStrip();
    pitchGuide_->addStrip(*singers);
    pitchAction_ = controls_->mnutil->addAction("Pitch guide");
    pitchAction_->setCheckable(true);
    QObject::connect(pitchAction_, &QAction::toggled, [this, singers](bool on) {
        pitchStrip_->setVisible(on);
        singers->setVisible(on);
        pitchGuide_->setShown(on);
    });
}

LiveSpecWindow& MainWindow::liveSpec() {
    if (!liveSpec_) liveSpec_ = std::make_unique<LiveSpecWindow>(*app_, this);
    return *liveSpec_;
}

Form1Window& MainWindow::form1() {
    if (!form1_) form1_ = std::make_unique<Form1Window>(*app_, this);
    return *form1_;
}

void MainWindow::closeEvent(QCloseEvent* event) {
    if (app_->sys.process.ended() || Form_Unload(*app_))
        event->accept();
    else
        event->ignore();
}

bool MainWindow::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::KeyPress) return QMainWindow::eventFilter(watched, event);
    auto* widget = qobject_cast<QWidget*>(watched);
    if (!widget || widget->window() != this) return QMainWindow::eventFilter(watched, event);
    const auto* edit = qobject_cast<QLineEdit*>(QApplication::focusWidget());
    if (edit && !edit->isReadOnly()) return QMainWindow::eventFilter(watched, event);
    const auto* key = static_cast<QKeyEvent*>(event);
    if (key->key() == Qt::Key_S && !key->isAutoRepeat()) {
        transport::Form_KeyDown(*app_, 83);
        return true;
    }
    return QMainWindow::eventFilter(watched, event);
}

} // namespace velvora::ui
