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

std::string chooseAppFolder(const std::string& executableFolder, const std::string& userDataFolder) {
    // Writable means a file can really be made there, not only that the permission bits say so.
    QTemporaryFile probe(QString::fromStdString(executableFolder) + "/.velvora-write-test-XXXXXX");
    if (probe.open()) return executableFolder;
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
    if (appFolder_.empty()) {
        const QString exeFolder = QCoreApplication::applicationDirPath();
        const QString userFolder = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
        appFolder_ = chooseAppFolder(exeFolder.toStdString(), userFolder.toStdString());
    }
    return appFolder_;
}

std::string QtProcess::appName() {
    return QFileInfo(QCoreApplication::applicationFilePath()).baseName().toStdString();
}

} // namespace platform
