#include "core/controller.h"
#include "core/controls.h"
#include "core/startup.h"
#include "support/app_fixture.h"

#include <filesystem>
#include <fstream>

namespace velvora {
namespace {

using testing::AppFixture;

TEST(SongKind, IsToldByTheLastThreeCharactersOnly) {
    EXPECT_TRUE(isMidiSong("/a/b/Song.MID"));
    EXPECT_TRUE(isMidiSong("x.kar"));
    EXPECT_FALSE(isMidiSong("x.midi")); // ends in "idi": an audio song
    EXPECT_FALSE(isMidiSong("x.mp3"));
    EXPECT_FALSE(isMidiSong(""));
    EXPECT_TRUE(isPackageSong("song.nvk"));
    EXPECT_TRUE(isPackageSong("SONG.Nvk"));
    EXPECT_FALSE(isPackageSong("song.NVK.bak"));
    EXPECT_FALSE(isPackageSong("nv"));
}

class LayoutTest : public AppFixture {};

TEST_F(LayoutTest, EachKindShowsItsOwnControlsAndAllReturnToNeutral) {
    start();
    auto& ui = app->ui;
    ui.SldTempo->setValue(17);
    ui.Vscroll1->setValue(4);
    ui.SldEq[2]->setValue(-6);
    app->s.effects.eqOn = vbTrue;
    ui.PicEq->show();

    LayoutAudio(*app);
    EXPECT_EQ(ui.SldTempo->value(), 10);
    EXPECT_EQ(ui.Vscroll1->value(), 0);
    EXPECT_EQ(ui.SldEq[2]->value(), 0);
    EXPECT_EQ(app->s.effects.eqOn, vbFalse);
    EXPECT_FALSE(shown(ui.PicEq));
    EXPECT_EQ(caption(ui.LblTempo), "0%");
    EXPECT_EQ(caption(ui.Lbltmp), "0%");
    EXPECT_TRUE(shown(ui.SldMp3[0]) && shown(ui.SldMp3[1]) && shown(ui.LblTone) && shown(ui.Lbltmp));
    EXPECT_FALSE(shown(ui.Vscroll1) || shown(ui.SldTempo) || shown(ui.Hstempo) || shown(ui.HscrollTempo));

    LayoutMidi(*app);
    EXPECT_TRUE(shown(ui.Vscroll1) && shown(ui.LblPitch) && shown(ui.SldTempo) && shown(ui.LblTempo));
    EXPECT_FALSE(shown(ui.SldMp3[0]) || shown(ui.SldMp3[1]) || shown(ui.Hstempo) || shown(ui.LblToneM));

    LayoutPackage(*app);
    EXPECT_TRUE(shown(ui.Hstempo) && shown(ui.LbltKTM) && shown(ui.HscrollTempo) && shown(ui.LblToneM));
    EXPECT_FALSE(shown(ui.SldMp3[0]) || shown(ui.Vscroll1) || shown(ui.SldTempo) || shown(ui.Lbltmp));
}

TEST_F(LayoutTest, MenuGroupsSwitchTogether) {
    start();
    auto& ui = app->ui;
    dmenu(*app);
    EXPECT_FALSE(ui.MnuOpenSong->isEnabled());
    EXPECT_FALSE(ui.CmdCarica->isEnabled());
    EXPECT_FALSE(ui.mnew->isEnabled());
    dismenu(*app);
    EXPECT_FALSE(enabled(ui.MnuFile) || enabled(ui.mnutil) || enabled(ui.cvmenu));
    ui.wavp3->setEnabled(false);
    enamenu(*app);
    EXPECT_TRUE(enabled(ui.MnuFile) && enabled(ui.mnutil) && enabled(ui.cvmenu));
    EXPECT_TRUE(ui.wavp3->isEnabled() && ui.CmdCarica->isEnabled() && ui.MnuOpenSong->isEnabled());
    // enamenu gives the digital recorder entry back only through its own paths.
    EXPECT_FALSE(ui.mnew->isEnabled());
}

TEST_F(LayoutTest, ZeroVariablesClearsLyricsAndTheChannelStrip) {
    start();
    app->s.lyricPos = 12;
    app->s.words.wordList.resize(30);
    app->s.words.shownLines.resize(5);
    app->s.channelStrip[7].ChannelNo = 8;
    app->s.channelStrip[7].Volume = 99;
    app->ui.Slider2[3]->setEnabled(true);
    app->ui.Slider2[3]->setValue(60);
    ZeroVariables(*app);
    EXPECT_EQ(app->s.lyricPos, 0);
    EXPECT_EQ(app->s.words.wordList.size(), 1u);
    EXPECT_EQ(app->s.words.shownLines.size(), 1u);
    EXPECT_EQ(app->s.channelStrip[7].ChannelNo, -1);
    EXPECT_EQ(app->s.channelStrip[7].Pan, 64);
    // Zero lies below the strip slider's range, which keeps it at its minimum.
    EXPECT_EQ(app->ui.Slider2[3]->value(), app->ui.Slider2[3]->minimum());
    EXPECT_FALSE(app->ui.Slider2[3]->isEnabled());
}

TEST_F(LayoutTest, AbilitaLeavesTheRecordingStateAndRemovesTheLiveMix) {
    start();
    const auto live = folder.path() / "LiveTrack.wav";
    std::ofstream(live) << "RIFF";
    app->tmr.Timer3->setEnabled(true);
    app->ui.Cmd_play->setEnabled(true);
    app->s.songEnded = true;
    abilita(*app);
    EXPECT_FALSE(app->tmr.Timer3->enabled());
    EXPECT_FALSE(app->ui.Cmd_play->isEnabled());
    EXPECT_FALSE(app->s.songEnded);
    EXPECT_FALSE(std::filesystem::exists(live));
    abilita(*app); // nothing left to delete: still fine
}

} // namespace
} // namespace velvora
