// The road of a take to a package and back, on the virtual clock, the way a user goes: a take
// over a KAR song answered Yes is encoded and finished in the package maker; the package reopens
// as three tracks under one mixer, shows its title block, lights its lyric line by line, and the
// mix button writes LiveTrack.wav at the strip's levels. Then the package edge cases a user meets.
#include "core/controls.h"
#include "core/song_state.h"
#include "engine/api.h"
#include "engine/testing.h"
#include "package/raw_zip.h"
#include "package/zip_archive.h"
#include "recording/take_files.h"
#include "support/app_fixture.h"
#include "support/midi_writer.h"
#include "support/song_files.h"
#include "transport/song_open.h"
#include "ui/form1_window.h"
#include "widgets/form1_controls.h"
#include "widgets/main_controls.h"

#include <QApplication>
#include <QCheckBox>
#include <QDialog>
#include <QLineEdit>
#include <QPushButton>

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using namespace packagetest;
using testing::AppFixture;

// Every sample of a file decoded as 16-bit stereo, from its start.
std::vector<std::int16_t> decodeFile(const fs::path& path) {
    return recordingtest::decodeAll(BASS_StreamCreateFile(false, path.c_str(), 0, 0, BASS_STREAM_DECODE));
}

double rms(const std::vector<std::int16_t>& v, std::size_t from, std::size_t to) {
    double sum = 0;
    to = std::min(to, v.size());
    for (std::size_t i = from; i < to; ++i) sum += static_cast<double>(v[i]) * v[i];
    return to > from ? std::sqrt(sum / static_cast<double>(to - from)) : 0.0;
}

// A stereo tone of 16-bit samples.
std::vector<std::int16_t> toneSamples(double seconds, double hz, int amplitude) {
    const auto frames = static_cast<std::size_t>(seconds * 44100);
    std::vector<std::int16_t> v(frames * 2);
    for (std::size_t i = 0; i < frames; ++i)
        v[2 * i] = v[2 * i + 1] =
            static_cast<std::int16_t>(amplitude * std::sin(2 * M_PI * hz * static_cast<double>(i) / 44100));
    return v;
}

class PackageRoadTest : public AppFixture {
  protected:
    void SetUp() override {
        AppFixture::SetUp();
        start();
        song = folder.path() / "songs" / "Twinkle.kar";
        fs::create_directories(song.parent_path());
        miditest::writeFile(song, testing::karaokeMidi(testing::twinkleSyllables(), 48));
    }
    void TearDown() override {
        while (QApplication::overrideCursor()) QApplication::restoreOverrideCursor();
        AppFixture::TearDown();
    }
    fs::path work(const std::string& name) const { return fs::path(app->appFolder) / name; }
    widgets::Form1Controls& maker() { return window.form1().controls(); }
    void load(const fs::path& path) {
        dialogs.answerFile(path.string());
        app->ui.CmdCarica->click();
    }
    // Opens the song, arms a take, plays through the count-in and sings `seconds` of a tone, then
    // stops and answers Yes: the two tracks are encoded and the maker comes up.
    void singAndAnswerYes(double seconds) {
        load(song);
        ASSERT_TRUE(shows(*app, SongState::MidiReady));
        app->ui.CmdRec->click();
        ASSERT_TRUE(app->s.recordArmed);
        app->ui.Cmd_play->click();
        engine::testing::pushCaptureInput(toneSamples(seconds, 550.0, 9000));
        clock.advance(static_cast<long long>(seconds * 1000));
        dialogs.answer(platform::vbYes);
        dialogs.answer(platform::vbOK); // "Done! LRC Creator"
        dialogs.answer(platform::vbOK); // "Done!"
        app->ui.Cmd_Stop->click();
    }
    // The five fields typed, saved, and the package written under `name` (the title the save
    // dialog proposes, unless the user changes it), with an optional password typed first.
    void finishPackage(const std::string& title, const fs::path& target, const std::string& password = "") {
        ASSERT_TRUE(window.form1().dialog().isVisible()) << "the maker is up";
        maker().TxtTitle->setText(QString::fromStdString(title));
        maker().TxtArt->setText("The Singer");
        maker().TxtEditore->setText("Taylor");
        maker().TxtDisco->setText("Nursery");
        maker().TxtTono->setText("Do");
        if (!password.empty()) {
            maker().password->setText(QString::fromStdString(password));
            emit maker().password->editingFinished();
        }
        maker().CmdSalva->click();
        dialogs.answerFile(target.string());
        dialogs.answer(platform::vbOK); // "NVK CREATO CON SUCCESSO!"
        maker().Command5->click();
        ASSERT_FALSE(window.form1().dialog().isVisible()) << "the maker is gone";
        ASSERT_TRUE(fs::exists(target));
    }
    // A short take over the song, answered Yes: the way to the maker for the edge cases.
    void quickTake() { singAndAnswerYes(1.5); }
    std::vector<std::string> boxTexts() const {
        std::vector<std::string> texts;
        for (const platform::ShownBox& b : dialogs.shown())
            if (b.kind == platform::ShownBox::Message) texts.push_back(b.text);
        return texts;
    }
    std::vector<std::string> labels() const {
        const auto& ui = app->ui;
        std::vector<std::string> out;
        for (QLabel* l : {ui.NVKTitle, ui.NVKArtista, ui.NVKEditore, ui.NVKDisco, ui.NVKTono})
            out.push_back(caption(l));
        return out;
    }

