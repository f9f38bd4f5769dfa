// The crash test's child: the program's recorder on the virtual device, a take over a playing
// 16-bit song with its encoder tap to TKKK/BackingTrack.WAV, fed at twice real time until it is
// killed. Its one argument is the program folder to record in.
#include "core/files.h"
#include "core/startup.h"
#include "engine/api.h"
#include "engine/testing.h"
#include "recording/capture.h"
#include "recording_crash/crash_pattern.h"
#include "support/offscreen_app.h"

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace {

std::uint64_t songAt = 0;

DWORD song(HSTREAM, void* buffer, DWORD length, void*) {
    auto* out = static_cast<std::int16_t*>(buffer);
    for (DWORD f = 0; f < length / 4; ++f, ++songAt) {
        out[2 * f] = crashtest::songLeft(songAt);
        out[2 * f + 1] = crashtest::songRight(songAt);
    }
    return length / 4 * 4;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    engine::testing::useVirtualDevice(true);
    velvora::testing::OffscreenApp program;
    // The program folder is the parent's; the child's own temporary one is not needed.
    std::filesystem::remove_all(program.folder.path());
    velvora::App& app = program.app();
    app.appFolder = argv[1];
    velvora::MakeDir(app);
    app.s.FileName = "/songs/Crash Test.kar";
    app.s.capture.recBufStep = 200000;
    app.s.recordArmed = true;
    if (!BASS_Init(-1, 44100, 0, nullptr, nullptr) || !BASS_RecordInit(0)) return 3;
    app.s.chan = BASS_StreamCreate(44100, 2, 0, &song, nullptr);
    const std::string backing = velvora::joinPath(velvora::recording::takeFolder(app), "BackingTrack.WAV");
    if (!app.s.chan || !BASS_Encode_Start(app.s.chan, backing.c_str(), BASS_ENCODE_PCM | BASS_ENCODE_FP_16BIT,
                                          nullptr, nullptr))
        return 4;
    BASS_ChannelPlay(app.s.chan, 0);
    velvora::recording::StartCapture(app);
    if (!app.s.capture.recChan) return 5;

    const int fed =
        ::open(velvora::joinPath(argv[1], crashtest::kFedFile).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    constexpr unsigned kBlock = 512;
    std::vector<std::int16_t> block(kBlock * 2);
    const auto start = std::chrono::steady_clock::now();
    for (std::uint64_t at = 0;; at += kBlock) {
        for (unsigned f = 0; f < kBlock; ++f) {
            block[2 * f] = crashtest::voiceLeft(at + f);
            block[2 * f + 1] = crashtest::voiceRight(at + f);
        }
        engine::testing::pushCaptureInput(block);
        engine::testing::advance(kBlock);
        const std::uint64_t done = at + kBlock;
        unsigned char count[8];
        for (int i = 0; i < 8; ++i) count[i] = static_cast<unsigned char>(done >> (8 * i));
        if (::pwrite(fed, count, sizeof count, 0) != sizeof count) return 6;
        // Twice real time.
        std::this_thread::sleep_until(start + std::chrono::microseconds(done * 1000000 / 88200));
    }
}
