#include "package/package_maker.h"

#include "core/files.h"
#include "core/vb_text.h"
#include "package/package_open.h"
#include "recording/take_score.h"
#include "widgets/form1_controls.h"

#include <QApplication>
#include <QCheckBox>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTreeWidget>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace velvora::package {
namespace fs = std::filesystem;

namespace {

std::string text(const QLineEdit* field) {
    return field->text().toStdString();
}

std::string lower(std::string s) {
    std::transform(s.begin(), s.end(), s.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return s;
}

bool copyFile(const std::string& from, const std::string& to, std::string& error) {
    std::error_code ec;
    fs::copy_file(from, to, fs::copy_options::overwrite_existing, ec);
    if (ec) error = from + ": " + ec.message();
    return !ec;
}

} // namespace

PackageMaker::PackageMaker(App& app, widgets::Form1Controls& ui) : app_(app), ui_(ui) {
    zip_.onOverallProgress = [this](const std::string&, int percent) {
        if (percent > 0) ui_.overallprogress->setValue(percent);
    };
    zip_.onFileProgress = [this](const std::string&, int percent) {
        if (percent > 0) ui_.ProgressBar1->setValue(percent);
    };
}

std::string PackageMaker::tmpk(const std::string& name) const {
    return joinPath(app_.appFolder, "TMPK/" + name);
}

void PackageMaker::Form_Load() {
    ui_.lv->setColumnCount(5);
    ui_.lv->setHeaderLabels({"Name", "Date", "Size", "Compressed", "Comment"});
    nomeBrano_.clear();
    for (QLineEdit* field : {ui_.TxtTitle, ui_.TxtArt, ui_.TxtEditore, ui_.TxtDisco, ui_.TxtTono})
        field->clear();
    ui_.CmdSalva->setEnabled(false);
    ui_.Command5->setEnabled(false);
    // The first item of the take's lyric, if there is one: a MIDI song's package carries it then.
    std::ifstream in(resolveCaseInsensitive(app_.appFolder, "syncro.lrc"), std::ios::binary);
    if (in) lrcText_ = readInfoItems({std::istreambuf_iterator<char>(in), {}})[1];
}

void PackageMaker::TxtTitle_Change() {
    if (!ui_.TxtTitle->text().isEmpty()) ui_.CmdSalva->setEnabled(true);
}

void PackageMaker::CmdSalva_Click() {
    if (ui_.TxtTitle->text().isEmpty()) {
        app_.sys.dialogs.msgBox("Inserire Titolo!", 0x10, " NVK Multitrack  Maker");
        return;
    }
    nomeBrano_ = text(ui_.TxtTitle);
    const std::string path = tmpk(nomeBrano_ + ".txt");
    // A title that no file name can hold fails here, with the file system's words.
    if (nomeBrano_.find('/') != std::string::npos) {
        app_.sys.dialogs.msgBox(path + ": bad file name", platform::vbCritical, "Velvora");
        return;
    }
    std::ofstream out(path, std::ios::binary);
    for (const std::string& line : {nomeBrano_, text(ui_.TxtArt), text(ui_.TxtEditore), text(ui_.TxtDisco),
                                    text(ui_.TxtTono), std::string(), std::string(), std::string()})
        out << line << "\r\n";
    out.close();
    if (!out) {
        app_.sys.dialogs.msgBox(path + ": cannot write", platform::vbCritical, "Velvora");
        return;
    }
    ui_.Command5->setEnabled(true);
}

std::optional<std::string> PackageMaker::askPackageName(const std::string& fileName) {
    platform::FileDialogRequest request;
    request.title = "Save NVK File";
    request.initialFolder = "C:/";
    request.filter = "File NVK (*.NVK)|*.NVK";
    request.flags = 2;
    request.fileName = fileName;
    return app_.sys.dialogs.saveFile(request);
}

void PackageMaker::trapped(const std::string& error) {
    QApplication::restoreOverrideCursor();
    app_.sys.dialogs.msgBox(error, 0, "Velvora");
    zip_.closeArchive();
}

void PackageMaker::Command5_Click() {
    const std::optional<std::string> answer = askPackageName(text(ui_.TxtTitle));
    if (!answer) return trapped("Cancel was selected.");
    QApplication::restoreOverrideCursor();
    const std::string name = *answer;
    if (name.empty()) return;
    std::error_code ec;
    if (EsisteFile(name)) fs::remove(name, ec);
    const bool opened = !FileExists(name) ? zip_.createArchive(name) : zip_.openArchive(text(ui_.Text1));
    if (!opened) return trapped(zip_.lastError());

    std::string error;
    const std::string ext = lower(vb::Right(app_.s.FileName, 3));
    if (ext != "mid" && ext != "kar") {
        if (!copyFile(app_.s.dialogFileName, tmpk("ZZZZ.MP3"), error)) return trapped(error);
    } else {
        if (!copyFile(app_.s.dialogFileName, tmpk("ZZZZ.MID"), error)) return trapped(error);
        if (!lrcText_.empty() &&
            !copyFile(resolveCaseInsensitive(app_.appFolder, "syncro.LRC"), tmpk("LIRICA.LRC"), error))
            return trapped(error);
    }
    if (!carryTakeScore(error)) return trapped(error);
    zip_.setPreservePath(ui_.Check1->isChecked());
    zip_.setBaseFolder({});
    zipSource_ = joinPath(app_.appFolder, "TMPK");
    if (!zip_.addFiles(zipSource_) || !zip_.closeArchive()) return trapped(zip_.lastError());
    Command2_Click();
}

bool PackageMaker::carryTakeScore(std::string& error) {
    // A title spelt like the score's file keeps its information text; the score stays out then.
    if (lower(nomeBrano_) == "score") return true;
    const std::string kept = recording::takeScorePath(app_);
    if (FileExists(kept)) return copyFile(kept, tmpk("score.txt"), error);
    // No score of this take: none of an earlier package goes with it.
    std::error_code ec;
    fs::remove(tmpk("score.txt"), ec);
    return true;
}

void PackageMaker::Command2_Click() {
    app_.sys.dialogs.msgBox("NVK CREATO CON SUCCESSO!", 0, "NVK Creato!");
    ui_.ProgressBar1->setValue(0);
    ui_.overallprogress->setValue(0);
    zip_.closeArchive();
    ui_.Command5->setEnabled(false);
    if (unload) unload();
}

void PackageMaker::CmdSave_Click() {
    const std::optional<std::string> answer = askPackageName("");
    if (answer && !answer->empty() && EsisteFile(*answer)) {
        std::error_code ec;
        fs::remove(*answer, ec);
    }
}

void PackageMaker::password_Validate() {
    zip_.setPassword(text(ui_.password));
}

void PackageMaker::Check1_Validate() {
    zip_.setPreservePath(ui_.Check1->isChecked());
}

} // namespace velvora::package
