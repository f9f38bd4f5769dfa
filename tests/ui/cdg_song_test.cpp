// MP3+G songs taken the user's way: chosen in the Load dialog (either of the pair), played with the
// audio Play button on the virtual clock. The lyric page shows the decoder's screen for the heard
// position of the stream, through seeks and tempo changes; a graphics file alone opens nothing.
#include "cdg/busy_song.h"
#include "cdg/decoder.h"
#include "core/controller.h"
#include "core/controls.h"
#include "core/song_state.h"
#include "encoding/wav_to_mp3.h"
#include "engine/api.h"
#include "karaoke/cdg_graphics.h"
#include "package/raw_zip.h"
#include "support/app_fixture.h"
#include "support/song_files.h"
#include "support/user_input.h"
#include "transport/level_controls.h"
#include "widgets/lyricpicture.h"
#include "widgets/main_controls.h"
#include "widgets/words_full_screen.h"

#include <QApplication>
#include <QPushButton>
#include <QSlider>
#include <QTest>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>

namespace velvora::testing {
namespace {

namespace fs = std::filesystem;

constexpr int kSongSeconds = 10;
// The packets of one group: a frame 1/75 s late or early is the nearest a screen refreshed at the
// display's pace can keep.
constexpr std::int64_t kGroup = cdg::kPacketsPerSecond / 75;

class CdgSong : public AppFixture {
  protected:
    void showWindow() {
        window.resize(1100, 760);
        window.show();
        QApplication::processEvents();
    }
    // "Night Train.mp3" and "Night Train.CDG" side by side; the graphics file's path.
    fs::path writePair(const std::string& graphicsExtension = ".CDG") {
        const fs::path wav = folder.path() / "tone.wav";
        writeToneWav(wav, kSongSeconds);
        const fs::path mp3 = folder.path() / "Night Train.mp3";
        EXPECT_EQ(encoding::convertWavToMp3(wav.string(), mp3.string(), "velvora").status,
                  encoding::ConvertOutcome::Done);
        fs::remove(wav);
        graphics = busyCdg(kSongSeconds, 7);
        const fs::path cdgPath = folder.path() / ("Night Train" + graphicsExtension);
        std::ofstream(cdgPath, std::ios::binary)
            .write(reinterpret_cast<const char*>(graphics.data()),
                   static_cast<std::streamsize>(graphics.size()));
        return cdgPath;
    }
    void openAndPlay(const fs::path& chosen) {
        dialogs.answerFile(chosen.string());
        app->ui.CmdCarica->click();
        ASSERT_TRUE(app->ui.CmdPlw->isEnabled());
        app->ui.CmdPlw->click();
    }
    double heardSeconds() const {
        const DWORD chan = app->s.chan;
        return BASS_ChannelBytes2Seconds(chan, BASS_ChannelGetPosition(chan, BASS_POS_BYTE));
    }
    // The page as a decoder of its own draws the screen after `packets` packets.
    QImage expectedPage(std::size_t packets) const {
        cdg::Decoder own(graphics);
        QImage page(app->ui.Picture3->image().size(), app->ui.Picture3->image().format());
        karaoke::PaintCdgScreen(own.seek(packets), page);
        return page;
    }
    // Runs the clock for `ms`, checking at each tick of the frame timer that the frame on the page
    // is the heard position's within one group; returns the ticks checked.
    int playChecking(int ms) {
        int checked = 0;
        const std::int64_t until = clock.nowMs() + ms;
        while (clock.nowMs() < until) {
            clock.advance(app->tmr.tmrSYLTmp3->interval());
            const auto heard = static_cast<std::int64_t>(cdg::Decoder::packetAt(heardSeconds()));
            EXPECT_LE(std::llabs(app->s.cdgShownPacket - heard), kGroup) << "at " << clock.nowMs() << " ms";
            ++checked;
        }
        return checked;
    }

  public:
    fs::path folderPath() const { return folder.path(); }

