#include "widgets/live_input_controls.h"

#include <QDialog>

namespace velvora::widgets {

LiveSpecControls::LiveSpecControls(QDialog* liveWindow) : dialog(liveWindow) {
    setupUi(dialog);
    picVUMeter = {nullptr, picVUMeter_1};
}

} // namespace velvora::widgets
