#include "cdg/busy_song.h"
#include "core/controls.h"
#include "core/song_state.h"
#include "encoding/wav_to_mp3.h"
#include "explorer/explorer_window.h"
#include "explorer/song_folder.h"
#include "explorer/song_reader.h"
#include "support/app_fixture.h"
#include "support/song_files.h"
#include "transport/playlist.h"
#include "transport/transport.h"

#include <gmock/gmock.h>

#include <QCoreApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QListWidget>
#include <QTableView>

#include <filesystem>
#include <fstream>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using explorer::ExplorerWindow;
using explorer::SongRecord;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::UnorderedElementsAre;

class ExplorerTest : public testing::AppFixture {
  protected:
    ExplorerWindow& explorer() { return window.explorer(); }
    fs::path songs() const { return folder.path() / "music"; }

    // Starts the program, writes the song folder and has the explorer scan it.
    void startWithSongs() {
        start();
        testing::writeSongFolder(songs());
        explorer().addFolder(songs().string());
        explorer().waitForScan();
    }
    std::vector<std::string> shownTitles() {
        std::vector<std::string> out;
        for (int row = 0; row < explorer().model().rowCount(); ++row)
            out.push_back(explorer().model().songAt(row)->title);
        return out;
    }
    const SongRecord& song(const std::string& file) {
        const SongRecord* s = explorer().model().find((songs() / file).string());
        EXPECT_NE(s, nullptr) << file;
        static const SongRecord none;
        return s ? *s : none;
    }
    void key(QWidget* w, int k) {
        QKeyEvent press(QEvent::KeyPress, k, Qt::NoModifier);
        QCoreApplication::sendEvent(w, &press);
    }
    // Selects the first row whose title is `title` and presses Enter in the table.
    void queueByEnter(const std::string& title) {
        for (int row = 0; row < explorer().model().rowCount(); ++row)
            if (explorer().model().songAt(row)->title == title)
                explorer().songTable()->setCurrentIndex(explorer().model().index(row, 0));
        key(explorer().songTable(), Qt::Key_Return);
    }
    std::vector<std::string> queuedTitles() {
        std::vector<std::string> out;
        for (const auto& e : explorer().queue()) out.push_back(e.title);
        return out;
    }
};

TEST_F(ExplorerTest, AFolderOfSongsIsListedWithWhatTheScannersSay) {
    startWithSongs();
    EXPECT_THAT(shownTitles(), ElementsAre("Blue Moon", "Broken", "Test Song", "Tone"));
    EXPECT_EQ(explorer().progressBar()->value(), 4);
    EXPECT_EQ(explorer().progressBar()->maximum(), 4);

    EXPECT_EQ(song("Twinkle.kar").kind, "KAR");
    EXPECT_EQ(song("Blue Moon.mid").kind, "MIDI");
    EXPECT_GT(song("Blue Moon.mid").seconds, 0) << "eight quarter notes at 120 bpm: about four seconds";
    EXPECT_LE(song("Blue Moon.mid").seconds, 5);
    EXPECT_EQ(song("Tone.wav").seconds, 2);
    EXPECT_EQ(song("Broken.kar").problem, "not a MIDI file") << "listed, and says why it could not be read";
    EXPECT_EQ(
        explorer().model().data(explorer().model().index(1, explorer::LibraryModel::Status), Qt::DisplayRole),
        "not a MIDI file");
}

