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
#include "support/app_fixture.h"
#include "support/song_files.h"
#include "support/user_input.h"
#include "widgets/lyricpicture.h"
#include "widgets/main_controls.h"
#include "widgets/words_full_screen.h"

#include <QApplication>
#include <QPushButton>
#include <QTest>

#include <cstdlib>
#include <filesystem>
#include <fstream>

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

} // namespace
} // namespace velvora::testing
