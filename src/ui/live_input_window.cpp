#include "ui/live_input_window.h"

#include "metering/live_input_level.h"
#include "recording/latency_calibration.h"
#include "settings/latency_file.h"
#include "widgets/live_input_controls.h"

#include <QApplication>
#include <QDialog>
#include <QLabel>
#include <QPushButton>
#include <QSlider>

namespace velvora::ui {

LiveSpecWindow::LiveSpecWindow(App& app, QWidget* parent)
    : app_(app), dialog_(std::make_unique<QDialog>(parent)),
      controls_(std::make_unique<widgets::LiveSpecControls>(dialog_.get())),
      live_(std::make_unique<metering::LiveSpec>(app, *controls_)) {
    dialog_->setModal(false);
    QObject::connect(controls_->sldEQR, &QSlider::valueChanged, [this] { metering::sldEQR_Change(*live_); });
    QObject::connect(controls_->CmdLatency, &QPushButton::clicked, [this] { CmdLatency_Click(); });
    // Closing the window unloads it: the bar stops and its capture ends.
    QObject::connect(dialog_.get(), &QDialog::finished, [this] {
        if (!loaded_) return;
        loaded_ = false;
        metering::Form_Unload(*live_);
    });
}

LiveSpecWindow::~LiveSpecWindow() {
    // The routines go first: they hold the controls.
    live_.reset();
}

void LiveSpecWindow::CmdLatency_Click() {
    controls_->CmdLatency->setEnabled(false);
    controls_->LblLatency->setText("Listening...");
    QApplication::setOverrideCursor(Qt::WaitCursor);
    const recording::CalibrationOutcome outcome = recording::CalibrateLatency(app_);
    QApplication::restoreOverrideCursor();
    std::string text = outcome.message;
    if (outcome.measured) {
        app_.s.capture.calibration = outcome.measured;
        const std::string error = settings::latencySave(app_);
        if (!error.empty()) text += "\nNot kept: " + error;
    }
    controls_->LblLatency->setText(QString::fromStdString(text));
    controls_->CmdLatency->setEnabled(true);
}

void LiveSpecWindow::show() {
    if (!loaded_) {
        if (!metering::Form_Load(*live_)) return;
        loaded_ = true;
    }
    dialog_->show();
    dialog_->raise();
}

} // namespace velvora::ui
