// Runs the LRC reader over arbitrary text, then paints the page for the first loaded line.
#include "core/app.h"
#include "karaoke/lrc_reader.h"
#include "karaoke/lyric_painter.h"
#include "platform/scripted/scripted_dialogs.h"
#include "platform/scripted/scripted_process.h"
#include "platform/scripted/virtual_clock.h"
#include "ui/main_window.h"

#include <QApplication>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

namespace {

struct Program {
    Program() {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        static int argc = 1;
        static char name[] = "fuzz_lrc";
        static char* argv[] = {name, nullptr};
        if (!QApplication::instance()) new QApplication(argc, argv);
        window = std::make_unique<velvora::ui::MainWindow>(services);
    }
    platform::ScriptedDialogs dialogs;
    platform::VirtualClock clock;
    platform::ScriptedProcess process{(std::filesystem::temp_directory_path() / "velvora-fuzz-lrc").string()};
    platform::Services services{dialogs, clock, process};
    std::unique_ptr<velvora::ui::MainWindow> window;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Program program;
    velvora::App& app = program.window->app();
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