TEST_F(ExplorerTest, RealFilesOfOthersAreAllListedOddOnesWithWhatWentWrong) {
    start();
    const fs::path real = fs::path(VELVORA_REALDATA);
    if (!fs::exists(real)) GTEST_SKIP() << "no " << real;
    explorer().addFolder(real.string());
    explorer().waitForScan();
    std::size_t songs = 0, withProblem = 0;
    for (const auto& e : fs::recursive_directory_iterator(real))
        if (e.is_regular_file() && !explorer::songKind(e.path().string()).empty()) ++songs;
    for (const SongRecord& s : explorer().model().songs()) {
        withProblem += !s.problem.empty();
        EXPECT_EQ(std::count_if(s.title.begin(), s.title.end(),
                                [](char c) { return static_cast<unsigned char>(c) < 0x20; }),
                  0)
            << "a title is one clean line: " << s.path;
    }
    EXPECT_EQ(explorer().model().songs().size(), songs) << "every song file is listed, readable or not";
    EXPECT_GT(withProblem, 0u) << "the broken headers among them say so";
    const SongRecord* twinkle =
        explorer().model().find((real / "kar_mid_lyrics" / "dmidiplayer__twinkle.kar").string());
    ASSERT_NE(twinkle, nullptr);
    EXPECT_FALSE(twinkle->title.empty());
    EXPECT_GT(twinkle->seconds, 0);
}

TEST_F(ExplorerTest, TypingNarrowsTheListAndClearingShowsAllAgain) {
    startWithSongs();
    explorer().searchBox()->setText("moon");
    EXPECT_THAT(shownTitles(), ElementsAre("Blue Moon"));
    explorer().searchBox()->setText("TWINKLE");
    EXPECT_THAT(shownTitles(), ElementsAre("Test Song")) << "the file name counts";
    explorer().searchBox()->setText("on");
    EXPECT_THAT(shownTitles(), ElementsAre("Blue Moon", "Test Song", "Tone"));
    explorer().searchBox()->setText("zzz");
    EXPECT_THAT(shownTitles(), ::testing::IsEmpty());
    explorer().searchBox()->clear();
    EXPECT_EQ(shownTitles().size(), 4u);
}

TEST_F(ExplorerTest, PlayNextOpensTheFirstQueuedSongAndShowsTheSecondInLblPrenota) {
    startWithSongs();
    explorer().singerBox()->setText("Anna");
    queueByEnter("Test Song");
    explorer().singerBox()->setText("");
    queueByEnter("Tone");
    explorer().singerBox()->setText("Marco");
    const QModelIndex moon = explorer().model().index(0, 0);
    emit explorer().songTable()->doubleClicked(moon);
    EXPECT_THAT(queuedTitles(), ElementsAre("Test Song", "Tone", "Blue Moon"));
    EXPECT_EQ(caption(app->ui.LblPrenota), "Next: Test Song (Anna)");

    explorer().playNext();
    EXPECT_EQ(app->s.FileName, (songs() / "Twinkle.kar").string()) << "the queued song is the song in hand";
    EXPECT_TRUE(shows(*app, SongState::MidiReady));
    EXPECT_NE(app->s.chan.load(), 0u);
    EXPECT_EQ(caption(app->ui.LblPrenota), "Next: Tone");
    EXPECT_THAT(queuedTitles(), ElementsAre("Tone", "Blue Moon"));

    // While it plays, the next song is refused as the Play button of the other kind refuses.
    transport::Cmd_play_Click(*app);
    clock.advance(500);
    dialogs.answer(platform::vbOK);
    explorer().playNext();
    ASSERT_FALSE(dialogs.shown().empty());
    EXPECT_EQ(dialogs.shown().back().text, "PREMI STOP");
    EXPECT_EQ(dialogs.shown().back().caption, "Velvora");
    EXPECT_EQ(app->s.FileName, (songs() / "Twinkle.kar").string());
    EXPECT_TRUE(app->s.midiActive) << "the song goes on";
    EXPECT_THAT(queuedTitles(), ElementsAre("Tone", "Blue Moon"));

    // Stopped, the next one opens: an audio song after a MIDI one shows its own Play button.
    transport::Cmd_Stop_Click(*app);
    explorer().playNext();
    EXPECT_EQ(app->s.FileName, (songs() / "Tone.wav").string());
    EXPECT_TRUE(shows(*app, SongState::AudioReady));
    EXPECT_EQ(caption(app->ui.LblPrenota), "Next: Blue Moon (Marco)");
    transport::CmdPlw_Click(*app);
    clock.advance(300);
    EXPECT_EQ(BASS_ChannelIsActive(app->s.chan), 1u) << "the queued audio song plays";
    transport::CmdStw_Click(*app);
}

