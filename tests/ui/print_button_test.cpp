// The Print button of the main window, as the user presses it, on the machine's printer (a
// scripted one): the open song's title and its lines in capitals, or the box that refuses.
#include "core/controls.h"
#include "core/vb_text.h"
#include "support/app_fixture.h"
#include "support/midi_writer.h"
#include "support/mp3_bytes.h"
#include "support/song_files.h"
#include "widgets/main_controls.h"

#include <QPushButton>

#include <filesystem>

namespace velvora::testing {
namespace {

namespace fs = std::filesystem;

class PrintButton : public AppFixture {
  protected:
    void open(const fs::path& song) {
        dialogs.answerFile(song.string());
        app->ui.CmdCarica->click();
    }
    const platform::ShownBox& lastBox() const { return dialogs.shown().back(); }
};

TEST_F(PrintButton, AKarSongPrintsItsTitleThenItsLinesInCapitals) {
    start();
    const fs::path song = folder.path() / "Twinkle.kar";
    miditest::writeFile(song, karaokeMidi(twinkleSyllables(), 48));
    open(song);
    const std::vector<std::string> lines = app->s.words.lyricLines;
    ASSERT_GT(lines.size(), 2u);

    dialogs.answer(platform::vbYes);
    app->ui.CmdPrint->click();
    EXPECT_EQ(lastBox().text, "Print ?");
    ASSERT_EQ(printers.jobs().size(), 1u);
    const platform::ScriptedPrinter& job = printers.jobs().front();
    EXPECT_EQ(job.calls, (std::vector<std::string>{"size 18", "x 4000", "size 12"}));
    std::vector<std::string> expected = {"Twinkle", ""};
    for (const std::string& line : lines) expected.push_back(vb::UpperText(line));
    EXPECT_EQ(job.lines, expected);
    EXPECT_TRUE(job.ended);

    // Answering No prints nothing.
    dialogs.answer(platform::vbNo);
    app->ui.CmdPrint->click();
    ASSERT_EQ(printers.jobs().size(), 2u);
    EXPECT_TRUE(printers.jobs().back().lines.empty());
    EXPECT_FALSE(printers.jobs().back().ended);
}

TEST_F(PrintButton, AnMp3WithTagLyricsPrintsThem) {
    start();
    using namespace mp3;
    const fs::path sung = folder.path() / "Sung.mp3";
    write(sung, tag(syltFrame({{"la ", 100}, {"/first ", 500}, {"line", 900}, {"/second", 1300}})) +
                    mpegFrame(2) + mpegFrame() + mpegFrame());
    open(sung);
    dialogs.answer(platform::vbYes);
    app->ui.CmdPrint->click();
    ASSERT_EQ(printers.jobs().size(), 1u);
    EXPECT_EQ(printers.jobs().front().lines,
              (std::vector<std::string>{"Sung", "", "LA ", "FIRST LINE", "SECOND"}));
    EXPECT_TRUE(printers.jobs().front().ended);
}

TEST_F(PrintButton, AnMp3WithoutTagLyricsSaysSoAndPrintsNothing) {
    start();
    using namespace mp3;
    const fs::path plain = folder.path() / "Plain.mp3";
    write(plain, tag(textFrame("TIT2", "No words here")) + mpegFrame(2) + mpegFrame() + mpegFrame());
    open(plain);
    dialogs.answer(platform::vbOK);
    app->ui.CmdPrint->click();
    EXPECT_EQ(lastBox().text, "No Lyrics ");
    EXPECT_EQ(lastBox().caption, "Printer");
    ASSERT_EQ(printers.jobs().size(), 1u);
    EXPECT_TRUE(printers.jobs().back().lines.empty());
    EXPECT_FALSE(printers.jobs().back().ended);
}

TEST_F(PrintButton, APrinterThatFailsEndsInTheAbortBox) {
    start();
    const fs::path song = folder.path() / "Twinkle.kar";
    miditest::writeFile(song, karaokeMidi(twinkleSyllables(), 48));
    open(song);
    printers.failAt(2);
    dialogs.answer(platform::vbYes);
    dialogs.answer(platform::vbOK);
    app->ui.CmdPrint->click();
    EXPECT_EQ(lastBox().text, "Abort Print Job");
    ASSERT_EQ(printers.jobs().size(), 1u);
    EXPECT_EQ(printers.jobs().front().lines.size(), 2u);
    EXPECT_FALSE(printers.jobs().front().ended);
}

} // namespace
} // namespace velvora::testing