    fs::path song;
};

TEST_F(PackageRoadTest, ATakeBecomesAPackageThatReopensPlaysLightsItsLyricAndMixes) {
    singAndAnswerYes(6.0);
    EXPECT_EQ(boxTexts(),
              (std::vector<std::string>{"Crea NVK(SI)  Crea Wave(NO) ", "Done! LRC Creator", "Done!"}));
    const fs::path nvk = song.parent_path() / "Twinkle Star.NVK";
    finishPackage("Twinkle Star", nvk);
    EXPECT_EQ(dialogs.shown().back().text, "NVK CREATO CON SUCCESSO!");
    // The save dialog proposed the title.
    const auto save =
        std::find_if(dialogs.shown().begin(), dialogs.shown().end(),
                     [](const platform::ShownBox& b) { return b.kind == platform::ShownBox::Save; });
    ASSERT_NE(save, dialogs.shown().end());
    EXPECT_EQ(save->caption, "Save NVK File");
    EXPECT_EQ(save->filter, "File NVK (*.NVK)|*.NVK");

    // The members: the two encoded tracks, the song, its lyric and the information text.
    {
        package::ZipArchive zip;
        ASSERT_TRUE(zip.openArchive(nvk));
        EXPECT_EQ(zip.entryCount(), 5);
    }

    // Reopened: the first pass unpacks and arms; no lyric yet.
    load(nvk);
    ASSERT_TRUE(shows(*app, SongState::PackageReady));
    Session& s = app->s;
    ASSERT_EQ(s.stemCount, 3);
    EXPECT_EQ(s.trackFile[0], "BackingTrack.MP3");
    EXPECT_EQ(s.trackFile[1], "vocaltrack.MP3");
    EXPECT_EQ(s.trackFile[2], "ZZZZ.MID");
    EXPECT_EQ(readBytes(work("TMPK/ZZZZ.MID")), readBytes(song)) << "the song sung over, whole";
    EXPECT_FALSE(fs::exists(work("syncro.LRC"))) << "opening a song clears the loose work files";
    EXPECT_EQ(s.timing.lyricFileText.find("HOW I WONDER"), std::string::npos) << "no lyric on the first pass";
    EXPECT_EQ(app->ui.Slider2[2]->value(), 127) << "the song sung over starts silent";
    const std::vector<std::int16_t> backing = decodeFile(work("TMPK/BackingTrack.MP3"));
    const std::vector<std::int16_t> voice = decodeFile(work("TMPK/vocaltrack.MP3"));
    ASSERT_GT(backing.size(), 44100u * 2 * 5);
    ASSERT_GT(voice.size(), 44100u * 2 * 5);
    EXPECT_GT(rms(voice, 44100 * 2, 44100 * 8), 3000) << "the sung tone is in the voice track";

    // Play: the second pass finds the lyric, the title block shows the typed fields.
    engine::testing::keepHeard(true);
    engine::testing::clearHeard();
    const long long started = clock.nowMs();
    app->ui.CmdPlw->click();
    ASSERT_TRUE(shows(*app, SongState::PackagePlaying));
    EXPECT_EQ(labels(),
              (std::vector<std::string>{"Twinkle Star" + std::string(9, ' '),
                                        "The Singer" + std::string(18, ' '), "Taylor" + std::string(13, ' '),
                                        "Nursery" + std::string(15, ' '), "Do" + std::string(11, ' ')}));
    ASSERT_TRUE(s.words.lyricsPresent);
    ASSERT_EQ(s.words.lyricLines.size(), 5u);
    EXPECT_EQ(s.words.lyricLines[2], "HOW I WONDER WHAT YOU ARE");
    // The three tracks under the one mixer, the third at level 0.
    float level = -1;
    EXPECT_TRUE(BASS_ChannelGetAttribute(s.stems[0], BASS_ATTRIB_VOL, &level));
    EXPECT_NEAR(level, 100.0f / 127, 1e-4);
    EXPECT_TRUE(BASS_ChannelGetAttribute(s.stems[1], BASS_ATTRIB_VOL, &level));
    EXPECT_NEAR(level, 100.0f / 127, 1e-4);
    if (s.stems[2]) {
        EXPECT_TRUE(BASS_ChannelGetAttribute(s.stems[2], BASS_ATTRIB_VOL, &level));
        EXPECT_EQ(level, 0.0f);
    }

    // Line by line: each line lights at its stamp, none before. (The timing engine steps to a word
    // only when one follows it, so the last line of the list is never lit.)
    for (int line = 1; line <= 3; ++line) {
        SCOPED_TRACE(line);
        const long long due = started + line * 1000;
        ASSERT_TRUE(clock.advanceUntil([&] { return s.lyricPos >= line + 1; }, 6000, 10));
        const long long lit = clock.nowMs() - due;
        EXPECT_GE(lit, -50) << "lit before its time";
        EXPECT_LE(lit, 250) << "lit late";
        EXPECT_EQ(s.painter.currentLine, line);
        EXPECT_EQ(s.lyricPos, line + 1);
    }
    // What was heard is the backing and the voice, at the level the strip gives each.
    const std::vector<float>& heard = engine::testing::heard();
    ASSERT_GE(heard.size(), 44100u * 2 * 3);
    double heardRms = 0;
    for (std::size_t i = 44100; i < 44100 * 5; ++i) heardRms += heard[i] * heard[i];
    heardRms = std::sqrt(heardRms / (44100 * 4)) * 32768;
    EXPECT_GT(heardRms, 1000);
    engine::testing::keepHeard(false);
    app->ui.CmdStw->click();
    ASSERT_TRUE(app->ui.BtnMix->isEnabled());

    // The mix: the backing at the strip's top, the voice at half, the song left silent.
    app->ui.Slider2[0]->setValue(0);
    app->ui.Slider2[1]->setValue(127 - 64);
    const fs::path kept = song.parent_path() / "Twinkle mix.wav";
    dialogs.answer(platform::vbOK); // "Fatto!"
    dialogs.answerFile(kept.string());
    app->ui.BtnMix->click();
    EXPECT_EQ(boxTexts().back(), "Fatto!");
    const recordingtest::Wav mix = recordingtest::readWav(work("LiveTrack.wav"));
    ASSERT_GE(mix.samples.size(), backing.size());
    std::size_t compared = 0;
    int worst = 0;
    const double backingLevel = (127 - app->ui.Slider2[0]->value()) / 127.0;
    const double voiceLevel = (127 - app->ui.Slider2[1]->value()) / 127.0;
    EXPECT_NEAR(voiceLevel, 64 / 127.0, 1e-9);
    for (std::size_t i = 0; i < std::min(backing.size(), voice.size()); ++i) {
        const double expected = backing[i] * backingLevel + voice[i] * voiceLevel;
        if (std::abs(expected) > 30000) continue;
        worst = std::max(worst, static_cast<int>(std::lround(std::abs(mix.samples[i] - expected))));
        ++compared;
    }
    EXPECT_GT(compared, backing.size() / 2);
    EXPECT_LE(worst, 2) << "the mix is the tracks at the strip's levels";
    EXPECT_EQ(readBytes(kept), readBytes(work("LiveTrack.wav")));
    EXPECT_TRUE(fs::is_empty(work("TMPK"))) << "the mix empties TMPK";
}