TEST_F(ExplorerTest, AnMp3WithItsGraphicsIsOneCdgSongThatOpensWithItsScreen) {
    start();
    fs::create_directories(songs());
    const fs::path wav = folder.path() / "tone.wav";
    testing::writeToneWav(wav, 3.0);
    ASSERT_EQ(
        encoding::convertWavToMp3(wav.string(), (songs() / "Night Train.mp3").string(), "velvora").status,
        encoding::ConvertOutcome::Done);
    ASSERT_EQ(encoding::convertWavToMp3(wav.string(), (songs() / "Plain.mp3").string(), "velvora").status,
              encoding::ConvertOutcome::Done);
    const auto graphics = testing::busyCdg(3);
    for (const char* name : {"Night Train.CDG", "Lone.cdg"})
        std::ofstream(songs() / name, std::ios::binary)
            .write(reinterpret_cast<const char*>(graphics.data()),
                   static_cast<std::streamsize>(graphics.size()));
    explorer().addFolder(songs().string());
    explorer().waitForScan();

    EXPECT_THAT(shownTitles(), UnorderedElementsAre("Night Train", "Lone", "Plain"))
        << "the MP3 beside its graphics is not listed a second time";
    const SongRecord& pair = song("Night Train.CDG");
    EXPECT_EQ(pair.kind, "CD+G");
    EXPECT_EQ(pair.seconds, 3) << "the length of the MP3 beside it";
    EXPECT_EQ(pair.problem, "");
    EXPECT_EQ(song("Plain.mp3").kind, "MP3");
    EXPECT_EQ(song("Lone.cdg").problem, "has no MP3 of the same name beside it");

    queueByEnter("Night Train");
    explorer().playNext();
    EXPECT_EQ(app->s.FileName, (songs() / "Night Train.CDG").string());
    EXPECT_TRUE(shows(*app, SongState::AudioReady));
    EXPECT_NE(app->s.cdgGraphics, nullptr) << "the graphics take the lyric page";
    transport::CmdPlw_Click(*app);
    clock.advance(300);
    EXPECT_EQ(BASS_ChannelIsActive(app->s.chan), 1u) << "the MP3 plays";
    transport::CmdStw_Click(*app);
}

TEST_F(ExplorerTest, TheQueueIsReorderedAndTrimmedAndSurvivesARestart) {
    startWithSongs();
    queueByEnter("Test Song");
    queueByEnter("Tone");
    explorer().singerBox()->setText("Giulia \xc3\xa8");
    queueByEnter("Blue Moon");

    // A drag moves the list's rows; the queue takes the list's new order.
    QListWidget* list = explorer().queueList();
    list->model()->moveRow(QModelIndex(), 2, QModelIndex(), 0);
    EXPECT_THAT(queuedTitles(), ElementsAre("Blue Moon", "Test Song", "Tone"));
    EXPECT_EQ(caption(app->ui.LblPrenota), "Next: Blue Moon (Giulia \xc3\xa8)");
    list->setCurrentRow(1);
    key(list, Qt::Key_Delete);
    EXPECT_THAT(queuedTitles(), ElementsAre("Blue Moon", "Tone"));

    // The next run: a new explorer over the same program folder, loaded at start and shown.
    ExplorerWindow again(*app);
    again.ensureLoaded();
    fs::remove(songs() / "Blue Moon.mid");
    again.showExplorer();
    again.waitForScan();
    ASSERT_NE(again.model().find((songs() / "Blue Moon.mid").string()), nullptr);
    EXPECT_TRUE(again.model().find((songs() / "Blue Moon.mid").string())->missing)
        << "the first show looks at the folders again";
    ASSERT_EQ(again.queue().size(), 2u);
    EXPECT_EQ(again.queue()[0].title, "Blue Moon");
    EXPECT_EQ(again.queue()[0].singer, "Giulia \xc3\xa8");
    EXPECT_EQ(again.queue()[1].path, (songs() / "Tone.wav").string());
    EXPECT_EQ(again.folders(), std::vector<std::string>{songs().string()});
    EXPECT_EQ(again.model().songs().size(), 4u) << "the library too";
    EXPECT_EQ(caption(app->ui.LblPrenota), "Next: Blue Moon (Giulia \xc3\xa8)");
}

