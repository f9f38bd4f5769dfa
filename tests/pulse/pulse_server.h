// A PulseAudio server of a test's own, in a private folder, with the null sinks the test asks
// for, and small helpers to run the pulseaudio-utils programs beside it. The server and the
// environment that points at it are undone by stop().
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace pulsetest {

class MonitorRecorder;

bool onPath(const std::string& program);
// Starts a program with its standard output to a file (or to the given descriptor).
pid_t spawn(const std::vector<std::string>& args, const std::string& outFile = "/dev/null");
pid_t spawnToFd(const std::vector<std::string>& args, int outFd);
// Runs a program to its end; its exit code, -1 when it could not run.
int run(const std::vector<std::string>& args);
void stopProcess(pid_t pid);

// The server keeps a listener on the first sink's monitor that asks for 2 ms blocks: an idle null
// sink renders two seconds at a time, and the first stream played into it would wait for the rest
// of such a block before it is heard. With the listener the sink is awake from the start.
class PrivateServer {
  public:
    PrivateServer();
    ~PrivateServer();
    // Starts the server with one null sink per entry of `sinks` (each the module's arguments,
    // e.g. "sink_name=velvora_test rate=44100"). False when it does not come up.
    bool start(const std::string& tag, const std::vector<std::string>& sinks);
    // Kills the server at once (as a crash would), leaving its folder and the environment.
    void kill();
    // Starts the server again after kill(), at the same address and with the same sinks.
    bool restart();
    void stop();
    const std::filesystem::path& dir() const { return dir_; }

  private:
    bool launch();
    std::filesystem::path dir_;
    std::string firstSink_;
    std::unique_ptr<MonitorRecorder> awake_;
    std::vector<std::string> args_;
    std::vector<std::pair<std::string, std::optional<std::string>>> saved_;
    pid_t server_ = -1;
};

} // namespace pulsetest