TEST_F(PackageRoadTest, ASaveUnderAnotherNameOpensWithABlankTitleBlock) {
    quickTake();
    const fs::path nvk = song.parent_path() / "Renamed.NVK";
    finishPackage("Twinkle Star", nvk);
    load(nvk);
    app->ui.CmdPlw->click();
    ASSERT_TRUE(shows(*app, SongState::PackagePlaying));
    EXPECT_EQ(app->s.stemCount, 3);
    EXPECT_FALSE(app->ui.NVKTitle->isHidden());
    EXPECT_EQ(labels(), std::vector<std::string>(5, ""));
}

TEST_F(PackageRoadTest, ACommaInTheTitleShiftsTheFields) {
    quickTake();
    const fs::path nvk = song.parent_path() / "Twinkle, Star.NVK";
    finishPackage("Twinkle, Star", nvk);
    load(nvk);
    app->ui.CmdPlw->click();
    ASSERT_TRUE(shows(*app, SongState::PackagePlaying));
    EXPECT_EQ(labels(),
              (std::vector<std::string>{"Twinkle" + std::string(9, ' '), "Star" + std::string(18, ' '),
                                        "The Singer" + std::string(13, ' '), "Taylor" + std::string(15, ' '),
                                        "Nursery" + std::string(11, ' ')}));
}

