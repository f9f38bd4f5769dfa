#pragma once

#include "ui_Form1.h"

class QDialog;

namespace velvora::widgets {

// The package maker's controls ("Crea NVK File").
struct Form1Controls : public Ui::Form1 {
    explicit Form1Controls(QDialog* dialog); // setupUi(dialog)

    QDialog* dialog;
};

} // namespace velvora::widgets
