// Opening packages through the program: a package made by the archive object opens as three
// tracks under one mixer, shows its title block and lyric, and bad packages play nothing and
// crash nothing.
#include "core/controls.h"
#include "core/song_state.h"
#include "engine/api.h"
#include "package/package_open.h"
#include "package/zip_archive.h"
#include "support/app_fixture.h"
#include "support/song_files.h"
#include "transport/song_open.h"
#include "widgets/main_controls.h"

#include <zip.h>

#include <filesystem>
#include <fstream>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using testing::AppFixture;

TEST(PackageInfoText, ItemsEndAtCommasAndLineEnds) {
    auto items = package::readInfoItems("Title\r\nArtist\r\nAuthors\r\nLabel\r\nDo\r\n\r\n\r\n\r\n");
    EXPECT_EQ(items[1], "Title");
    EXPECT_EQ(items[2], "Artist");
    EXPECT_EQ(items[5], "Do");
    EXPECT_EQ(items[6], "");
    // A comma in the title moves every later item one place on.
    items = package::readInfoItems("Hello, World\r\nArtist\r\nAuthors\r\nLabel\r\nDo\r\n\r\n\r\n\r\n");
    EXPECT_EQ(items[1], "Hello");
    EXPECT_EQ(items[2], "World");
    EXPECT_EQ(items[3], "Artist");
    EXPECT_EQ(items[6], "Do");
    // Quotes are stripped and hold a comma; a short text leaves the rest empty.
    items = package::readInfoItems("  \"A, B\" ,next\nlast");
    EXPECT_EQ(items[1], "A, B");
    EXPECT_EQ(items[2], "next");
    EXPECT_EQ(items[3], "last");
    EXPECT_EQ(items[4], "");
    EXPECT_EQ(package::readInfoItems("")[1], "");
}

TEST(PackageInfoText, PackagesAreKnownByTheirExtension) {
    EXPECT_TRUE(package::isPackageName("/a/SONG.nvk"));
    EXPECT_TRUE(package::isPackageName("song.Nvk"));
    EXPECT_FALSE(package::isPackageName("song.NVK.bak"));
    EXPECT_FALSE(package::isPackageName("song.mp3"));
    EXPECT_FALSE(package::isPackageName("VK"));
}

class PackageOpenTest : public AppFixture {
  protected:
    void SetUp() override {
        AppFixture::SetUp();
        start();
        stage = folder.path() / "stage";
        fs::create_directories(stage);
        testing::writeToneWav(stage / "BackingTrack.MP3", 3.0, 440.0);
        testing::writeToneWav(stage / "vocaltrack.MP3", 3.0, 660.0);
        testing::writeToneWav(stage / "ZZZZ.MP3", 3.0, 880.0);
    }
    fs::path tmpk() const { return folder.path() / "TMPK"; }
    void write(const fs::path& p, const std::string& text) { std::ofstream(p, std::ios::binary) << text; }
    // A package of the staged files, written with the archive object.
    std::string pack(const std::string& name, const std::string& password = "") {
        package::ZipArchive zip;
        zip.setPassword(password);
        const fs::path path = folder.path() / name;
        EXPECT_TRUE(zip.createArchive(path));
        EXPECT_TRUE(zip.addFiles(stage));
        EXPECT_TRUE(zip.closeArchive()) << zip.lastError();
        return path.string();
    }
    void open(const std::string& path) {
        dialogs.answerFile(path);
        app->ui.CmdCarica->click();
    }
    // The menu's road, open while a package that plays nothing keeps the load button disabled.
    void openByMenu(const std::string& path) {
        dialogs.answerFile(path);
        transport::MnuOpenSong_Click(*app);
    }
    std::string label(QLabel* l) const { return caption(l); }

    fs::path stage;
};