TEST_F(PackageRoadTest, OnlyTheExtensionMakesAPackage) {
    quickTake();
    const fs::path nvk = song.parent_path() / "Twinkle.NVK";
    finishPackage("Twinkle", nvk);
    const fs::path upper = song.parent_path() / "SONG.nvk";
    const fs::path bak = song.parent_path() / "song.NVK.bak";
    fs::copy_file(nvk, upper);
    fs::copy_file(nvk, bak);

    load(upper);
    EXPECT_TRUE(shows(*app, SongState::PackageReady));
    EXPECT_EQ(app->s.stemCount, 3);
    EXPECT_TRUE(shown(app->ui.LblNVK));

    // The same bytes under a name that ends otherwise take the audio road and unpack nothing.
    dialogs.answerFile(bak.string());
    transport::MnuOpenSong_Click(*app);
    EXPECT_EQ(app->s.FileName, bak.string());
    EXPECT_FALSE(shown(app->ui.LblNVK));
    EXPECT_TRUE(shown(app->ui.LblMp3));
    EXPECT_TRUE(fs::is_empty(work("TMPK"))) << "nothing was unpacked";
}

TEST_F(PackageRoadTest, APackageWithAPasswordDoesNotUnpack) {
    quickTake();
    const fs::path nvk = song.parent_path() / "Locked.NVK";
    finishPackage("Locked", nvk, "Marbello_47");
    {
        package::ZipArchive zip;
        ASSERT_TRUE(zip.openArchive(nvk));
        EXPECT_FALSE(zip.checkEntry(0)) << "the members are locked";
    }
    dialogs.answerFile(nvk.string());
    transport::MnuOpenSong_Click(*app);
    EXPECT_EQ(app->s.stemCount, 0);
    EXPECT_TRUE(fs::is_empty(work("TMPK")));
    // Play unpacks it once more, and still nothing.
    ASSERT_TRUE(app->ui.CmdPlw->isEnabled());
    app->ui.CmdPlw->click();
    EXPECT_EQ(app->s.stemCount, 0);
    EXPECT_TRUE(fs::is_empty(work("TMPK")));
}

} // namespace
} // namespace velvora
