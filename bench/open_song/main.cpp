// Opening a song's text: GetKaraoke (the byte scan, identification and every lyric mark read
// back through the engine) on a 1000-mark KAR file and on a 2 MB MIDI file; median of 20 each.
#include "engine/api.h"
#include "engine/testing.h"
#include "karaoke/word_extraction.h"
#include "support/midi_writer.h"
#include "support/offscreen_app.h"
#include "support/song_files.h"
#include "ui/main_window.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

double medianMs(velvora::App& app, const fs::path& file, std::size_t* words) {
    std::vector<double> ms;
    for (int i = 0; i < 20; ++i) {
        app.s.FileName = file.string();
        // A song's words extend what the last song left; a fresh model for each measure.
        app.s.words = velvora::WordModel{};
        const auto start = std::chrono::steady_clock::now();
        velvora::karaoke::GetKaraoke(app);
        ms.push_back(
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
    }
    *words = app.s.words.lyricsPresent ? app.s.words.wordList.size() - 1 : 0;
    std::sort(ms.begin(), ms.end());
    return ms[ms.size() / 2];
}

// About 2 MB of dense notes on eight channels, with a karaoke text track of 200 words in front.
std::string bigMidi() {
    std::vector<std::string> syllables;
    for (int i = 0; i < 200; ++i) syllables.push_back(i % 8 == 0 ? "/la " : "la ");
    std::string file = velvora::testing::karaokeMidi(syllables, 96);
    miditest::Track dense;
    for (int n = 0; dense.data.size() < 2'000'000; ++n) {
        const int ch = n % 8, key = 40 + n % 40;
        dense.on(1, ch, key, 90).off(3, ch, key);
    }
    dense.end(0);
    // Append the dense track and raise the track count in the header.
    file += "MTrk" + miditest::be(static_cast<std::uint32_t>(dense.data.size()), 4) + dense.data;
    file[11] = static_cast<char>(file[11] + 1);
    return file;
}

} // namespace

int main() {
    engine::testing::useVirtualDevice(true);
    velvora::testing::OffscreenApp program;
    velvora::App& app = program.app();
    const auto& folder = program.folder;
    BASS_Init(-1, 44100, 0, nullptr, nullptr);

    std::vector<std::string> thousand;
    for (int i = 0; i < 1000; ++i) thousand.push_back(i % 6 == 0 ? "/word " : "syl");
    const fs::path kar = folder.path() / "thousand.kar";
    miditest::writeFile(kar, velvora::testing::karaokeMidi(thousand, 24));
    const fs::path big = folder.path() / "big.mid";
    miditest::writeFile(big, bigMidi());

    std::size_t karWords = 0, bigWords = 0;
    const double karMs = medianMs(app, kar, &karWords);
    const double bigMs = medianMs(app, big, &bigWords);
    std::printf("GetKaraoke on a 1000-mark KAR: median %.2f ms (%zu words kept, the scan stops at 851)\n",
                karMs, karWords);
    std::printf("GetKaraoke on a %.1f MB MIDI file: median %.2f ms (%zu words)\n",
                static_cast<double>(fs::file_size(big)) / 1e6, bigMs, bigWords);
    std::printf("RESULT open_song kar_ms=%.2f midi2mb_ms=%.2f\n", karMs, bigMs);
    BASS_Free();
    return 0;
}
