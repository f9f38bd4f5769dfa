#pragma once

#include "ui_live_input.h"
#include "widgets/vumeterpicture.h"

#include <array>

class QDialog;

namespace velvora::widgets {

// The live input level window's controls.
struct LiveSpecControls : public Ui::frmLiveSpec {
    explicit LiveSpecControls(QDialog* dialog); // setupUi(dialog), then fills the array

    QDialog* dialog;
    std::array<VuMeterPicture*, 2> picVUMeter; // only index 1 exists; [0] is nullptr
};

} // namespace velvora::widgets
