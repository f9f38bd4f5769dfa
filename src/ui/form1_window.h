// The package maker's window, "Crea NVK File": made on first use, loaded anew each time it is
// shown, modal over the main window without blocking the caller.
#pragma once

#include "core/app.h"

#include <memory>

class QDialog;
class QWidget;

namespace velvora::widgets {
struct Form1Controls;
}
namespace velvora::package {
class PackageMaker;
}

namespace velvora::ui {

class Form1Window {
  public:
    Form1Window(App& app, QWidget* parent);
    ~Form1Window();

    void show();
    QDialog& dialog() { return *dialog_; }
    widgets::Form1Controls& controls() { return *controls_; }
    package::PackageMaker& maker() { return *maker_; }

  private:
    std::unique_ptr<QDialog> dialog_;
    std::unique_ptr<widgets::Form1Controls> controls_;
    std::unique_ptr<package::PackageMaker> maker_;
};

} // namespace velvora::ui
