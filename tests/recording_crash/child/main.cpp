// The crash test's child: the program's recorder on the virtual device, a take over a playing
// 16-bit song with its encoder tap to TKKK/BackingTrack.WAV, fed at twice real time until it is
// killed. Its one argument is the program folder to record in.
#include "core/files.h"
#include "core/startup.h"
#include "engine/api.h"
#include "engine/testing.h"
#include "recording/capture.h"
#include "recording/wav_header.h"
#include "recording_crash/crash_pattern.h"
#include "support/offscreen_app.h"

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

// The song as a WAV file of one period of its pattern, so that played in a loop it goes on as
// long as the take does.
bool writeSong(const std::string& path) {
    std::vector<std::int16_t> samples(2 * crashtest::kSongPeriod);
    for (std::uint64_t f = 0; f < crashtest::kSongPeriod; ++f) {
        samples[2 * f] = crashtest::songLeft(f);
        samples[2 * f + 1] = crashtest::songRight(f);
    }
    using namespace velvora::recording;
    const auto bytes = static_cast<std::uint32_t>(samples.size() * 2);
    const auto header = headerBytes(WavRiffHeader{bytes + kWavHeaderBytes - 8}, pcmFormat(2, 44100, 16),
                                    WavDataHeader{bytes});
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(header.data()), header.size());
    out.write(reinterpret_cast<const char*>(samples.data()), bytes);
    return static_cast<bool>(out.flush());
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
    const std::string songFile = velvora::joinPath(argv[1], crashtest::kSongFile);
    if (!writeSong(songFile)) return 7;
    app.s.chan = BASS_StreamCreateFile(0, songFile.c_str(), 0, 0, BASS_SAMPLE_LOOP);
    const std::string backing = velvora::joinPath(velvora::recording::takeFolder(app), "BackingTrack.WAV");
    if (!app.s.chan || !BASS_Encode_Start(app.s.chan, backing.c_str(), BASS_ENCODE_PCM | BASS_ENCODE_FP_16BIT,
                                          nullptr, nullptr))
        return 4;
    if (!BASS_ChannelPlay(app.s.chan, 0)) return 4;
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