TEST_F(ExplorerTest, ASongThatDisappearedIsShownMissingAndIsNotOpened) {
    startWithSongs();
    queueByEnter("Tone");
    fs::remove(songs() / "Tone.wav");
    explorer().rescan();
    explorer().waitForScan();
    EXPECT_TRUE(song("Tone.wav").missing);
    EXPECT_THAT(shownTitles(), ElementsAre("Blue Moon", "Broken", "Test Song", "Tone")) << "still listed";
    EXPECT_THAT(explorer().queueList()->item(0)->text().toStdString(), HasSubstr("(missing)"));

    explorer().playNext();
    EXPECT_EQ(app->s.FileName, "") << "nothing opened";
    EXPECT_EQ(explorer().queue().size(), 1u);
    EXPECT_THAT(explorer().problems().back(), HasSubstr("Tone.wav: missing"));
}

TEST_F(ExplorerTest, ThePlaylistButtonShowsAndHidesTheWindowAsBefore) {
    start();
    EXPECT_FALSE(explorer().isVisible());
    transport::CmdEx_Click(*app);
    EXPECT_TRUE(app->s.explorerOpen);
    EXPECT_TRUE(explorer().isVisible());
    setEnabled(app->ui.CmdCarica, false);
    transport::CmdEx_Click(*app);
    EXPECT_FALSE(app->s.explorerOpen);
    EXPECT_FALSE(explorer().isVisible());
    EXPECT_TRUE(app->ui.CmdCarica->isEnabled());

    // Closing the window is the button pressed while it is open.
    transport::CmdEx_Click(*app);
    explorer().close();
    EXPECT_FALSE(app->s.explorerOpen);
    EXPECT_FALSE(explorer().isVisible());
}

TEST_F(ExplorerTest, ADamagedOrNewerLibraryIsSaidAndNothingOfItIsLost) {
    start();
    const fs::path lib = fs::path(app->appFolder) / "explorer-library.txt";
    const fs::path queue = fs::path(app->appFolder) / "explorer-queue.txt";
    std::ofstream(lib, std::ios::binary) << "\x89PNG garbage\n\x01\x02";
    std::ofstream(queue, std::ios::binary) << "velvora-explorer-queue 7\nQ\tsomething new\n";

    explorer().ensureLoaded();
    ASSERT_EQ(explorer().problems().size(), 2u);
    EXPECT_THAT(explorer().problems()[0], HasSubstr("kept as explorer-library.txt.damaged"));
    EXPECT_THAT(explorer().problems()[1], HasSubstr("newer version"));
    EXPECT_TRUE(fs::exists(lib.string() + ".damaged"));

    testing::writeSongFolder(songs());
    explorer().addFolder(songs().string());
    explorer().waitForScan();
    explorer().enqueue((songs() / "Tone.wav").string());
    EXPECT_EQ(explorer().model().songs().size(), 4u) << "the explorer goes on";
    std::ifstream in(queue, std::ios::binary);
    const std::string kept((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(kept, "velvora-explorer-queue 7\nQ\tsomething new\n") << "a newer file is left as it was";
    EXPECT_TRUE(fs::exists(lib)) << "a new library begun";

    std::vector<std::string> written;
    for (const auto& e : fs::directory_iterator(app->appFolder))
        written.push_back(e.path().filename().string());
    EXPECT_THAT(written, ::testing::IsSupersetOf({"explorer-library.txt", "explorer-library.txt.damaged"}));
}

} // namespace
} // namespace velvora
