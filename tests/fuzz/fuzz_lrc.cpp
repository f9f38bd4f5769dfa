// Runs the LRC reader over arbitrary text, then paints the page for the first loaded line.
#include "core/app.h"
#include "karaoke/lrc_reader.h"
#include "karaoke/lyric_painter.h"
#include "support/offscreen_app.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static velvora::testing::OffscreenApp program;
    velvora::App& app = program.app();
    app.s.words = velvora::WordModel{};
    std::string text(reinterpret_cast<const char*>(data), size);
    velvora::karaoke::Show_Lyrics(app, text);
    // Every word must point at a line of the model.
    const velvora::WordModel& m = app.s.words;
    for (const velvora::WordRec& w : m.wordList)
        if (w.LineNo < 0 || static_cast<std::size_t>(w.LineNo) >= m.lyricLines.size()) __builtin_trap();
    if (m.shownLines.size() != m.lyricLines.size()) __builtin_trap();
    if (m.wordList.size() > 1) {
        const velvora::WordRec& w = m.wordList[1];
        app.s.painter.currentLine = w.LineNo;
        velvora::karaoke::TypeItX5Pic(app, "", w.Text, w.Column, "", app.ui.Picture3);
    }
    return 0;
}
