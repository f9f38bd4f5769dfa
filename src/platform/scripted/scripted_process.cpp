#include "platform/scripted/scripted_process.h"

#include <filesystem>
#include <system_error>

namespace platform {

ScriptedProcess::ScriptedProcess(std::string appFolder) : appFolder_(std::move(appFolder)) {
    std::error_code ec;
    startFolder_ = std::filesystem::current_path(ec).string();
}

ScriptedProcess::~ScriptedProcess() {
    std::error_code ec;
    if (!startFolder_.empty()) std::filesystem::current_path(startFolder_, ec);
}

bool ScriptedProcess::startProgram(const std::string& program, const std::vector<std::string>& args) {
    started_.push_back({program, args});
    return true;
}

bool ScriptedProcess::openUrl(const std::string& url) {
    started_.push_back({"open-url", {url}});
    return true;
}

std::string ScriptedProcess::currentFolder() {
    std::error_code ec;
    return std::filesystem::current_path(ec).string();
}

bool ScriptedProcess::setCurrentFolder(const std::string& folder) {
    std::error_code ec;
    std::filesystem::current_path(folder, ec);
    return !ec;
}

} // namespace platform
