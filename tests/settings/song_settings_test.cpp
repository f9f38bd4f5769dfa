// The per-song settings files as the SAVE button writes them: each layout byte for byte against
// files written out by hand, the folder found in any case, and the reading of damaged files.
#include "core/controls.h"
#include "settings/song_settings.h"
#include "support/app_fixture.h"
#include "widgets/main_controls.h"

#include <QCheckBox>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSlider>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using testing::AppFixture;

std::string readAll(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

class SongSettingsFileTest : public AppFixture {
  protected:
    // The value of a control as a user leaves it; no routine runs.
    static void put(QSlider* s, int v) {
        const QSignalBlocker quiet(s);
        s->setValue(v);
    }
    static void put(QAbstractButton* b, bool on) {
        const QSignalBlocker quiet(b);
        b->setChecked(on);
    }
    void equaliser(std::array<int, 7> values) {
        for (std::size_t i = 0; i < 7; ++i) put(app->ui.SldEq[i], values[i]);
    }
    fs::path custom(const std::string& name) { return folder.path() / "SONGCUSTOM" / name; }
    // The SAVE button with the box it shows, if any.
    std::vector<platform::ShownBox> save() {
        dialogs.clear();
        dialogs.answer(platform::vbOK);
        settings::CmdMidi_Click(*app);
        auto shown = dialogs.shown();
        dialogs.clear();
        return shown;
    }
};

TEST_F(SongSettingsFileTest, AudioLayoutByteForByteAndDoneAfterwards) {
    start(); // makes SONGCUSTOM, in upper case
    app->s.FileName = (folder.path() / "songs" / "Love.mp3").string();
    auto& ui = app->ui;
    put(ui.Chkequalizer, true);
    put(ui.Chkrem, true);
    put(ui.SldMp3[1], 12);
    put(ui.SldMp3[0], -3);
    put(ui.SldVolume, 40);
    equaliser({-10, -5, 0, 3, 7, 10, -1});
    const auto boxes = save();
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_EQ(boxes[0].text, "Done!");
    EXPECT_EQ(boxes[0].style, platform::vbInformation);
    EXPECT_EQ(boxes[0].caption, "Velvora");
    EXPECT_EQ(readAll(custom("Love.mp3.txt")), "True\r\n"
                                               " 1 \r\n"
                                               " 0 \r\n"
                                               " 0 \r\n"
                                               " 12 \r\n"
                                               "-3 \r\n"
                                               " 40 \r\n"
                                               " 0 \r\n"
                                               "-10 \r\n"
                                               "-5 \r\n"
                                               " 0 \r\n"
                                               " 3 \r\n"
                                               " 7 \r\n"
                                               " 10 \r\n"
                                               "-1 \r\n"
                                               " 0 \r\n"
                                               " 0 \r\n"
                                               " 0 \r\n");
}

TEST_F(SongSettingsFileTest, MidiLayoutByteForByteWithNoBox) {
    start();
    app->s.FileName = (folder.path() / "Song.KAR").string();
    app->s.soundFontPath = "/fonts/My Font.sf2";
    auto& ui = app->ui;
    put(ui.SldTempo, 14);
    put(ui.Vscroll1, 3);
    put(ui.Sldvol, 4);
    equaliser({1, 2, 3, 4, 5, 6, 7});
    app->s.midiChannelVolume = 127;
    EXPECT_TRUE(save().empty());
    EXPECT_EQ(readAll(custom("Song.KAR.txt")), "/fonts/My Font.sf2\r\n"
                                               " 0 \r\n"
                                               " 0 \r\n"
                                               " 0 \r\n"
                                               " 14 \r\n"
                                               " 3 \r\n"
                                               " 6 \r\n"
                                               " 1 \r\n"
                                               " 2 \r\n"
                                               " 3 \r\n"
                                               " 4 \r\n"
                                               " 5 \r\n"
                                               " 6 \r\n"
                                               " 7 \r\n"
                                               " 127 \r\n"
                                               " 3 \r\n"
                                               " 3 \r\n"
                                               " 3 \r\n");
}

TEST_F(SongSettingsFileTest, PackageLayoutByteForByteAndTheSameLengthWhenSavedAgain) {
    start();
    app->s.FileName = app->s.packageFile = (folder.path() / "Duet.NVK").string();
    app->s.stemCount = 3;
    auto& ui = app->ui;
    put(ui.Chkequalizer, false);
    put(ui.Hstempo, -7);
    put(ui.HscrollTempo, 2);
    put(ui.Slider1, 4);
    equaliser({0, 0, -2, 0, 0, 9, 0});
    put(ui.Slider2[0], 5);
    put(ui.Slider2[1], 50);
    put(ui.Slider2[2], 127);
    put(ui.Check1[0], true);
    put(ui.Check1[1], true);
    put(ui.Check1[2], false);
    put(ui.Chkphaser, true);
    put(ui.Sldphaser[1], 6);
    put(ui.SldVolume, 30);
    put(ui.ChkRev, true);
    put(ui.Sldrev, 8);
    const auto boxes = save();
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_EQ(boxes[0].text, "Done!");
    const std::string expected = " 0 \r\n 0 \r\n 0 \r\n"
                                 "False\r\n"
                                 "-7 \r\n"
                                 " 2 \r\n"
                                 " 4 \r\n"
                                 " 0 \r\n 0 \r\n-2 \r\n 0 \r\n 0 \r\n 9 \r\n 0 \r\n"
                                 " 5 \r\n 1 \r\n"
                                 " 50 \r\n 1 \r\n"
                                 " 127 \r\n 0 \r\n"
                                 " 0 \r\n"
                                 " 1 \r\n"
                                 " 6 \r\n"
                                 " 30 \r\n"
                                 " 1 \r\n"
                                 " 8 \r\n"
                                 " 1 \r\n";
    EXPECT_EQ(readAll(custom("Duet.NVK.txt")), expected);

    put(ui.Slider2[1], 90);
    save();
    const std::string again = readAll(custom("Duet.NVK.txt"));
    EXPECT_EQ(std::count(again.begin(), again.end(), '\n'), 21 + 2 * 3);
    EXPECT_NE(again.find(" 90 \r\n 1 \r\n"), std::string::npos);
}

TEST_F(SongSettingsFileTest, TheFolderIsFoundInAnyCaseAndNeverMade) {
    start();
    app->s.FileName = (folder.path() / "a" / "Tune.wav").string();
    save();
    EXPECT_TRUE(fs::exists(custom("Tune.wav.txt")));
    // A song of the same name in another folder shares the file.
    EXPECT_EQ(settings::songSettingsPath(*app, (folder.path() / "b" / "Tune.wav").string()),
              custom("Tune.wav.txt").string());

    fs::remove_all(folder.path() / "SONGCUSTOM");
    fs::create_directory(folder.path() / "SongCustom");
    save();
    EXPECT_TRUE(fs::exists(folder.path() / "SongCustom" / "Tune.wav.txt"));

    // Without the folder the writer fails with the system's words and makes nothing.
    fs::remove_all(folder.path() / "SongCustom");
    const auto boxes = save();
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_NE(boxes[0].text.find("Tune.wav.txt"), std::string::npos);
    EXPECT_EQ(boxes[0].style, platform::vbExclamation);
    EXPECT_FALSE(fs::exists(folder.path() / "SongCustom"));
    EXPECT_FALSE(fs::exists(folder.path() / "SONGCUSTOM"));
}

TEST_F(SongSettingsFileTest, NoSongNoFile) {
    start();
    app->s.FileName.clear();
    EXPECT_TRUE(save().empty());
    EXPECT_TRUE(fs::is_empty(folder.path() / "SONGCUSTOM"));
}

TEST(SongFileItems, ValuesComeInOrderAsTheInputStatementReadsThem) {
    settings::SongFileItems items(
        "/my fonts/a,b.sf2\r\n -3 \r\n\r\n   \r\nTrue\r\n\"quoted, kept\"\r\n 12abc \r\n7");
    EXPECT_EQ(items.text(), "/my fonts/a"); // a comma ends a value
    EXPECT_EQ(items.text(), "b.sf2");
    EXPECT_EQ(items.number(), -3.0); // blank lines are skipped
    EXPECT_EQ(items.number(), 0.0);  // a word reads as 0
    EXPECT_EQ(items.text(), "quoted, kept");
    EXPECT_EQ(items.number(), 12.0);
    EXPECT_EQ(items.number(), 7.0); // the last line needs no line end
    EXPECT_FALSE(items.number());
    EXPECT_FALSE(items.text());
    EXPECT_FALSE(settings::SongFileItems("").number());
}

TEST(SongFileItems, OnlyTheHeadOfAHugeFileIsRead) {
    const testing::TempFolder dir;
    const fs::path path = dir.path() / "huge.txt";
    {
        std::ofstream out(path, std::ios::binary);
        const std::string line(1000, '7');
        for (int i = 0; i < 100 * 1000; ++i) out << line << "\r\n"; // 100 MB
    }
    auto items = settings::SongFileItems::open(path.string());
    ASSERT_TRUE(items);
    EXPECT_GT(items->remaining(), 10u);
    EXPECT_LT(items->remaining(), 100u);
    EXPECT_EQ(items->text(), std::string(1000, '7')); // no value is cut short
    EXPECT_FALSE(settings::SongFileItems::open((dir.path() / "absent.txt").string()));
}

TEST(SongFileItems, WholeWithinClampsRoundsAndTakesNoNumberAsZero) {
    using settings::wholeWithin;
    EXPECT_EQ(wholeWithin(1e300, -8, 8), 8);
    EXPECT_EQ(wholeWithin(-1e300, -8, 8), -8);
    EXPECT_EQ(wholeWithin(std::numeric_limits<double>::infinity(), 0, 100), 100);
    EXPECT_EQ(wholeWithin(std::nan(""), -8, 8), 0);
    EXPECT_EQ(wholeWithin(std::nan(""), 1, 10), 1);
    EXPECT_EQ(wholeWithin(2.5, 0, 10), 2);
    EXPECT_EQ(wholeWithin(3.5, 0, 10), 4);
    EXPECT_EQ(wholeWithin(-2.6, -10, 10), -3);
}

} // namespace
} // namespace velvora
