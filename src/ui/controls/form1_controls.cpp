#include "form1_controls.h"

#include <QDialog>

namespace velvora::ui {

Form1Controls::Form1Controls(QDialog* form) : dialog(form) {
    setupUi(dialog);
}

} // namespace velvora::ui
