// A process stand-in for tests: records ending and started programs, keeps its folders in a
// test's own directory. The current folder is the whole test program's: the one found when the
// stand-in was made is current again when it goes, so that tests run one after another in one
// process do not inherit each other's.
#pragma once

#include "platform/process.h"

#include <string>
#include <vector>

namespace platform {

class ScriptedProcess final : public Process {
  public:
    explicit ScriptedProcess(std::string appFolder);
    ~ScriptedProcess() override;
    ScriptedProcess(const ScriptedProcess&) = delete;
    ScriptedProcess& operator=(const ScriptedProcess&) = delete;

    void end() override { ended_ = true; }
    bool ended() const override { return ended_; }
    bool startProgram(const std::string& program, const std::vector<std::string>& args) override;
    bool openUrl(const std::string& url) override;
    std::string currentFolder() override;
    bool setCurrentFolder(const std::string& folder) override;
    std::string appFolder() override { return appFolder_; }
    // Both are the program folder unless a test places them apart.
    std::string programFolder() override { return programFolder_.empty() ? appFolder_ : programFolder_; }
    std::string dataFolder() override { return dataFolder_.empty() ? appFolder_ : dataFolder_; }
    void setFolders(std::string programFolder, std::string dataFolder) {
        programFolder_ = std::move(programFolder);
        dataFolder_ = std::move(dataFolder);
    }
    std::string appName() override { return "velvora"; }

    struct Started {
        std::string program;
        std::vector<std::string> args;
    };
    const std::vector<Started>& started() const { return started_; }
    void reset() { ended_ = false; }

  private:
    std::string appFolder_;
    std::string programFolder_;
    std::string dataFolder_;
    std::string startFolder_;
    bool ended_ = false;
    std::vector<Started> started_;
};

} // namespace platform
