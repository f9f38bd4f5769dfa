// Capture from a real PulseAudio server of the test's own: a tone played into a null sink is
// recorded from that sink's monitor, selected among the inputs by name.
#include "engine/api.h"
#include "engine/stream_fixtures.h"

#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <mutex>
#include <optional>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace {

bool onPath(const std::string& name) {
    const char* path = std::getenv("PATH");
    std::string p = path ? path : "/usr/bin:/bin";
    std::size_t start = 0;
    while (start <= p.size()) {
        const std::size_t end = p.find(':', start);
        const std::string dir = p.substr(start, end == std::string::npos ? std::string::npos : end - start);
        if (!dir.empty() && access((dir + "/" + name).c_str(), X_OK) == 0) return true;
        if (end == std::string::npos) break;
        start = end + 1;
    }
    return false;
}

pid_t spawn(const std::vector<std::string>& args, const std::string& outFile = "/dev/null") {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, outFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    std::vector<char*> argv;
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    pid_t pid = -1;
    if (posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ) != 0) pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    return pid;
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

struct Recorded {
    std::mutex mutex;
    std::vector<std::int16_t> samples;
};

BOOL keep(HRECORD, const void* buffer, DWORD length, void* user) {
    auto* r = static_cast<Recorded*>(user);
    const auto* s = static_cast<const std::int16_t*>(buffer);
    std::lock_guard lock(r->mutex);
    r->samples.insert(r->samples.end(), s, s + length / 2);
    return 1;
}

class RealDeviceCapture : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!onPath("pulseaudio") || !onPath("paplay") || !onPath("pactl"))
            GTEST_SKIP() << "pulseaudio, paplay or pactl is not installed";
        dir_ = fixtures::tempDir() / ("pulsecap_" + std::to_string(getpid()));
        std::filesystem::create_directories(dir_ / "pulse");
        for (const char* name : {"HOME", "XDG_RUNTIME_DIR", "PULSE_RUNTIME_PATH", "PULSE_SERVER"}) {
            const char* v = std::getenv(name);
            saved_.emplace_back(name, v ? std::optional<std::string>(v) : std::nullopt);
        }
        setenv("HOME", dir_.c_str(), 1);
        setenv("XDG_RUNTIME_DIR", dir_.c_str(), 1);
        setenv("PULSE_RUNTIME_PATH", (dir_ / "pulse").c_str(), 1);
        setenv("PULSE_SERVER", ("unix:" + (dir_ / "pulse" / "native").string()).c_str(), 1);
        server_ = spawn({"pulseaudio", "--system=false", "-n", "--daemonize=no", "--exit-idle-time=-1",
                         "--use-pid-file=no",
                         "--load=module-null-sink sink_name=velvora_cap rate=44100 "
                         "sink_properties=device.description=VelvoraCapture",
                         "--load=module-null-sink sink_name=velvora_other rate=44100",
                         "--load=module-native-protocol-unix", "--log-target=stderr"});
        ASSERT_GT(server_, 0);
        bool up = false;
        for (int i = 0; i < 100 && !up; ++i) {
            up = run({"pactl", "info"}) == 0;
            if (!up) std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        ASSERT_TRUE(up) << "the test's PulseAudio did not come up";
        run({"pactl", "set-default-source", "velvora_other.monitor"}); // not the one we want
    }
    void TearDown() override {
        BASS_RecordFree();
        stopProcess(player_);
        stopProcess(server_);
        for (auto& [name, value] : saved_) {
            if (value)
                setenv(name.c_str(), value->c_str(), 1);
            else
                unsetenv(name.c_str());
        }
        std::error_code ec;
        std::filesystem::remove_all(dir_, ec);
    }
    std::filesystem::path dir_;
    std::vector<std::pair<std::string, std::optional<std::string>>> saved_;
    pid_t server_ = -1, player_ = -1;
};

TEST_F(RealDeviceCapture, MonitorOfANullSinkRecordsTheTonePlayed) {
    ASSERT_TRUE(BASS_RecordInit(0));
    int index = -1;
    for (int i = 0; const char* name = BASS_RecordGetInputName(i); ++i)
        if (std::string(name) == "Monitor of VelvoraCapture") index = i;
    ASSERT_GE(index, 0) << "the sink's monitor is not among the inputs";
    EXPECT_EQ(BASS_RecordGetInput(index, nullptr) & BASS_INPUT_TYPE_MASK, BASS_INPUT_TYPE_WAVE);
    ASSERT_TRUE(BASS_RecordSetInput(index, BASS_INPUT_ON, -1));

    const std::string wav =
        fixtures::writeAudio("cap_tone.wav", fixtures::sine(880, 3.0, 44100, 0.5), 2, 44100);
    Recorded rec;
    const HRECORD h = BASS_RecordStart(44100, 2, 0, &keep, &rec);
    ASSERT_NE(h, 0u) << BASS_ErrorGetCode();
    player_ = spawn({"paplay", "-d", "velvora_cap", wav});
    ASSERT_GT(player_, 0);
    int status = 0;
    waitpid(player_, &status, 0);
    player_ = -1;
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const DWORD level = BASS_ChannelGetLevel(h);
    ASSERT_TRUE(BASS_ChannelStop(h));
    std::lock_guard lock(rec.mutex);
    ASSERT_GT(rec.samples.size(), 44100u * 2); // more than a second arrived
    // The loudest second is the tone: amplitude about half scale, at 880 Hz.
    std::vector<float> frames(rec.samples.size());
    for (std::size_t i = 0; i < frames.size(); ++i) frames[i] = rec.samples[i] / 32768.0f;
    std::size_t best = 0;
    float bestPeak = 0;
    for (std::size_t at = 0; at + 44100 <= frames.size() / 2; at += 4410) {
        float p = 0;
        for (std::size_t i = at; i < at + 44100; ++i) p = std::max(p, std::abs(frames[i * 2]));
        if (p > bestPeak) bestPeak = p, best = at;
    }
    EXPECT_NEAR(bestPeak, 0.5f, 0.05f);
    EXPECT_NEAR(fixtures::zeroCrossingFrequency(frames, best, best + 44100, 44100), 880.0, 2.0);
    (void)level;
}

} // namespace
