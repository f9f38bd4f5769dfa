#include "platform/qt/qt_services.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryFile>
#include <QUrl>

namespace platform {

bool installedProgram(const std::string& executableFolder) {
    return QFileInfo::exists(QString::fromStdString(executableFolder) + "/" VELVORA_INSTALLED_ENTRY);
}

std::string chooseAppFolder(const std::string& executableFolder, const std::string& userDataFolder) {
    // An installed program's folder (/usr/bin, ~/.local/bin) is no place for songs and takes, even
    // when it could be written to. Otherwise writable means a file can really be made there, not
    // only that the permission bits say so.
    if (!installedProgram(executableFolder)) {
        QTemporaryFile probe(QString::fromStdString(executableFolder) + "/.velvora-write-test-XXXXXX");
        if (probe.open()) return executableFolder;
    }
    QDir().mkpath(QString::fromStdString(userDataFolder));
    return userDataFolder;
}

void QtProcess::end() {
    ended_ = true;
    QCoreApplication::exit(0);
}

bool QtProcess::startProgram(const std::string& program, const std::vector<std::string>& args) {
    QStringList list;
    for (const std::string& a : args) list << QString::fromStdString(a);
    return QProcess::startDetached(QString::fromStdString(program), list);
}

bool QtProcess::openUrl(const std::string& url) {
    return QDesktopServices::openUrl(QUrl(QString::fromStdString(url)));
}

std::string QtProcess::currentFolder() {
    return QDir::currentPath().toStdString();
}

bool QtProcess::setCurrentFolder(const std::string& folder) {
    return QDir::setCurrent(QString::fromStdString(folder));
}

std::string QtProcess::appFolder() {
    if (appFolder_.empty()) appFolder_ = chooseAppFolder(programFolder(), dataFolder());
    return appFolder_;
}

std::string QtProcess::programFolder() {
    return QCoreApplication::applicationDirPath().toStdString();
}

std::string QtProcess::dataFolder() {
    return QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation).toStdString();
}

std::string QtProcess::appName() {
    return QFileInfo(QCoreApplication::applicationFilePath()).baseName().toStdString();
}

} // namespace platform