TEST_F(PackageOpenTest, APackageOpensAsThreeTracksWithItsTitleBlockAndLyric) {
    write(stage / "song.txt", "song\r\nThe Singer\r\nWriters\r\nHouse\r\nLa\r\n\r\n\r\n\r\n");
    write(stage / "LIRICA.LRC", "[00:01]first line\r\n[00:02]second line\r\n");
    const std::string nvk = pack("song.NVK");
    open(nvk);
    ASSERT_TRUE(shows(*app, SongState::PackageReady));
    Session& s = app->s;
    EXPECT_EQ(s.stemCount, 3);
    EXPECT_EQ(s.trackFile[0], "BackingTrack.MP3");
    EXPECT_EQ(s.trackFile[1], "vocaltrack.MP3");
    EXPECT_EQ(s.trackFile[2], "ZZZZ.MP3");
    EXPECT_NE(s.chan.load(), 0u);
    for (std::size_t i = 0; i < 3; ++i) EXPECT_NE(s.stems[i], 0u) << i;
    EXPECT_EQ(app->ui.Slider2[0]->value(), 27);
    EXPECT_EQ(app->ui.Slider2[2]->value(), 127) << "the song sung over starts silent";
    EXPECT_TRUE(app->ui.Check1[2]->isChecked());
    EXPECT_TRUE(fs::exists(tmpk() / "song.txt"));
    EXPECT_FALSE(app->ui.NVKTitle->isVisible() && !label(app->ui.NVKTitle).empty());

    app->ui.CmdPlw->click();
    ASSERT_TRUE(shows(*app, SongState::PackagePlaying));
    EXPECT_EQ(label(app->ui.NVKTitle), "song" + std::string(9, ' '));
    EXPECT_EQ(label(app->ui.NVKArtista), "The Singer" + std::string(18, ' '));
    EXPECT_EQ(label(app->ui.NVKEditore), "Writers" + std::string(13, ' '));
    EXPECT_EQ(label(app->ui.NVKDisco), "House" + std::string(15, ' '));
    EXPECT_EQ(label(app->ui.NVKTono), "La" + std::string(11, ' '));
    EXPECT_FALSE(app->ui.NVKTono->isHidden());
    // The second pass found the lyric the first one unpacked.
    EXPECT_EQ(s.timing.lyricFileText, "[00:01]first line\r\n[00:02]second line\r\n");
    EXPECT_TRUE(app->tmr.PlayTimer->enabled());
}

TEST_F(PackageOpenTest, ASaveUnderAnotherNameOrACommaChangesTheTitleBlock) {
    write(stage / "song.txt", "song\r\nThe Singer\r\nWriters\r\nHouse\r\nLa\r\n\r\n\r\n\r\n");
    open(pack("Renamed.NVK"));
    app->ui.CmdPlw->click();
    ASSERT_TRUE(shows(*app, SongState::PackagePlaying));
    EXPECT_FALSE(app->ui.NVKTitle->isHidden());
    EXPECT_EQ(label(app->ui.NVKTitle), "");
    EXPECT_EQ(label(app->ui.NVKArtista), "");
    app->ui.CmdStw->click();

    fs::remove(stage / "song.txt");
    write(stage / "Hi, there.txt", "Hi, there\r\nThe Singer\r\nWriters\r\nHouse\r\nLa\r\n\r\n\r\n\r\n");
    open(pack("Hi, there.NVK"));
    app->ui.CmdPlw->click();
    EXPECT_EQ(label(app->ui.NVKTitle), "Hi" + std::string(9, ' '));
    EXPECT_EQ(label(app->ui.NVKArtista), "there" + std::string(18, ' '));
    EXPECT_EQ(label(app->ui.NVKEditore), "The Singer" + std::string(13, ' '));
    EXPECT_EQ(label(app->ui.NVKTono), "House" + std::string(11, ' '));
}

