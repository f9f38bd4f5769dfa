// The process and the outside world: ending, starting other programs, folders.
#pragma once

#include <string>
#include <vector>

namespace platform {

class Process {
  public:
    virtual ~Process() = default;
    // Ends the program. In tests this only records the request; callers return right after it.
    virtual void end() = 0;
    virtual bool ended() const = 0;
    // Starts a program without waiting for it.
    virtual bool startProgram(const std::string& program, const std::vector<std::string>& args) = 0;
    // Opens a web page or mail address with the desktop's handler.
    virtual bool openUrl(const std::string& url) = 0;
    virtual std::string currentFolder() = 0;
    virtual bool setCurrentFolder(const std::string& folder) = 0;
    // The folder the program keeps its files in, with no separator at its end.
    virtual std::string appFolder() = 0;
    // The folder of the executable itself, and the per-user data folder; appFolder() is one of
    // them. Neither is created by asking.
    virtual std::string programFolder() = 0;
    virtual std::string dataFolder() = 0;
    // The name of the executable without extension.
    virtual std::string appName() = 0;
};

} // namespace platform
