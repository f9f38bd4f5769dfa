// A package song started, replayed and followed by another: its lyric holds only its own lines,
// and the effects left on go onto the new song's mixer and voice track. The unpacking is the
// test's own: it puts the package's lyric where unpacking puts it and builds two tracks.
#include "core/controls.h"
#include "core/files.h"
#include "core/song_state.h"
#include "engine/api.h"
#include "support/app_fixture.h"
#include "support/song_files.h"
#include "transport/song_open.h"
#include "transport/transport.h"

#include <filesystem>
#include <fstream>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using testing::AppFixture;

class PackageStartTest : public AppFixture {
  protected:
    void SetUp() override {
        AppFixture::SetUp();
        start();
        tone = folder.path() / "tone.wav";
        testing::writeToneWav(tone, 4.0);
        app->hooks.Decrypt = [this] { unpack(); };
    }
    // What unpacking leaves: the package's lyric in TMPK, two tracks in a mixer.
    void unpack() {
        fs::create_directories(folder.path() / "TMPK");
        std::ofstream(folder.path() / "TMPK" / "LIRICA.LRC", std::ios::binary) << lyricOf[app->s.FileName];
        Session& s = app->s;
        s.chan = BASS_Mixer_StreamCreate(44100, 2, 0);
        const std::wstring path = tone.wstring();
        for (int i = 0; i < 2; ++i) {
            const HSTREAM decoder =
                BASS_StreamCreateFile(0, path.c_str(), 0, 0, BASS_STREAM_DECODE | BASS_UNICODE);
            s.stems[static_cast<std::size_t>(i)] =
                BASS_FX_TempoCreate(decoder, BASS_STREAM_DECODE | BASS_FX_FREESOURCE);
            BASS_Mixer_StreamAddChannel(s.chan, s.stems[static_cast<std::size_t>(i)], 0);
        }
        s.stemCount = 2;
    }
    std::string package(const std::string& name, const std::string& lrc) {
        const fs::path path = folder.path() / name;
        std::ofstream(path) << "package";
        lyricOf[path.string()] = lrc;
        return path.string();
    }
    void open(const std::string& path) {
        dialogs.answerFile(path);
        app->ui.CmdCarica->click();
    }
    std::vector<std::string> lines() const {
        const auto& l = app->s.words.lyricLines;
        return {l.begin() + 1, l.begin() + 1 + std::max(0, static_cast<int>(app->s.words.lastLine))};
    }

    fs::path tone;
    std::map<std::string, std::string> lyricOf;
};

TEST_F(PackageStartTest, TheLyricHoldsOnlyThePresentSongsLines) {
    const std::string first = package("First.NVK", "[00:01]one\r\n[00:02]two\r\n[00:03]three\r\n");
    const std::string second = package("Second.NVK", "[00:01]alpha\r\n[00:02]beta\r\n");
    open(first);
    ASSERT_TRUE(shows(*app, SongState::PackageReady));
    app->ui.CmdPlw->click();
    EXPECT_EQ(lines(), (std::vector<std::string>{"ONE", "TWO", "THREE"}));
    app->ui.CmdStw->click();
    app->ui.CmdPlw->click();
    EXPECT_EQ(lines(), (std::vector<std::string>{"ONE", "TWO", "THREE"})) << "played a second time";
    app->ui.CmdStw->click();
    open(second);
    app->ui.CmdPlw->click();
    EXPECT_EQ(lines(), (std::vector<std::string>{"ALPHA", "BETA"})) << "the next package";
    EXPECT_EQ(app->s.timing.lyricFileText, "[00:01]alpha\r\n[00:02]beta\r\n");
}

TEST_F(PackageStartTest, CompressorAndEqualiserLeftOnHoldOnTheNewSong) {
    const std::string first = package("First.NVK", "");
    app->ui.Chkphaser->setChecked(true);
    app->ui.Chkequalizer->click();
    ASSERT_TRUE(app->ui.Chkequalizer->isChecked());
    open(first);
    app->ui.CmdPlw->click();
    BASS_BFX_COMPRESSOR2 compressor{};
    EXPECT_TRUE(BASS_FXGetParameters(app->s.effects.fxCompressor, &compressor)) << "on the new mixer";
    BASS_BFX_PEAKEQ band{};
    band.lBand = 0;
    EXPECT_TRUE(BASS_FXGetParameters(app->s.effects.fxEq, &band)) << "on the new voice track";
    EXPECT_EQ(app->s.effects.eqOn, vbTrue);
    EXPECT_EQ(app->ui.Chkequalizer->text().toStdString(), "EQ/OFF");
}

} // namespace
} // namespace velvora
