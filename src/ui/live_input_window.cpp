#include "ui/live_input_window.h"

#include "metering/live_input_level.h"
#include "widgets/live_input_controls.h"

#include <QDialog>
#include <QSlider>

namespace velvora::ui {

LiveSpecWindow::LiveSpecWindow(App& app, QWidget* parent)
    : dialog_(std::make_unique<QDialog>(parent)),
      controls_(std::make_unique<widgets::LiveSpecControls>(dialog_.get())),
      live_(std::make_unique<metering::LiveSpec>(app, *controls_)) {
    dialog_->setModal(false);
    QObject::connect(controls_->sldEQR, &QSlider::valueChanged, [this] { metering::sldEQR_Change(*live_); });
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

void LiveSpecWindow::show() {
    if (!loaded_) {
        if (!metering::Form_Load(*live_)) return;
        loaded_ = true;
    }
    dialog_->show();
    dialog_->raise();
}

} // namespace velvora::ui