  protected:
    CdgWriter::Bytes graphics;
};

TEST_F(CdgSong, PlaysThroughTheLoadButtonWithItsFramesAtTheHeardPosition) {
    start();
    const fs::path cdgPath = writePair();
    dialogs.answerFile(cdgPath.string());
    app->ui.CmdCarica->click();
    ASSERT_FALSE(dialogs.shown().empty());
    const std::string filter = dialogs.shown().front().filter;
    EXPECT_EQ(filter.rfind("Files (mid/midi/kar/mp3/NVK/wav)|", 0), 0u) << "the first entry stays first";
    EXPECT_NE(filter.find("|CD+G songs (cdg/zip)|*.cdg;*.zip"), std::string::npos) << filter;
    EXPECT_EQ(app->s.FileName, cdgPath.string());
    EXPECT_EQ(caption(app->ui.LabelSongLength), "Night Train");
    ASSERT_TRUE(app->ui.CmdPlw->isEnabled()) << "the audio road's Ready state";
    app->ui.CmdPlw->click();
    ASSERT_NE(app->s.chan.load(), 0u);
    EXPECT_EQ(caption(app->ui.lblTime), "0:10") << "the MP3 twin is what plays";
    ASSERT_TRUE(app->tmr.tmrSYLTmp3->enabled());
    EXPECT_GT(playChecking(3000), 250);
    EXPECT_GT(heardSeconds(), 2.5);
    // The page is the decoder's screen for the frame it shows.
    EXPECT_EQ(app->ui.Picture3->image(), expectedPage(static_cast<std::size_t>(app->s.cdgShownPacket)));
    EXPECT_FALSE(app->ui.Picture3->isBlank());
    EXPECT_TRUE(dialogs.unexpected().empty());
}

TEST_F(CdgSong, AfterASeekToEightyPercentThePageIsTheDecodersScreenThere) {
    start();
    showWindow();
    openAndPlay(writePair());
    clock.advance(500);
    auto* bar = app->ui.Sldposition;
    ASSERT_EQ(bar->maximum(), kSongSeconds);
    QTest::mouseClick(bar, Qt::LeftButton, {}, knobCentreAt(bar, 8));
    ASSERT_NEAR(heardSeconds(), 8.0, 0.05);
    clock.advance(app->tmr.tmrSYLTmp3->interval());
    const std::size_t heard = cdg::Decoder::packetAt(heardSeconds());
    EXPECT_LE(std::llabs(app->s.cdgShownPacket - static_cast<std::int64_t>(heard)), kGroup);
    EXPECT_EQ(app->ui.Picture3->image(), expectedPage(static_cast<std::size_t>(app->s.cdgShownPacket)));
    playChecking(1000);
    // A seek back rebuilds the earlier screen.
    QTest::mouseClick(bar, Qt::LeftButton, {}, knobCentreAt(bar, 2));
    clock.advance(app->tmr.tmrSYLTmp3->interval());
    EXPECT_NEAR(static_cast<double>(app->s.cdgShownPacket), 2.0 * cdg::kPacketsPerSecond, 2.0 * kGroup);
    EXPECT_EQ(app->ui.Picture3->image(), expectedPage(static_cast<std::size_t>(app->s.cdgShownPacket)));
    EXPECT_TRUE(dialogs.unexpected().empty());
}

TEST_F(CdgSong, AtTempoPlusTwentyTheGraphicsKeepToTheMusic) {
    start();
    showWindow();
    openAndPlay(writePair());
    userSets(app->ui.SldMp3[1], 20);
    float tempo = 0;
    ASSERT_TRUE(BASS_ChannelGetAttribute(app->s.chan, BASS_ATTRIB_TEMPO, &tempo));
    ASSERT_FLOAT_EQ(tempo, 20.0f);
    const double before = heardSeconds();
    playChecking(4000);
    // Faster than the clock: the graphics went with the music, not with the wall clock.
    EXPECT_GT(heardSeconds() - before, 4.5);
    EXPECT_EQ(app->ui.Picture3->image(), expectedPage(static_cast<std::size_t>(app->s.cdgShownPacket)));
    EXPECT_TRUE(dialogs.unexpected().empty());
}

TEST_F(CdgSong, ThePausedSongKeepsItsFrameAndTheSingersScreenShowsItToo) {
    start();
    showWindow();
    openAndPlay(writePair());
    clock.advance(1500);
    app->ui.CmdPause->click();
    const std::int64_t paused = app->s.cdgShownPacket;
    clock.advance(1000);
    EXPECT_EQ(app->s.cdgShownPacket, paused) << "the frame follows what is heard, not the clock";
    app->ui.CmdKara->click();
    widgets::LyricPicture* singers = app->ui.Picture3->companion();
    ASSERT_NE(singers, nullptr);
    ASSERT_TRUE(singers->isVisible());
    clock.advance(app->tmr.tmrSYLTmp3->interval());
    ASSERT_FALSE(singers->isBlank());
    cdg::Decoder own(graphics);
    QImage expected(singers->image().size(), singers->image().format());
    karaoke::PaintCdgScreen(own.seek(static_cast<std::size_t>(paused)), expected);
    EXPECT_EQ(singers->image(), expected);
    EXPECT_TRUE(dialogs.unexpected().empty());
}

TEST_F(CdgSong, ChoosingTheMp3OpensItsGraphicsTwin) {
    start();
    const fs::path cdgPath = writePair(".cdg");
    openAndPlay(folder.path() / "Night Train.mp3");
    EXPECT_EQ(app->s.FileName, cdgPath.string());
    EXPECT_TRUE(isCdgSong(app->s.FileName));
    clock.advance(500);
    EXPECT_GT(app->s.cdgShownPacket, 0);
    EXPECT_TRUE(dialogs.unexpected().empty());
}

TEST_F(CdgSong, AGraphicsFileAloneSaysSoAndOpensNothing) {
    start();
    const fs::path lone = folder.path() / "Alone.cdg";
    const CdgWriter::Bytes bytes = busyCdg(2);
    std::ofstream(lone, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    // An MP3 of another name beside it is no twin.
    writeToneWav(folder.path() / "Alone.wav", 1.0);
    dialogs.answerFile(lone.string());
    dialogs.answer(platform::vbOK);
    app->ui.CmdCarica->click();
    ASSERT_EQ(dialogs.shown().size(), 2u);
    EXPECT_NE(dialogs.shown()[1].text.find("Alone.cdg"), std::string::npos) << dialogs.shown()[1].text;
    EXPECT_NE(dialogs.shown()[1].text.find("MP3"), std::string::npos);
    EXPECT_TRUE(app->s.FileName.empty());
    EXPECT_FALSE(app->s.cdgGraphics);
    EXPECT_FALSE(app->ui.CmdPlw->isEnabled());
    EXPECT_TRUE(app->ui.CmdCarica->isEnabled()) << "Load can try again";
}

// The pair zipped as singers keep them, the loose files gone; the archive's path.
fs::path zipPair(CdgSong& t, const fs::path& cdgPath, const std::string& folderInZip) {
    const fs::path mp3 = t.folderPath() / "Night Train.mp3";
    const fs::path zipPath = t.folderPath() / "Night Train.zip";
    packagetest::RawZip zip(zipPath);
    zip.add(folderInZip + "Night Train.MP3", packagetest::readBytes(mp3));
    zip.add(folderInZip + "Night Train.cdg", packagetest::readBytes(cdgPath));
    zip.close();
    fs::remove(mp3);
    fs::remove(cdgPath);
    return zipPath;
}

TEST_F(CdgSong, AZipOfTheTwoOpensFromTheProgramsOwnFolderAndPlaysWithItsGraphics) {
    start();
    const fs::path zipPath = zipPair(*this, writePair(), "Karaoke/");
    openAndPlay(zipPath);
    const fs::path unpacked = fs::path(app->appFolder) / "CDGZIP";
    EXPECT_EQ(app->s.FileName, (unpacked / "Night Train.cdg").string());
    EXPECT_TRUE(fs::exists(unpacked / "Night Train.mp3"))
        << "the MP3 beside its graphics, under the graphics' name";
    EXPECT_EQ(caption(app->ui.lblTime), "0:10");
    EXPECT_GT(playChecking(2000), 150);
    EXPECT_EQ(app->ui.Picture3->image(), expectedPage(static_cast<std::size_t>(app->s.cdgShownPacket)));
    EXPECT_TRUE(dialogs.unexpected().empty());
    app->ui.CmdStw->click();
}

TEST_F(CdgSong, AZipWithoutAPairOrWithHostileMembersSaysWhyAndWritesNothingOutside) {
    start();
    const fs::path cdgPath = writePair();
    const std::string mp3 = packagetest::readBytes(folder.path() / "Night Train.mp3");
    const std::string cdg = packagetest::readBytes(cdgPath);
    const fs::path unpacked = fs::path(app->appFolder) / "CDGZIP";
    struct Case {
        std::string name;
        std::function<void(packagetest::RawZip&)> fill;
        std::string why;
    };
    const std::vector<Case> cases = {
        {"two.zip",
         [&](auto& z) {
             z.add("a.mp3", mp3);
             z.add("b.mp3", mp3);
         },
         "holds 2 MP3 and 0 CD+G"},
        {"link.zip",
         [&](auto& z) {
             z.add("s.mp3", mp3);
             z.link("s.cdg", "/etc/passwd");
         },
         "read safely"},
        {"bomb.zip",
         [&](auto& z) {
             z.add("s.mp3", std::string(32 << 20, '\0'));
             z.add("s.cdg", cdg);
         },
         "read safely"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const fs::path zipPath = folder.path() / "hostile" / c.name;
        fs::create_directories(zipPath.parent_path());
        packagetest::RawZip zip(zipPath);
        c.fill(zip);
        zip.close();
        dialogs.clear();
        dialogs.answerFile(zipPath.string());
        dialogs.answer(platform::vbOK);
        app->ui.CmdCarica->click();
        ASSERT_EQ(dialogs.shown().size(), 2u);
        const std::string& box = dialogs.shown()[1].text;
        EXPECT_NE(box.find("The ZIP file " + c.name + " holds no CD+G song to open"), std::string::npos)
            << box;
        EXPECT_NE(box.find(c.why), std::string::npos) << box;
        EXPECT_TRUE(app->s.FileName.empty());
        EXPECT_FALSE(app->ui.CmdPlw->isEnabled());
        EXPECT_TRUE(fs::is_empty(unpacked)) << "nothing is left half unpacked";
    }
    // Names that climb out or are absolute are kept flat inside the folder: the pair opens.
    const fs::path climbing = folder.path() / "hostile" / "climb.zip";
    packagetest::RawZip zip(climbing);
    zip.add("../../up.mp3", mp3);
    zip.add("/tmp/velvora-abs.cdg", cdg);
    zip.close();
    openAndPlay(climbing);
    EXPECT_EQ(app->s.FileName, (unpacked / "velvora-abs.cdg").string());
    EXPECT_FALSE(fs::exists("/tmp/velvora-abs.cdg"));
    EXPECT_FALSE(fs::exists(folder.path() / "up.mp3"));
    EXPECT_FALSE(fs::exists(folder.path().parent_path() / "up.mp3"));
    app->ui.CmdStw->click();
}

// What a singer sets for a song from a ZIP file: tempo, key and volume, with SAVE.
struct SongLevels {
    int tempo;
    int key;
    int volume;
};

void setLevels(App& app, const SongLevels& l) {
    app.ui.SldMp3[1]->setValue(l.tempo);
    transport::SldMp3_Change(app, 1);
    app.ui.SldMp3[0]->setValue(l.key);
    transport::SldMp3_Change(app, 0);
    app.ui.SldVolume->setValue(l.volume);
    transport::SldVolume_Change(app);
}

TEST_F(CdgSong, ASongFromAZipKeepsItsSettingsUnderTheArchivesOwnName) {
    start();
    const fs::path loose = writePair();
    const std::string mp3 = packagetest::readBytes(folder.path() / "Night Train.mp3");
    const std::string cdg = packagetest::readBytes(loose);
    // Two discs whose songs inside have the same names.
    const fs::path first = folder.path() / "discs" / "First.zip";
    const fs::path second = folder.path() / "discs" / "Second.zip";
    fs::create_directories(first.parent_path());
    for (const fs::path& p : {first, second}) {
        packagetest::RawZip zip(p);
        zip.add("Song.mp3", mp3);
        zip.add("Song.cdg", cdg);
        zip.close();
    }
    const fs::path custom = fs::path(app->appFolder) / "SONGCUSTOM";
    auto& ui = app->ui;
    auto saveAndStop = [&] {
        dialogs.answer(platform::vbOK);
        ui.CmdMidi->click();
        ASSERT_FALSE(dialogs.shown().empty());
        EXPECT_EQ(dialogs.shown().back().text, "Done!");
        ui.CmdStw->click();
    };

    openAndPlay(first);
    EXPECT_EQ(app->s.dialogFolder, first.parent_path().string()) << "Load next opens beside the disc";
    setLevels(*app, {20, 3, 70});
    saveAndStop();
    EXPECT_TRUE(fs::exists(custom / "First.zip.txt"));
    EXPECT_FALSE(fs::exists(custom / "Song.cdg.txt")) << "not under the name of the unpacked file";

    openAndPlay(second);
    EXPECT_EQ(ui.SldMp3[1]->value(), 0) << "the other disc's song has no settings yet";
    setLevels(*app, {-10, 0, 50});
    saveAndStop();
    EXPECT_TRUE(fs::exists(custom / "Second.zip.txt"));

    openAndPlay(first);
    EXPECT_EQ(ui.SldMp3[1]->value(), 20);
    EXPECT_EQ(caption(ui.Lbltmp), "20%");
    EXPECT_EQ(ui.SldVolume->value(), 70);
    EXPECT_EQ(ui.SldMp3[0]->value(), 0) << "a CD+G song's key line is not put back";
    EXPECT_EQ(app->s.FileName, (fs::path(app->appFolder) / "CDGZIP" / "Song.cdg").string());
    ui.CmdStw->click();
    openAndPlay(second);
    EXPECT_EQ(ui.SldMp3[1]->value(), -10);
    EXPECT_EQ(ui.SldVolume->value(), 50);
    ui.CmdStw->click();

    // A loose pair keeps its settings under its own file name, as every other song does.
    openAndPlay(loose);
    EXPECT_EQ(ui.SldMp3[1]->value(), 0);
    setLevels(*app, {10, 0, 60});
    saveAndStop();
    EXPECT_TRUE(fs::exists(custom / "Night Train.CDG.txt"));
    openAndPlay(first);
    EXPECT_EQ(ui.SldMp3[1]->value(), 20) << "the loose song's file did not touch the disc's";
    ui.CmdStw->click();
    EXPECT_TRUE(dialogs.unexpected().empty());
}

} // namespace
} // namespace velvora::testing
