// The road of a take to a package and back, on the virtual clock, the way a user goes: a take
// over a KAR song, or over an MP3 song whose tag carries synchronised lyrics, answered Yes is
// encoded and finished in the package maker; the package reopens as three tracks under one mixer,
// shows its title block, lights its lyric line by line, and the mix button writes LiveTrack.wav at
// the strip's levels. Then the package edge cases a user meets.
#include "core/controls.h"
#include "core/song_state.h"
#include "engine/api.h"
#include "engine/testing.h"
#include "package/raw_zip.h"
#include "package/zip_archive.h"
#include "recording/take_files.h"
#include "support/app_fixture.h"
#include "support/midi_writer.h"
#include "support/mp3_bytes.h"
#include "support/song_files.h"
#include "support/user_input.h"
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
    bool midiSong() const { return song.extension() == ".kar"; }
    // The song sung over becomes an MP3 whose tag carries `words` as synchronised lyrics.
    void useSyltSong(const std::vector<testing::mp3::SyltEntry>& words, double seconds) {
        song = testing::writeSyltSong(song.parent_path(), "Evening.mp3", words, seconds);
    }
    // Opens the song, arms a take, plays through the count-in and sings `seconds` of a tone, then
    // stops and answers Yes: the two tracks are encoded and the maker comes up. A MIDI song plays
    // and stops with its own buttons and says its two "Done" boxes; an audio song with the audio
    // ones, silently.
    void singAndAnswerYes(double seconds) {
        load(song);
        ASSERT_TRUE(shows(*app, midiSong() ? SongState::MidiReady : SongState::AudioReady));
        app->ui.CmdRec->click();
        ASSERT_TRUE(app->s.recordArmed);
        (midiSong() ? app->ui.Cmd_play : app->ui.CmdPlw)->click();
        engine::testing::pushCaptureInput(toneSamples(seconds, 550.0, 9000));
        clock.advance(static_cast<long long>(seconds * 1000));
        dialogs.answer(platform::vbYes);
        if (midiSong()) {
            dialogs.answer(platform::vbOK); // "Done! LRC Creator"
            dialogs.answer(platform::vbOK); // "Done!"
        }
        (midiSong() ? app->ui.Cmd_Stop : app->ui.CmdStw)->click();
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
    std::vector<std::string> typedLabels(const std::string& title) const {
        return {title + std::string(9, ' '), "The Singer" + std::string(18, ' '),
                "Taylor" + std::string(13, ' '), "Nursery" + std::string(15, ' '),
                "Do" + std::string(11, ' ')};
    }
    // The two encoded tracks of the unpacked package, decoded; each holds the take's five seconds
    // and more, the voice its sung tone.
    struct Tracks {
        std::vector<std::int16_t> backing, voice;
    };
    void decodeUnpackedTracks(Tracks& t) {
        t = {decodeFile(work("TMPK/BackingTrack.MP3")), decodeFile(work("TMPK/vocaltrack.MP3"))};
        ASSERT_GT(t.backing.size(), 44100u * 2 * 5);
        ASSERT_GT(t.voice.size(), 44100u * 2 * 5);
        EXPECT_GT(rms(t.voice, 44100 * 2, 44100 * 8), 3000) << "the sung tone is in the voice track";
    }
    // Presses Play on the armed package with what is heard kept from here; gives the time of the press.
    long long playListening() {
        engine::testing::keepHeard(true);
        engine::testing::clearHeard();
        const long long started = clock.nowMs();
        app->ui.CmdPlw->click();
        return started;
    }
    // The first two tracks at the level the strip opens them with, the song sung over at none.
    void expectTracksUnderOneMixer() {
        const Session& s = app->s;
        float level = -1;
        EXPECT_TRUE(BASS_ChannelGetAttribute(s.stems[0], BASS_ATTRIB_VOL, &level));
        EXPECT_NEAR(level, 100.0f / 127, 1e-4);
        EXPECT_TRUE(BASS_ChannelGetAttribute(s.stems[1], BASS_ATTRIB_VOL, &level));
        EXPECT_NEAR(level, 100.0f / 127, 1e-4);
        if (s.stems[2]) {
            EXPECT_TRUE(BASS_ChannelGetAttribute(s.stems[2], BASS_ATTRIB_VOL, &level));
            EXPECT_EQ(level, 0.0f);
        }
    }
    // Loudness of what was heard between two points, in 16-bit units.
    static double heardRms(std::size_t from, std::size_t to) {
        const std::vector<float>& heard = engine::testing::heard();
        to = std::min(to, heard.size());
        double sum = 0;
        for (std::size_t i = from; i < to; ++i) sum += heard[i] * heard[i];
        return to > from ? std::sqrt(sum / static_cast<double>(to - from)) * 32768 : 0.0;
    }
    // Stopped, then mixed with the backing at the strip's top, the voice at half and the song left
    // silent: LiveTrack.wav is the two tracks at those levels, kept under the name given, and TMPK
    // is empty.
    void mixAtTheStripsLevels(const Tracks& tracks) {
        const std::vector<std::int16_t>& backing = tracks.backing;
        const std::vector<std::int16_t>& voice = tracks.voice;
        app->ui.CmdStw->click();
        ASSERT_TRUE(app->ui.BtnMix->isEnabled());
        app->ui.Slider2[0]->setValue(0);
        app->ui.Slider2[1]->setValue(127 - 64);
        const fs::path kept = song.parent_path() / "kept mix.wav";
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
        EXPECT_EQ(app->ui.Slider2[2]->value(), 127);
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
    Tracks tracks;
    ASSERT_NO_FATAL_FAILURE(decodeUnpackedTracks(tracks));

    // Play: the second pass finds the lyric, the title block shows the typed fields.
    const long long started = playListening();
    ASSERT_TRUE(shows(*app, SongState::PackagePlaying));
    EXPECT_EQ(labels(), typedLabels("Twinkle Star"));
    ASSERT_TRUE(s.words.lyricsPresent);
    ASSERT_EQ(s.words.lyricLines.size(), 5u);
    EXPECT_EQ(s.words.lyricLines[2], "HOW I WONDER WHAT YOU ARE");
    expectTracksUnderOneMixer();

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
    ASSERT_GE(engine::testing::heard().size(), 44100u * 2 * 3);
    EXPECT_GT(heardRms(44100, 44100 * 5), 1000);
    engine::testing::keepHeard(false);
    mixAtTheStripsLevels(tracks);
}

TEST_F(PackageRoadTest, ATakeOverAnMp3WithTagLyricsBecomesAPackageThatLightsTheSongsWords) {
    // Words at song time: each line's first word begins with "/".
    const std::vector<testing::mp3::SyltEntry> words = {{"/Twin", 1000}, {"kle ", 1500},  {"/lit", 2000},
                                                        {"tle ", 2500},  {"/star", 3000}, {"", 4000}};
    useSyltSong(words, 9.0);
    singAndAnswerYes(6.0);
    EXPECT_EQ(boxTexts(), std::vector<std::string>{"Crea NVK(SI)  Crea Wave(NO) "});
    const fs::path nvk = song.parent_path() / "Evening Star.NVK";
    finishPackage("Evening Star", nvk);
    EXPECT_EQ(dialogs.shown().back().text, "NVK CREATO CON SUCCESSO!");

    // Reopened: the two encoded tracks, the song whole with its tag, the information text, and no
    // lyric file beside an MP3 song.
    load(nvk);
    ASSERT_TRUE(shows(*app, SongState::PackageReady));
    Session& s = app->s;
    std::vector<std::string> members;
    for (const auto& entry : fs::directory_iterator(work("TMPK"))) members.push_back(entry.path().filename());
    std::sort(members.begin(), members.end());
    EXPECT_EQ(members, (std::vector<std::string>{"BackingTrack.MP3", "Evening Star.txt", "ZZZZ.MP3",
                                                 "vocaltrack.MP3"}));
    ASSERT_EQ(s.stemCount, 3);
    EXPECT_EQ(s.trackFile[2], "ZZZZ.MP3");
    EXPECT_EQ(readBytes(work("TMPK/ZZZZ.MP3")), readBytes(song)) << "the song sung over, tag and all";
    ASSERT_NE(s.stems[2], 0u) << "the song is a track of its own";
    EXPECT_EQ(app->ui.Slider2[2]->value(), 127) << "the song sung over starts silent";
    // The song's tag gives the words on this first pass already.
    EXPECT_TRUE(s.syltPending);
    ASSERT_TRUE(s.words.lyricsPresent);
    EXPECT_EQ(s.words.lyricLines, (std::vector<std::string>{"", "TWINKLE ", "LITTLE ", "STAR"}));
    Tracks tracks;
    ASSERT_NO_FATAL_FAILURE(decodeUnpackedTracks(tracks));
    EXPECT_GT(rms(tracks.backing, 44100 * 2, 44100 * 8), 3000) << "the song is in the backing track";

    // Play: the title block shows the typed fields, the words are read once more and not doubled.
    const long long started = playListening();
    ASSERT_TRUE(shows(*app, SongState::PackagePlaying));
    EXPECT_EQ(labels(), typedLabels("Evening Star"));
    EXPECT_EQ(s.words.lyricLines, (std::vector<std::string>{"", "TWINKLE ", "LITTLE ", "STAR"}));
    EXPECT_TRUE(app->tmr.Timer1->enabled());
    EXPECT_TRUE(app->tmr.tmrSYLTmp3->enabled());
    expectTracksUnderOneMixer();

    // Word by word at the song's time, each line lighting with its first word. (The step moves to
    // a word only when one follows it, so the closing entry is never lit.)
    for (std::size_t k = 1; k < words.size(); ++k) {
        SCOPED_TRACE(k);
        ASSERT_TRUE(clock.advanceUntil([&] { return s.lyricPos >= static_cast<int>(k) + 1; }, 6000, 10));
        const long long lit = clock.nowMs() - started - words[k - 1].time;
        EXPECT_GE(lit, -50) << "lit before its time";
        EXPECT_LE(lit, 250) << "lit late";
        EXPECT_EQ(s.painter.currentLine, s.words.wordList[k].LineNo);
    }
    EXPECT_EQ(s.painter.currentLine, 3);
    ASSERT_GE(engine::testing::heard().size(), 44100u * 2 * 3);
    EXPECT_GT(heardRms(44100, 44100 * 5), 1000);
    // With the backing and the voice pulled down, the song sung over is not heard.
    testing::userSets(app->ui.Slider2[0], 127);
    testing::userSets(app->ui.Slider2[1], 127);
    clock.advance(500);
    engine::testing::clearHeard();
    clock.advance(500);
    EXPECT_GT(engine::testing::heard().size(), 44100u / 2);
    EXPECT_LT(heardRms(0, engine::testing::heard().size()), 1.0) << "the third track is silent";
    engine::testing::keepHeard(false);
    mixAtTheStripsLevels(tracks);
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
