// CD+G songs kept as ZIP files in the library: listed from what the MP3 inside says, read in memory
// and never unpacked while scanning, hostile archives listed with what is wrong or passed over,
// and a queued one opened the way the Load button opens it.
#include "cdg/busy_song.h"
#include "core/controls.h"
#include "core/song_state.h"
#include "encoding/wav_to_mp3.h"
#include "engine/api.h"
#include "explorer/explorer_window.h"
#include "explorer/library_store.h"
#include "package/raw_zip.h"
#include "support/app_fixture.h"
#include "support/song_files.h"
#include "transport/transport.h"
#include "widgets/main_controls.h"

#include <gmock/gmock.h>

#include <QPushButton>

#include <filesystem>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using explorer::SongRecord;
using ::testing::HasSubstr;
using ::testing::UnorderedElementsAre;

// An ID3v1 tag: what singers' MP3s name their title and artist with.
std::string id3v1(const std::string& title, const std::string& artist) {
    std::string tag = "TAG";
    for (const std::string& field : {title, artist, std::string(), std::string()}) {
        std::string f = field;
        f.resize(30, '\0');
        tag += f;
        if (tag.size() == 93) tag += "2001";
    }
    tag += '\xff';
    return tag;
}

class ZipSongTest : public testing::AppFixture {
  protected:
    fs::path songs() const { return folder.path() / "music"; }
    explorer::ExplorerWindow& explorer() { return window.explorer(); }

    void SetUp() override {
        AppFixture::SetUp();
        start();
        fs::create_directories(songs());
        const fs::path wav = folder.path() / "tone.wav";
        testing::writeToneWav(wav, 3.0);
        const fs::path mp3Path = folder.path() / "tone.mp3";
        ASSERT_EQ(encoding::convertWavToMp3(wav.string(), mp3Path.string(), "velvora").status,
                  encoding::ConvertOutcome::Done);
        mp3 = packagetest::readBytes(mp3Path) + id3v1("Midnight Express", "The Rails");
        const auto g = testing::busyCdg(3);
        cdg.assign(reinterpret_cast<const char*>(g.data()), g.size());
    }
    void zip(const std::string& name, const std::vector<std::pair<std::string, std::string>>& members) {
        packagetest::RawZip z(songs() / name);
        for (const auto& [member, bytes] : members) z.add(member, bytes);
        z.close();
    }
    void scan() {
        explorer().addFolder(songs().string());
        explorer().waitForScan();
    }
    const SongRecord* song(const std::string& file) {
        return explorer().model().find((songs() / file).string());
    }
    std::vector<std::string> listed() {
        std::vector<std::string> out;
        for (const SongRecord& s : explorer().model().songs())
            out.push_back(fs::path(s.path).filename().string());
        return out;
    }
    // Every file below the program's folder but the library the explorer keeps, to see that a
    // scan wrote nothing else.
    std::vector<std::string> filesBelowProgram() const {
        std::vector<std::string> out;
        for (const auto& e : fs::recursive_directory_iterator(app->appFolder))
            if (e.path().filename() != explorer::kLibraryFile) out.push_back(e.path().string());
        std::sort(out.begin(), out.end());
        return out;
    }

    std::string mp3;
    std::string cdg;
};

TEST_F(ZipSongTest, AZipOfAPairIsOneCdgSongAndOtherArchivesAreNotListed) {
    zip("Express.zip", {{"Disc 1/Track 07.MP3", mp3}, {"Disc 1/Track 07.cdg", cdg}});
    zip("Holiday photos.zip", {{"beach.jpg", std::string(5000, 'j')}, {"notes.txt", "sun"}});
    zip("Backup.ZIP", {{"Plain.mp3", mp3}});
    packagetest::writeBytes(songs() / "Damaged.zip", "PK\3\4 not really an archive");
    const std::vector<std::string> programFiles = filesBelowProgram();
    scan();

    EXPECT_THAT(listed(), UnorderedElementsAre("Express.zip"))
        << "archives holding no CD+G graphics are not songs and do not flood the list";
    const SongRecord* s = song("Express.zip");
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->kind, "CD+G");
    EXPECT_EQ(s->title, "Midnight Express") << "the MP3 inside names the song";
    EXPECT_EQ(s->artist, "The Rails");
    EXPECT_EQ(s->seconds, 3);
    EXPECT_EQ(s->problem, "");
    EXPECT_EQ(filesBelowProgram(), programFiles) << "the scan unpacks nothing";
    EXPECT_FALSE(fs::exists(fs::path(app->appFolder) / "CDGZIP"));
}

