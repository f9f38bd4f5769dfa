#include "pulse/pulse_server.h"

#include "pulse/monitor_recorder.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace pulsetest {

namespace {

pid_t spawnWith(const std::vector<std::string>& args, posix_spawn_file_actions_t& actions) {
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    std::vector<char*> argv;
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    pid_t pid = -1;
    if (posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ) != 0) pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    return pid;
}

} // namespace

bool onPath(const std::string& program) {
    const char* path = std::getenv("PATH");
    const std::string p = path ? path : "/usr/bin:/bin";
    std::size_t start = 0;
    while (start <= p.size()) {
        const std::size_t end = p.find(':', start);
        const std::string dir = p.substr(start, end == std::string::npos ? std::string::npos : end - start);
        if (!dir.empty() && access((dir + "/" + program).c_str(), X_OK) == 0) return true;
        if (end == std::string::npos) break;
        start = end + 1;
    }
    return false;
}

pid_t spawn(const std::vector<std::string>& args, const std::string& outFile) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, outFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    return spawnWith(args, actions);
}

pid_t spawnToFd(const std::vector<std::string>& args, int outFd) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, outFd, 1);
    return spawnWith(args, actions);
}

int run(const std::vector<std::string>& args) {
    const pid_t pid = spawn(args);
    if (pid < 0) return -1;
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void stopProcess(pid_t pid) {
    if (pid <= 0) return;
    kill(pid, SIGTERM);
    for (int i = 0; i < 50; ++i) {
        int status = 0;
        if (waitpid(pid, &status, WNOHANG) == pid) return;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

PrivateServer::PrivateServer() = default;

PrivateServer::~PrivateServer() {
    stop();
}

bool PrivateServer::start(const std::string& tag, const std::vector<std::string>& sinks) {
    firstSink_.clear();
    if (!sinks.empty()) {
        const std::size_t at = sinks.front().find("sink_name=");
        if (at != std::string::npos) {
            const std::size_t from = at + 10;
            firstSink_ = sinks.front().substr(from, sinks.front().find(' ', from) - from);
        }
    }
    dir_ = std::filesystem::temp_directory_path() / ("velvora_" + tag + "_" + std::to_string(getpid()));
    std::filesystem::create_directories(dir_ / "pulse");
    for (const char* name : {"HOME", "XDG_RUNTIME_DIR", "PULSE_RUNTIME_PATH", "PULSE_SERVER"}) {
        const char* v = std::getenv(name);
        saved_.emplace_back(name, v ? std::optional<std::string>(v) : std::nullopt);
    }
    setenv("HOME", dir_.c_str(), 1);
    setenv("XDG_RUNTIME_DIR", dir_.c_str(), 1);
    setenv("PULSE_RUNTIME_PATH", (dir_ / "pulse").c_str(), 1);
    setenv("PULSE_SERVER", ("unix:" + (dir_ / "pulse" / "native").string()).c_str(), 1);
    args_ = {"pulseaudio",     "--system=false",      "-n",
             "--daemonize=no", "--exit-idle-time=-1", "--use-pid-file=no"};
    for (const std::string& sink : sinks) args_.push_back("--load=module-null-sink " + sink);
    args_.push_back("--load=module-native-protocol-unix");
    args_.push_back("--log-target=stderr");
    return launch();
}

bool PrivateServer::launch() {
    server_ = spawn(args_);
    if (server_ <= 0) return false;
    bool up = false;
    for (int i = 0; i < 100 && !up; ++i) {
        up = run({"pactl", "info"}) == 0;
        if (!up) std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    if (!up || firstSink_.empty()) return up;
    awake_ = std::make_unique<MonitorRecorder>();
    return awake_->start(firstSink_ + ".monitor", 0, false) &&
           awake_->waitForFrames(1, std::chrono::seconds(5));
}

void PrivateServer::kill() {
    awake_.reset();
    if (server_ <= 0) return;
    ::kill(server_, SIGKILL);
    waitpid(server_, nullptr, 0);
    server_ = -1;
}

bool PrivateServer::restart() {
    if (args_.empty()) return false;
    kill();
    return launch();
}

void PrivateServer::stop() {
    awake_.reset();
    stopProcess(server_);
    server_ = -1;
    for (auto& [name, value] : saved_) {
        if (value)
            setenv(name.c_str(), value->c_str(), 1);
        else
            unsetenv(name.c_str());
    }
    saved_.clear();
    std::error_code ec;
    if (!dir_.empty()) std::filesystem::remove_all(dir_, ec);
    dir_.clear();
}

} // namespace pulsetest
