// Fuzzes the MIDI byte scanner: the header read with the song's identification, the full scanner
// (lyric track, words, channel census, strip state) and GetWords over the whole file. The bytes go
// to a file in a temporary folder of the run's own, which also serves as the program folder.
#include "core/app.h"
#include "karaoke/karaoke_header.h"
#include "karaoke/midi_scanner.h"
#include "karaoke/song_identification.h"
#include "support/offscreen_app.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

void check(bool ok) {
    if (!ok) __builtin_trap();
}

void checkWords(const velvora::WordModel& w) {
    check(!w.wordList.empty() && !w.shownLines.empty());
    for (std::size_t i = 1; i < w.wordList.size(); ++i) {
        const velvora::WordRec& word = w.wordList[i];
        check(word.LineNo >= 0 && static_cast<std::size_t>(word.LineNo) < w.shownLines.size());
        check(word.Length >= 0 && word.Column >= 0);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace velvora;
    static testing::OffscreenApp program;
    App& app = program.app();
    // The extension alternates with the first byte, so that the karaoke title mark is tried too.
    const fs::path file = program.folder.path() / ((size > 0 && (data[0] & 1)) ? "song.kar" : "song.mid");
    {
        std::ofstream out(file, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    }
    app.s.FileName = file.string();
    app.s.words = WordModel{};

    karaoke::GetKaraokeHeader(app);
    check(app.s.scan.midiBuffer.size() == size);
    check(app.s.scan.fixTitle.size() >= 30 && app.s.scan.fixCopyright.size() >= 20);

    karaoke::ReadFile(app, {});
    checkWords(app.s.words);
    for (const ChannelInfo& ch : app.s.channelStrip)
        check(ch.ChannelNo == -1 || (ch.ChannelNo >= 1 && ch.ChannelNo <= 16));

    app.s.words = WordModel{};
    karaoke::GetWords(app, app.s.scan.midiBuffer);
    checkWords(app.s.words);

    karaoke::TIPO(app.s.scan);
    karaoke::CANALE4(app.s.scan);
    karaoke::CERCACANTO(app.s.scan);
    check(app.s.scan.fixMelody.size() == 20);
    app.s.scan.fixType.clear();
    std::error_code ec;
    fs::remove(file, ec);
    return 0;
}
