#include "ui/form1_window.h"

#include "package/package_maker.h"
#include "widgets/form1_controls.h"

#include <QCheckBox>
#include <QDialog>
#include <QLineEdit>
#include <QPushButton>

namespace velvora::ui {

Form1Window::Form1Window(App& app, QWidget* parent)
    : dialog_(std::make_unique<QDialog>(parent)),
      controls_(std::make_unique<widgets::Form1Controls>(dialog_.get())),
      maker_(std::make_unique<package::PackageMaker>(app, *controls_)) {
    dialog_->setModal(true);
    auto& ui = *controls_;
    auto* maker = maker_.get();
    maker->unload = [this] { dialog_->close(); };
    QObject::connect(ui.TxtTitle, &QLineEdit::textChanged, [maker] { maker->TxtTitle_Change(); });
    QObject::connect(ui.CmdSalva, &QPushButton::clicked, [maker] { maker->CmdSalva_Click(); });
    QObject::connect(ui.Command5, &QPushButton::clicked, [maker] { maker->Command5_Click(); });
    QObject::connect(ui.Command2, &QPushButton::clicked, [maker] { maker->Command2_Click(); });
    QObject::connect(ui.CmdSave, &QPushButton::clicked, [maker] { maker->CmdSave_Click(); });
    QObject::connect(ui.password, &QLineEdit::editingFinished, [maker] { maker->password_Validate(); });
    QObject::connect(ui.Check1, &QCheckBox::toggled, [maker] { maker->Check1_Validate(); });
}

Form1Window::~Form1Window() {
    // The routines go first: they hold the controls.
    maker_.reset();
}

void Form1Window::show() {
    maker_->Form_Load();
    dialog_->show();
    dialog_->raise();
}

} // namespace velvora::ui
