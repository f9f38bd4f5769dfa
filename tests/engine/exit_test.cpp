// The process's end with the engine still up: a program that never calls BASS_Free must still end
// cleanly, its engine threads stopped and joined in order by the engine's one destructor.
#include "engine/stream_fixtures.h"

#include <gtest/gtest.h>

#include <spawn.h>
#include <sys/wait.h>

extern char** environ;

namespace {

TEST(EngineExit, AProgramThatNeverFreesTheDeviceEndsCleanly) {
    const std::string wav =
        fixtures::writeAudio("exit_probe.wav", fixtures::sine(440, 0.5, 44100, 0.3), 2, 44100);
    const std::string program = VELVORA_EXIT_PROBE;
    char* argv[] = {const_cast<char*>(program.c_str()), const_cast<char*>(wav.c_str()), nullptr};
    pid_t pid = -1;
    ASSERT_EQ(posix_spawn(&pid, program.c_str(), nullptr, nullptr, argv, environ), 0);
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFEXITED(status)) << "the program died of signal " << WTERMSIG(status);
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

} // namespace
