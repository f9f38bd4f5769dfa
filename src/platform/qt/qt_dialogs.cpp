#include "platform/qt/qt_services.h"

#include <QFile>
#include <QFileDialog>
#include <QInputDialog>
#include <QMessageBox>

namespace platform {

namespace {

QString q(const std::string& s) {
    return QString::fromStdString(s);
}

std::vector<std::string> split(const std::string& s, char sep) {
    std::vector<std::string> out;
    std::string cur;
    for (char c : s) {
        if (c == sep) {
            out.push_back(cur);
            cur.clear();
        } else {
            cur += c;
        }
    }
    out.push_back(cur);
    return out;
}

} // namespace

std::string qtFilter(const std::string& vbFilter) {
    const std::vector<std::string> parts = split(vbFilter, '|');
    std::string out;
    for (std::size_t i = 0; i + 1 < parts.size(); i += 2) {
        std::string patterns = parts[i + 1];
        for (char& c : patterns)
            if (c == ';') c = ' ';
        if (!out.empty()) out += ";;";
        // The description often already shows the patterns; Qt wants them in brackets at the end.
        out += parts[i] + " (" + patterns + ")";
    }
    return out;
}

int QtDialogs::msgBox(const std::string& text, int style, const std::string& caption) {
    QMessageBox box(parent_);
    box.setWindowTitle(q(caption));
    box.setText(q(text));
    switch (style & 0x70) {
    case vbCritical:
        box.setIcon(QMessageBox::Critical);
        break;
    case vbQuestion:
        box.setIcon(QMessageBox::Question);
        break;
    case vbExclamation:
        box.setIcon(QMessageBox::Warning);
        break;
    case vbInformation:
        box.setIcon(QMessageBox::Information);
        break;
    default:
        break;
    }
    switch (style & 7) {
    case vbYesNoCancel:
        box.setStandardButtons(QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
        break;
    case vbYesNo:
        box.setStandardButtons(QMessageBox::Yes | QMessageBox::No);
        break;
    case vbOKCancel:
        box.setStandardButtons(QMessageBox::Ok | QMessageBox::Cancel);
        break;
    default:
        box.setStandardButtons(QMessageBox::Ok);
        break;
    }
    switch (box.exec()) {
    case QMessageBox::Yes:
        return vbYes;
    case QMessageBox::No:
        return vbNo;
    case QMessageBox::Cancel:
        return vbCancel;
    default:
        return (style & 7) == vbYesNoCancel ? vbCancel : vbOK;
    }
}

std::string QtDialogs::inputBox(const std::string& prompt, const std::string& title, const std::string& def) {
    bool ok = false;
    const QString text = QInputDialog::getText(parent_, q(title), q(prompt), QLineEdit::Normal, q(def), &ok);
    return ok ? text.toStdString() : std::string();
}

std::optional<std::string> QtDialogs::openFile(const FileDialogRequest& request) {
    const QString name = QFileDialog::getOpenFileName(parent_, q(request.title), q(request.initialFolder),
                                                      q(qtFilter(request.filter)));
    if (name.isEmpty()) return std::nullopt;
    return name.toStdString();
}

std::optional<std::string> QtDialogs::saveFile(const FileDialogRequest& request) {
    QFileDialog::Options options;
    if (!(request.flags & ofnOverwritePrompt)) options |= QFileDialog::DontConfirmOverwrite;
    QString start = q(request.initialFolder);
    if (!request.fileName.empty())
        start = start.isEmpty() ? q(request.fileName) : start + "/" + q(request.fileName);
    QString name = QFileDialog::getSaveFileName(parent_, q(request.title), start, q(qtFilter(request.filter)),
                                                nullptr, options);
    if (name.isEmpty()) return std::nullopt;
    if (!request.defaultExt.empty() && QFileInfo(name).suffix().isEmpty()) {
        QString ext = q(request.defaultExt);
        if (!ext.startsWith('.')) ext.prepend('.');
        name += ext;
    }
    return name.toStdString();
}

std::optional<std::string> QtDialogs::chooseFolder(const FileDialogRequest& request) {
    const QString name =
        QFileDialog::getExistingDirectory(parent_, q(request.title), q(request.initialFolder));
    if (name.isEmpty()) return std::nullopt;
    return name.toStdString();
}

} // namespace platform
