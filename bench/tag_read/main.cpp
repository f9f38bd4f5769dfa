// Reading the tags and MPEG facts of an MP3 whose ID3v2.3 tag is a megabyte (a 2000-entry SYLT
// frame, text frames and a picture) with frames, a Lyrics3 block and an ID3v1 tag behind it: the
// ID3v2.3 reader and the end-tag and frame-header reader together, against `id3v2 -l` listing
// the same file. Each figure is the median of 20 runs; the reference runs as its own process.
#include "platform/scripted/scripted_dialogs.h"
#include "platform/scripted/virtual_clock.h"
#include "support/mp3_bytes.h"
#include "tags/id3v23_reader.h"
#include "tags/mpeg_info.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <vector>

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;
using namespace velvora::testing::mp3;

constexpr int kRounds = 20;
constexpr int kEntries = 2000;
constexpr std::size_t kTagBytes = 1024 * 1024;

std::string benchSong() {
    std::vector<SyltEntry> entries;
    for (int i = 0; i < kEntries; ++i)
        entries.push_back({(i % 8 == 0 ? "/word" : "word") + std::to_string(i) + " ", 250u * i});
    std::string frames = textFrame("TIT2", "Bench song") + textFrame("TPE1", "Singer") +
                         textFrame("TALB", "Album") + textFrame("TRCK", "3/12") +
                         frame("COMM", bytes({0}) + "eng" + bytes({0}) + "A comment") + syltFrame(entries);
    const std::string pictureHead = bytes({0}) + "image/jpeg" + bytes({0, 3}) + "Cover" + bytes({0});
    const std::size_t pictureBytes = kTagBytes - 10 - frames.size() - 10 - pictureHead.size();
    std::string picture(pictureBytes, '\0');
    for (std::size_t i = 0; i < picture.size(); ++i) picture[i] = static_cast<char>((i * 131 + 7) & 0x7F);
    frames += frame("APIC", pictureHead + picture);
    std::string song = tag(frames);
    song += mpegFrame(1200);
    for (int i = 0; i < 200; ++i) song += mpegFrame();
    return song + lyrics3({{"IND", "00"}, {"LYR", "[00:01]la la la"}}) + id3v1("Bench song", "Singer");
}

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

// Runs `id3v2 -l path` with its output thrown away; false when it cannot be run or fails.
bool listWithId3v2(const std::string& path) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    std::string program = "id3v2", option = "-l", file = path;
    char* argv[] = {program.data(), option.data(), file.data(), nullptr};
    pid_t pid = 0;
    const int started = posix_spawnp(&pid, "id3v2", &actions, nullptr, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    if (started != 0) return false;
    int status = 0;
    if (waitpid(pid, &status, 0) != pid) return false;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// True when id3v2 lists the lyric frame of the file: the reference really read it.
bool id3v2SeesTheLyricFrame(const std::string& path) {
    FILE* pipe = ::popen(("id3v2 -l '" + path + "' 2>/dev/null").c_str(), "r");
    if (!pipe) return false;
    std::string out;
    char buf[4096];
    while (std::size_t n = std::fread(buf, 1, sizeof buf, pipe)) out.append(buf, n);
    ::pclose(pipe);
    return out.find("SYLT") != std::string::npos;
}

} // namespace

int main() {
    const auto path = (std::filesystem::temp_directory_path() / "velvora-bench-tag-read.mp3").string();
    write(path, benchSong());

    platform::ScriptedDialogs dialogs;
    platform::VirtualClock clock;
    std::vector<double> ours, ref;
    bool exact = true;
    for (int round = 0; round < kRounds; ++round) {
        const auto start = Clock::now();
        velvora::tags::modID3V230Reader reader(dialogs, clock);
        reader.ReadID3v23(path, false, false);
        velvora::tags::mMP3 module;
        module.ReadEndTags(path);
        ours.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
        exact = exact && reader.syltEventCount == kEntries && reader.id3Title == "Bench song" &&
                reader.id3Track == 3 && reader.id3PicTypes == "Front Cover" &&
                reader.syltEvents[kEntries - 1].time == 250.0f * (kEntries - 1) && module.lyricTagFlag &&
                module.info.LyricsText == "[00:01]la la la" && module.info.Title == "Bench song" &&
                module.info.Version.empty(); // the frame search does not reach past a 1 MB tag
    }

    const bool refRuns = id3v2SeesTheLyricFrame(path);
    for (int round = 0; refRuns && round < kRounds; ++round) {
        const auto start = Clock::now();
        if (!listWithId3v2(path)) break;
        ref.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
    }
    std::filesystem::remove(path);
    if (ref.size() != static_cast<std::size_t>(kRounds)) {
        std::printf("id3v2 -l could not list the file (Debian package id3v2)\n");
        return 1;
    }

    const double oursMs = median(ours), refMs = median(ref);
    std::printf("tag=%zu bytes, sylt entries=%d, rounds=%d, exact=%d\n", kTagBytes, kEntries, kRounds,
                exact ? 1 : 0);
    std::printf("ours median %.3f ms, id3v2 -l median %.3f ms\n", oursMs, refMs);
    std::printf("RESULT tag_read ours_ms=%.3f ref_ms=%.3f ratio=%.3f\n", oursMs, refMs, oursMs / refMs);
    return exact ? 0 : 1;
}
