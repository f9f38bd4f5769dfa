// Printing the lyric lines: the boxes that refuse or ask, and the printed page read back from a
// PDF with pdftotext.
#include "core/vb_text.h"
#include "karaoke/lyric_printing.h"
#include "platform/qt/qt_printer.h"
#include "platform/scripted/scripted_printer.h"
#include "support/app_fixture.h"
#include "support/song_files.h"
#include "transport/song_open.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

namespace velvora::testing {
namespace {

namespace fs = std::filesystem;

std::string run(const std::string& command) {
    std::string out;
    if (FILE* pipe = ::popen(command.c_str(), "r")) {
        char buf[4096];
        while (std::size_t n = std::fread(buf, 1, sizeof buf, pipe)) out.append(buf, n);
        ::pclose(pipe);
    }
    return out;
}

std::vector<std::string> nonEmptyLines(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        line.erase(line.find_last_not_of(" \f\r") + 1);
        if (!line.empty()) out.push_back(line);
    }
    return out;
}

class LyricPrinting : public AppFixture {
  protected:
    void song(const std::string& name, const std::vector<std::string>& lines) {
        app->s.FileName = (folder.path() / name).string();
        app->s.songTitle = name.substr(0, name.size() - 4);
        app->s.words.lyricLines = lines;
    }
    const platform::ShownBox& lastBox() const { return dialogs.shown().back(); }
    platform::ScriptedPrinter printer;
};

TEST_F(LyricPrinting, PackagesAndSongsWithoutLyricsAreRefusedWithTheirBoxes) {
    for (int i = 0; i < 4; ++i) dialogs.answer(platform::vbOK);
    song("song.NVK", {"", "LINE"});
    karaoke::CmdPrint(*app, printer);
    ASSERT_EQ(dialogs.shown().size(), 1u);
    EXPECT_EQ(lastBox().text, "ONLY Mid/Kar and Mp3 ");
    EXPECT_EQ(lastBox().caption, "Printer");
    EXPECT_EQ(lastBox().style, platform::vbInformation);

    song("song.mp3", {"", "LINE"});
    app->s.syltPending = false;
    karaoke::CmdPrint(*app, printer);
    EXPECT_EQ(lastBox().text, "No Lyrics ");
    EXPECT_EQ(lastBox().caption, "Printer");

    song("song.wav", {""});
    app->s.syltPending = true;
    karaoke::CmdPrint(*app, printer);
    EXPECT_EQ(lastBox().text, "NO LYRICS ! ");
    EXPECT_EQ(lastBox().style, platform::vbInformation);

    song("song.MID", {""});
    karaoke::CmdPrint(*app, printer);
    EXPECT_EQ(lastBox().text, "NO LYRICS ! ") << "the kind test ignores case";
    EXPECT_EQ(dialogs.shown().size(), 4u);
    EXPECT_TRUE(printer.calls.empty());
    EXPECT_TRUE(printer.lines.empty());
}

TEST_F(LyricPrinting, NoToPrintQuestionPrintsNothing) {
    song("song.kar", {"", "ONE"});
    dialogs.answer(platform::vbNo);
    karaoke::CmdPrint(*app, printer);
    ASSERT_EQ(dialogs.shown().size(), 1u);
    EXPECT_EQ(lastBox().text, "Print ?");
    EXPECT_EQ(lastBox().style, platform::vbYesNo | platform::vbInformation);
    EXPECT_TRUE(printer.lines.empty());
    EXPECT_FALSE(printer.ended);
}

TEST_F(LyricPrinting, TitleAtEighteenPointsThenLinesInCapitalsAtTwelve) {
    song("Yesterday.mp3", {"", "all my troubles", "seemed so far \xc3\xa0way"});
    app->s.syltPending = true;
    app->s.words.shownLines = {"stale"};
    dialogs.answer(platform::vbYes);
    karaoke::CmdPrint(*app, printer);
    EXPECT_EQ(printer.calls, (std::vector<std::string>{"size 18", "x 4000", "size 12"}));
    EXPECT_EQ(printer.lines, (std::vector<std::string>{"Yesterday", "", "", "ALL MY TROUBLES",
                                                       "SEEMED SO FAR \xc3\x80WAY"}));
    EXPECT_TRUE(printer.ended);
    EXPECT_EQ(app->s.words.shownLines, app->s.words.lyricLines);
    EXPECT_EQ(app->s.words.lastLine, 2);
}

TEST_F(LyricPrinting, PrinterFailureLeavesTheDocumentUnendedAndSaysSo) {
    song("song.kar", {"", "ONE", "TWO"});
    printer.failAt = 3;
    dialogs.answer(platform::vbYes);
    dialogs.answer(platform::vbOK);
    karaoke::CmdPrint(*app, printer);
    EXPECT_FALSE(printer.ended);
    EXPECT_EQ(lastBox().text, "Abort Print Job");
    EXPECT_EQ(lastBox().style, platform::vbInformation);

    // A PDF that cannot be written fails the same way.
    const auto unwritable = platform::QtPrinter::toPdf((folder.path() / "no" / "such" / "x.pdf").string());
    dialogs.answer(platform::vbYes);
    dialogs.answer(platform::vbOK);
    karaoke::CmdPrint(*app, *unwritable);
    EXPECT_EQ(lastBox().text, "Abort Print Job");
}

TEST_F(LyricPrinting, PdfOfAKarSongHoldsTheTitleFirstAndItsLinesInCapitalsInOrder) {
    start();
    const fs::path kar = folder.path() / "Twinkle.kar";
    std::vector<std::string> syllables = twinkleSyllables();
    for (std::string& s : syllables)
        for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    std::ofstream(kar, std::ios::binary) << karaokeMidi(syllables, 48);
    dialogs.answerFile(kar.string());
    transport::CmdCarica_Click(*app);
    ASSERT_GT(app->s.words.lyricLines.size(), 1u);

    const fs::path pdf = folder.path() / "lyrics.pdf";
    const auto printer = platform::QtPrinter::toPdf(pdf.string());
    dialogs.answer(platform::vbYes);
    karaoke::CmdPrint(*app, *printer);
    ASSERT_TRUE(fs::exists(pdf));
    ASSERT_GT(fs::file_size(pdf), 0u);

    const std::vector<std::string> text = nonEmptyLines(run("pdftotext -layout '" + pdf.string() + "' -"));
    const std::vector<std::string> expected = {"Twinkle", "TWINKLE TWINKLE LITTLE STAR",
                                               "HOW I WONDER WHAT YOU ARE", "UP ABOVE THE WORLD SO HIGH",
                                               "LIKE A DIAMOND IN THE SKY"};
    ASSERT_EQ(text.size(), expected.size()) << run("pdftotext -layout '" + pdf.string() + "' -");
    EXPECT_EQ(vb::Trim(text[0]), expected[0]);
    for (std::size_t i = 1; i < expected.size(); ++i) EXPECT_EQ(text[i], expected[i]) << i;

    // The title's letters stand half as tall again as the lines', and further right.
    const std::string boxes = run("pdftotext -bbox '" + pdf.string() + "' -");
    const std::regex word(
        R"re(<word xMin="([\d.]+)" yMin="([\d.]+)" xMax="[\d.]+" yMax="([\d.]+)">([^<]*)</word>)re");
    double titleHeight = 0, titleX = 0, lineHeight = 0, lineX = 0;
    for (auto it = std::sregex_iterator(boxes.begin(), boxes.end(), word); it != std::sregex_iterator();
         ++it) {
        const double height = std::stod((*it)[3]) - std::stod((*it)[2]);
        if ((*it)[4] == "Twinkle") {
            titleHeight = height;
            titleX = std::stod((*it)[1]);
        }
        if ((*it)[4] == "HOW") {
            lineHeight = height;
            lineX = std::stod((*it)[1]);
        }
    }
    ASSERT_GT(lineHeight, 0);
    EXPECT_NEAR(titleHeight / lineHeight, 1.5, 0.05);
    // 4000 twips are 200 points.
    EXPECT_NEAR(titleX - lineX, 200, 2);
}

} // namespace
} // namespace velvora::testing
