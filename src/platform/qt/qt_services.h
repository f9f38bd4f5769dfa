// The platform services on Qt: real boxes and dialogs, QTimer, the event loop.
#pragma once

#include "platform/services.h"

#include <QWidget>
#include <memory>

namespace platform {

class QtDialogs final : public Dialogs {
  public:
    void setParent(QWidget* parent) { parent_ = parent; }
    int msgBox(const std::string& text, int style, const std::string& caption) override;
    std::string inputBox(const std::string& prompt, const std::string& title,
                         const std::string& def) override;
    std::optional<std::string> openFile(const FileDialogRequest& request) override;
    std::optional<std::string> saveFile(const FileDialogRequest& request) override;
    std::optional<std::string> chooseFolder(const FileDialogRequest& request) override;

  private:
    QWidget* parent_ = nullptr;
};

class QtClock final : public Clock {
  public:
    QtClock();
    long long nowMs() override;
    void sleep(int ms) override;
    void doEvents() override;
    std::unique_ptr<Timer> makeTimer(int intervalMs, bool enabled) override;
    void post(std::function<void()> fn) override;
    void waitThen(int ms, std::function<void()> fn) override;

  private:
    long long start_;
};

class QtProcess final : public Process {
  public:
    void end() override;
    bool ended() const override { return ended_; }
    bool startProgram(const std::string& program, const std::vector<std::string>& args) override;
    bool openUrl(const std::string& url) override;
    std::string currentFolder() override;
    bool setCurrentFolder(const std::string& folder) override;
    std::string appFolder() override;
    std::string programFolder() override;
    std::string dataFolder() override;
    std::string appName() override;

  private:
    bool ended_ = false;
    std::string appFolder_;
};

// Turns "Desc|*.a;*.b|Other|*.c" into Qt's "Desc (*.a *.b);;Other (*.c)".
std::string qtFilter(const std::string& vbFilter);

// The executable's folder when it can be written to and is not an installed program's, else the
// per-user data folder (created when chosen).
std::string chooseAppFolder(const std::string& executableFolder, const std::string& userDataFolder);

// True when the executable's folder is the program folder of an installation: the desktop entry
// that the install puts in place stands at its path relative to the executable.
bool installedProgram(const std::string& executableFolder);

} // namespace platform
