// A take killed with SIGKILL while it records, then recovered from its journal: the child program
// records on the virtual capture input over a playing song and is killed at twenty different
// moments, so that kills land in the middle of the journal's writes too.
#include "engine/api.h"
#include "engine/testing.h"
#include "recording/capture.h"
#include "recording/take_files.h"
#include "recording/take_recovery.h"
#include "recording_crash/crash_pattern.h"
#include "support/app_fixture.h"

#include <gmock/gmock.h>

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using namespace recordingtest;
using testing::AppFixture;

std::uint64_t framesFed(const fs::path& file) {
    const std::string b = readBytes(file);
    if (b.size() < 8) return 0;
    std::uint64_t v = 0;
    for (int i = 7; i >= 0; --i) v = v << 8 | static_cast<std::uint8_t>(b[static_cast<std::size_t>(i)]);
    return v;
}

// The child recording in `folder`, killed `afterMs` after it fed its first block. The frames it had
// fed by then; 0 when it never started.
std::uint64_t recordAndKill(const fs::path& folder, int afterMs) {
    const fs::path fed = folder / crashtest::kFedFile;
    fs::remove(fed);
    const std::string child = TAKE_CRASH_CHILD, where = folder.string();
    char* args[] = {const_cast<char*>(child.c_str()), const_cast<char*>(where.c_str()), nullptr};
    pid_t pid = 0;
    if (posix_spawn(&pid, child.c_str(), nullptr, nullptr, args, environ) != 0) return 0;
    bool started = false;
    for (int i = 0; i < 3000 && !started; ++i) {
        started = framesFed(fed) > 0;
        if (!started) std::this_thread::sleep_for(std::chrono::milliseconds(10));
        int status = 0;
        if (!started && waitpid(pid, &status, WNOHANG) == pid) return 0; // it ended on its own
    }
    if (started) std::this_thread::sleep_for(std::chrono::milliseconds(afterMs));
    kill(pid, SIGKILL);
    int status = 0;
    waitpid(pid, &status, 0);
    return started ? framesFed(fed) : 0;
}

class TakeCrashTest : public AppFixture {};

TEST_F(TakeCrashTest, AKilledTakeIsRecoveredWithEverySampleItHadUpToASecondBeforeTheKill) {
    start();
    const fs::path tkkk = folder.path() / "TKKK";
    for (int round = 0; round < 20; ++round) {
        SCOPED_TRACE("kill " + std::to_string(round));
        fs::remove_all(folder.path() / "TakeJournal");
        const int afterMs = 150 + round * 67;
        const std::uint64_t fed = recordAndKill(folder.path(), afterMs);
        ASSERT_GT(fed, 0u) << "the child did not record";
        ASSERT_TRUE(recording::journalLeft(*app));

        dialogs.clear();
        dialogs.answer(platform::vbYes);
        ASSERT_TRUE(recording::offerRecovery(*app));
        ASSERT_EQ(dialogs.shown().size(), 1u);
        EXPECT_THAT(dialogs.shown()[0].text,
                    ::testing::MatchesRegex("a take of Crash Test\\.kar from "
                                            "[0-9-]+ [0-9:]+, [0-9]+:[0-9][0-9] long, "
                                            "was not saved: recover it\\?"));
        EXPECT_FALSE(recording::journalLeft(*app)) << "recovered: the journal goes";

        const Wav voice = readWav(tkkk / "vocaltrack.wav");
        ASSERT_TRUE(voice.canonical);
        EXPECT_EQ(voice.riffSize, voice.fileSize - 8);
        EXPECT_EQ(voice.dataSize, voice.fileSize - 44);
        EXPECT_EQ(voice.rate, 44100u);
        const std::uint64_t frames = voice.samples.size() / 2;
        EXPECT_LE(frames, fed + 512) << "never more than was supplied";
        EXPECT_GE(frames + 44100, fed + 512) << "at most one second is lost";
        std::uint64_t wrong = 0;
        for (std::uint64_t i = 0; i < frames; ++i)
            wrong += voice.samples[2 * i] != crashtest::voiceLeft(i) ||
                     voice.samples[2 * i + 1] != crashtest::voiceRight(i);
        EXPECT_EQ(wrong, 0u);

        const Wav backing = readWav(tkkk / "BackingTrack.WAV");
        ASSERT_TRUE(backing.canonical);
        EXPECT_EQ(backing.dataSize, backing.fileSize - 44);
        EXPECT_EQ(backing.channels, 2);
        EXPECT_EQ(backing.rate, 44100u);
        // The song played from the start of the take: its journal holds it up to the kill, less
        // what the encoder and the journal's writer had not yet passed on.
        const std::uint64_t songFrames = backing.samples.size() / 2;
        EXPECT_GT(backing.samples.size(), 0u) << "the backing track reached the journal";
        EXPECT_GE(songFrames + 44100, fed) << "at most one second of the song is lost";
        EXPECT_LE(songFrames, fed + 44100) << "never more than the engine had decoded ahead of the kill";
        std::uint64_t wrongSong = 0;
        for (std::uint64_t i = 0; i < songFrames; ++i)
            wrongSong += backing.samples[2 * i] != crashtest::songLeft(i) ||
                         backing.samples[2 * i + 1] != crashtest::songRight(i);
        EXPECT_EQ(wrongSong, 0u);

        for (const char* name : {"vocaltrack.wav", "BackingTrack.WAV"}) {
            const std::string path = (tkkk / name).string();
            const HSTREAM s = BASS_StreamCreateFile(0, path.c_str(), 0, 0, BASS_STREAM_DECODE);
            EXPECT_NE(s, 0u) << name << " does not open in the engine";
            BASS_StreamFree(s);
        }
    }
    fs::remove(folder.path() / crashtest::kFedFile);
}

TEST_F(TakeCrashTest, NoKeepsTheJournalForLater) {
    start();
    ASSERT_GT(recordAndKill(folder.path(), 300), 0u);
    dialogs.answer(platform::vbNo);
    EXPECT_FALSE(recording::offerRecovery(*app));
    EXPECT_TRUE(recording::journalLeft(*app));
    EXPECT_FALSE(fs::exists(folder.path() / "TKKK" / "vocaltrack.wav"));
    recording::discardRecovery(*app);
    EXPECT_FALSE(recording::journalLeft(*app));
    EXPECT_FALSE(recording::offerRecovery(*app)) << "nothing left to offer";
}

} // namespace
} // namespace velvora