TEST_F(PackageOpenTest, TwoTracksLeaveTheThirdStripAsCleared) {
    fs::remove(stage / "ZZZZ.MP3");
    write(stage / "notes.TXT", "counts as a track: the filter is exact in case");
    fs::remove(stage / "vocaltrack.MP3");
    open(pack("two.NVK"));
    EXPECT_EQ(app->s.stemCount, 2);
    EXPECT_EQ(app->s.trackFile[1], "notes.TXT");
    EXPECT_EQ(app->ui.Slider2[2]->value(), 50);
    EXPECT_FALSE(app->ui.Check1[2]->isChecked());
}

TEST_F(PackageOpenTest, LockedDamagedAndHostilePackagesPlayNothing) {
    // Locked: the opening sets no password.
    openByMenu(pack("locked.NVK", "secret"));
    EXPECT_EQ(app->s.stemCount, 0);
    EXPECT_TRUE(fs::is_empty(tmpk()));

    // Not an archive.
    write(folder.path() / "plain.NVK", "no archive here");
    openByMenu((folder.path() / "plain.NVK").string());
    EXPECT_EQ(app->s.stemCount, 0);

    // Climbing names and a link: nothing lands beside TMPK.
    const fs::path hostile = folder.path() / "hostile.NVK";
    int code = 0;
    zip_t* z = zip_open(hostile.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &code);
    static const char slip[] = "slip";
    zip_file_add(z, "../../escaped.MP3", zip_source_buffer(z, slip, 4, 0), 0);
    zip_int64_t link = zip_file_add(z, "link", zip_source_buffer(z, slip, 4, 0), 0);
    zip_file_set_external_attributes(z, static_cast<zip_uint64_t>(link), 0, ZIP_OPSYS_UNIX, (0120777u) << 16);
    zip_close(z);
    const auto before = std::distance(fs::directory_iterator(folder.path()), {});
    openByMenu(hostile.string());
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), {}), before);
    EXPECT_FALSE(fs::exists(folder.path().parent_path() / "escaped.MP3"));
    EXPECT_FALSE(fs::is_symlink(tmpk() / "link"));

    // Still usable: a good package opens afterwards.
    openByMenu(pack("good.NVK"));
    EXPECT_EQ(app->s.stemCount, 3);
}

TEST_F(PackageOpenTest, KillTempAndCntrNVK) {
    for (const char* f : {"LiveTrack.wav", "BackingTrack.wav", "syncro.lrc", "keep.txt", "syncro.LRC.bak"})
        write(folder.path() / f, "x");
    fs::create_directories(folder.path() / "TKKK");
    write(folder.path() / "TKKK" / "vocaltrack.wav", "x");
    write(tmpk() / "stray", "x");
    package::KillTemp(*app);
    EXPECT_FALSE(fs::exists(folder.path() / "LiveTrack.wav"));
    EXPECT_FALSE(fs::exists(folder.path() / "BackingTrack.wav"));
    EXPECT_FALSE(fs::exists(folder.path() / "syncro.lrc")) << "the take's lyric, named with a trailing point";
    EXPECT_TRUE(fs::exists(folder.path() / "keep.txt"));
    EXPECT_TRUE(fs::exists(folder.path() / "syncro.LRC.bak"));
    EXPECT_TRUE(fs::is_empty(folder.path() / "TKKK"));
    EXPECT_TRUE(fs::is_empty(tmpk()));

    // The program's own password opens a package locked with it; any other fails with its words.
    app->s.FileName = pack("own.NVK", "Marbello_47");
    package::ZipArchive zip;
    EXPECT_TRUE(package::CntrNVK(*app, zip));
    EXPECT_TRUE(zip.isOpen());
    zip.closeArchive();
    app->s.FileName = pack("other.NVK", "other");
    dialogs.answer(1);
    EXPECT_FALSE(package::CntrNVK(*app, zip));
    ASSERT_FALSE(dialogs.shown().empty());
    EXPECT_EQ(dialogs.shown().back().text, "File NVK non Valido");
    EXPECT_EQ(app->ui.Slider2[1]->value(), 127);
    EXPECT_FALSE(app->ui.CmdRec->isEnabled());
}

} // namespace
} // namespace velvora
