// The package maker's window: the information text, the package written with its members, and
// the boxes of a missing title and a cancelled save.
#include "package/package_maker.h"
#include "package/zip_archive.h"
#include "support/app_fixture.h"
#include "support/song_files.h"
#include "ui/form1_window.h"
#include "widgets/form1_controls.h"

#include <QDialog>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using testing::AppFixture;

class PackageMakerTest : public AppFixture {
  protected:
    void SetUp() override {
        AppFixture::SetUp();
        start();
        tmpk = fs::path(app->appFolder) / "TMPK";
        testing::writeToneWav(tmpk / "BackingTrack.MP3", 1.0);
        testing::writeToneWav(tmpk / "vocaltrack.MP3", 1.0);
        song = folder.path() / "Twinkle.kar";
        std::ofstream(song, std::ios::binary) << "MThd song bytes";
        std::ofstream(fs::path(app->appFolder) / "syncro.LRC", std::ios::binary) << "[00:01]twinkle\r\n";
        app->s.FileName = song.string();
        app->s.dialogFileName = song.string();
        app->hooks.showForm1();
    }
    widgets::Form1Controls& ui() { return window.form1().controls(); }
    std::string read(const fs::path& p) {
        std::ifstream in(p, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    fs::path tmpk, song;
};

TEST_F(PackageMakerTest, SavesTheInformationTextAndWritesThePackage) {
    EXPECT_FALSE(ui().CmdSalva->isEnabled());
    EXPECT_FALSE(ui().Command5->isEnabled());
    ui().TxtTitle->setText("My Song");
    EXPECT_TRUE(ui().CmdSalva->isEnabled());
    ui().TxtArt->setText("Singer");
    ui().TxtEditore->setText("Authors");
    ui().TxtDisco->setText("Label");
    ui().TxtTono->setText("Do");
    ui().CmdSalva->click();
    EXPECT_EQ(read(tmpk / "My Song.txt"), "My Song\r\nSinger\r\nAuthors\r\nLabel\r\nDo\r\n\r\n\r\n\r\n");
    ASSERT_TRUE(ui().Command5->isEnabled());

    const fs::path nvk = folder.path() / "My Song.NVK";
    dialogs.answerFile(nvk.string());
    dialogs.answer(platform::vbOK);
    ui().Command5->click();
    ASSERT_FALSE(dialogs.shown().empty());
    EXPECT_EQ(dialogs.shown().back().text, "NVK CREATO CON SUCCESSO!");
    EXPECT_EQ(dialogs.shown().back().caption, "NVK Creato!");
    EXPECT_FALSE(window.form1().dialog().isVisible());

    package::ZipArchive zip;
    ASSERT_TRUE(zip.openArchive(nvk));
    EXPECT_EQ(zip.entryCount(), 5);
    fs::path out = folder.path() / "out";
    zip.setBaseFolder(out);
    EXPECT_TRUE(zip.extractFiles("*.*"));
    EXPECT_EQ(read(out / "ZZZZ.MID"), "MThd song bytes");
    EXPECT_EQ(read(out / "LIRICA.LRC"), "[00:01]twinkle\r\n");
    EXPECT_TRUE(fs::exists(out / "My Song.txt"));
    EXPECT_TRUE(fs::exists(out / "vocaltrack.MP3"));
}

TEST_F(PackageMakerTest, AMissingTitleAndACancelledSaveWriteNothing) {
    dialogs.answer(platform::vbOK);
    window.form1().maker().CmdSalva_Click();
    ASSERT_FALSE(dialogs.shown().empty());
    EXPECT_EQ(dialogs.shown().back().text, "Inserire Titolo!");
    EXPECT_EQ(dialogs.shown().back().caption, " NVK Multitrack  Maker");

    ui().TxtTitle->setText("Other");
    ui().CmdSalva->click();
    dialogs.answerFile(std::nullopt);
    dialogs.answer(platform::vbOK);
    ui().Command5->click();
    EXPECT_EQ(dialogs.shown().back().text, "Cancel was selected.");
    EXPECT_FALSE(fs::exists(folder.path() / "Other.NVK"));
    EXPECT_FALSE(fs::exists(tmpk / "ZZZZ.MID"));
}

} // namespace
} // namespace velvora
