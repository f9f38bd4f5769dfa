#include "karaoke/lyric_printing.h"

#include "core/vb_text.h"

#include <QApplication>

namespace velvora::karaoke {

namespace {

constexpr int kBoxStyle = platform::vbInformation;

// Prints the page; false as soon as the printer fails, with the document left unended.
bool printPage(App& app, platform::Printer& printer) {
    WordModel& m = app.s.words;
    printer.setFontSize(18);
    printer.setCurrentX(4000);
    if (!printer.printLine(app.s.songTitle) || !printer.printLine("")) return false;
    printer.setFontSize(12);
    m.lastLine = static_cast<std::int16_t>(m.lyricLines.size() - 1);
    m.shownLines.assign(m.lyricLines.size(), std::string());
    for (std::size_t i = 0; i < m.lyricLines.size(); ++i) {
        const std::string line = m.lyricLines[i];
        m.shownLines[i] = line;
        if (!printer.printLine(vb::UpperText(line))) return false;
    }
    return printer.endDoc();
}

} // namespace

void CmdPrint(App& app, platform::Printer& printer) {
    const std::string& file = app.s.FileName;
    auto& dialogs = app.sys.dialogs;
    if (vb::UCase(vb::Right(file, 3)) == "NVK") {
        dialogs.msgBox("ONLY Mid/Kar and Mp3 ", kBoxStyle, "Printer");
        return;
    }
    const std::string kind = vb::LCase(vb::Right(file, 3));
    if (kind != "mid" && kind != "kar" && !app.s.syltPending) {
        dialogs.msgBox("No Lyrics ", kBoxStyle, "Printer");
        return;
    }
    if (app.s.words.lyricLines.size() <= 1) {
        dialogs.msgBox("NO LYRICS ! ", kBoxStyle, "Velvora");
        return;
    }
    if (dialogs.msgBox("Print ?", platform::vbYesNo | kBoxStyle, "Velvora") != platform::vbYes) return;

    QApplication::setOverrideCursor(Qt::WaitCursor);
    const bool printed = printPage(app, printer);
    QApplication::restoreOverrideCursor();
    if (!printed) dialogs.msgBox("Abort Print Job", kBoxStyle, "Velvora");
}

} // namespace velvora::karaoke
