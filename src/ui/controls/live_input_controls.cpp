#include "live_input_controls.h"

#include <QDialog>

namespace velvora::ui {

LiveSpecControls::LiveSpecControls(QDialog* liveWindow) : dialog(liveWindow) {
    setupUi(dialog);
    picVUMeter = {nullptr, picVUMeter_1};
}

} // namespace velvora::ui
