#include "widgets/form1_controls.h"

#include <QDialog>

namespace velvora::widgets {

Form1Controls::Form1Controls(QDialog* form) : dialog(form) {
    setupUi(dialog);
}

} // namespace velvora::widgets