TEST_F(ZipSongTest, HostileArchivesNamingGraphicsAreListedWithWhatIsWrong) {
    zip("Two.zip", {{"a.mp3", mp3}, {"b.mp3", mp3}, {"s.cdg", cdg}});
    zip("Bomb.zip", {{"s.mp3", std::string(64 << 20, '\0')}, {"s.cdg", cdg}});
    {
        packagetest::RawZip z(songs() / "Link.zip");
        z.add("s.mp3", mp3);
        z.link("s.cdg", "/etc/passwd");
        z.close();
    }
    // An MP3 that decompresses to more than its header declares.
    zip("Liar.zip", {{"s.cdg", cdg}, {"s.mp3", mp3}});
    std::string liar = packagetest::readBytes(songs() / "Liar.zip");
    const auto headers = packagetest::memberHeaders(liar);
    ASSERT_EQ(headers.size(), 2u);
    packagetest::setDeclaredSize(liar, headers[1], 1000);
    packagetest::writeBytes(songs() / "Liar.zip", liar);
    // More members than the archive class takes: passed over without reading them.
    {
        packagetest::RawZip z(songs() / "Crowd.zip");
        z.add("s.cdg", cdg);
        for (int i = 0; i < 5000; ++i) z.add("m" + std::to_string(i) + ".mp3", "x");
        z.close();
    }
    const std::vector<std::string> programFiles = filesBelowProgram();
    scan();

    EXPECT_THAT(listed(), UnorderedElementsAre("Two.zip", "Bomb.zip", "Link.zip", "Liar.zip"));
    auto problem = [&](const std::string& file) {
        const SongRecord* s = song(file);
        return s ? s->problem : std::string("(not listed)");
    };
    EXPECT_EQ(problem("Two.zip"), "must hold one MP3 and one CD+G file, and holds 2 MP3 and 1 CD+G");
    EXPECT_THAT(problem("Bomb.zip"), HasSubstr("s.mp3: member expands beyond the limit"));
    EXPECT_THAT(problem("Link.zip"), HasSubstr("s.cdg: a symbolic link"));
    EXPECT_THAT(problem("Liar.zip"), HasSubstr("longer than it declares"));
    for (const SongRecord& s : explorer().model().songs()) {
        EXPECT_EQ(s.kind, "CD+G");
        EXPECT_EQ(s.seconds, -1) << s.path;
    }
    EXPECT_EQ(filesBelowProgram(), programFiles) << "the scan unpacks nothing";
    EXPECT_TRUE(dialogs.unexpected().empty());
}

TEST_F(ZipSongTest, AQueuedZipOpensAsTheLoadButtonOpensItAndAgainLaterKeepsItsSettings) {
    zip("Express.zip", {{"Track 07.mp3", mp3}, {"Track 07.cdg", cdg}});
    scan();
    explorer().enqueue((songs() / "Express.zip").string());
    explorer().playNext();
    const fs::path unpacked = fs::path(app->appFolder) / "CDGZIP";
    EXPECT_EQ(app->s.FileName, (unpacked / "Track 07.cdg").string());
    EXPECT_TRUE(fs::exists(unpacked / "Track 07.mp3"));
    EXPECT_TRUE(shows(*app, SongState::AudioReady));
    EXPECT_NE(app->s.cdgGraphics, nullptr) << "the graphics take the lyric page";
    transport::CmdPlw_Click(*app);
    clock.advance(300);
    EXPECT_EQ(BASS_ChannelIsActive(app->s.chan), 1u) << "the MP3 inside plays";
    app->ui.SldVolume->setValue(64);
    dialogs.answer(platform::vbOK);
    app->ui.CmdMidi->click();
    transport::CmdStw_Click(*app);
    EXPECT_TRUE(fs::exists(fs::path(app->appFolder) / "SONGCUSTOM" / "Express.zip.txt"));

    // Queued again: its settings come back through the archive's name.
    explorer().enqueue((songs() / "Express.zip").string());
    explorer().playNext();
    transport::CmdPlw_Click(*app);
    EXPECT_EQ(app->ui.SldVolume->value(), 64);
    transport::CmdStw_Click(*app);
    EXPECT_TRUE(dialogs.unexpected().empty());
}

TEST_F(ZipSongTest, AQueuedZipThatChangedSinceTheScanSaysWhyAndLeavesTheWindowEmpty) {
    zip("Express.zip", {{"Track 07.mp3", mp3}, {"Track 07.cdg", cdg}});
    scan();
    explorer().enqueue((songs() / "Express.zip").string());
    zip("Express.zip", {{"a.mp3", mp3}, {"b.mp3", mp3}, {"Track 07.cdg", cdg}});
    dialogs.answer(platform::vbOK);
    explorer().playNext();
    ASSERT_EQ(dialogs.shown().size(), 1u);
    EXPECT_THAT(dialogs.shown()[0].text, HasSubstr("The ZIP file Express.zip holds no CD+G song to open: it "
                                                   "must hold one MP3 and one CD+G file"));
    EXPECT_TRUE(app->s.FileName.empty());
    EXPECT_TRUE(app->s.songArchive.empty());
    EXPECT_TRUE(shows(*app, SongState::Empty));
    EXPECT_FALSE(app->ui.CmdPlw->isEnabled());
    EXPECT_TRUE(app->ui.CmdCarica->isEnabled()) << "Load can open another song";
    EXPECT_TRUE(fs::is_empty(fs::path(app->appFolder) / "CDGZIP")) << "nothing is left half unpacked";
}

} // namespace
} // namespace velvora
