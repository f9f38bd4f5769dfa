#include "explorer/folder_walk.h"
#include "explorer/song_folder.h"
#include "explorer/song_reader.h"
#include "explorer/song_search.h"
#include "support/offscreen_app.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <atomic>
#include <filesystem>

namespace velvora::explorer {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

std::vector<std::string> names(const std::vector<std::string>& paths) {
    std::vector<std::string> out;
    for (const std::string& p : paths) out.push_back(fs::path(p).filename().string());
    return out;
}

TEST(FolderWalk, ListsSongFilesBelowTheFolderAndPassesOverTheRest) {
    testing::TempFolder tmp;
    const fs::path root = tmp.path() / "songs";
    testing::writeSongFolder(root);
    fs::create_directories(root / "more" / "deeper");
    miditest::writeFile(root / "more" / "deeper" / "LOUD.KAR", testing::karaokeMidi({"a"}));
    miditest::writeFile(root / "notes.txt", "not a song");
    const std::atomic<bool> stop{false};

    const FolderListing listing = listSongs(root.string(), stop);
    EXPECT_THAT(names(listing.songs),
                ElementsAre("Blue Moon.mid", "Broken.kar", "Tone.wav", "Twinkle.kar", "LOUD.KAR"))
        << "in the order of their paths";
    EXPECT_THAT(listing.problems, IsEmpty());
}

TEST(FolderWalk, LinksInALoopEndAndOddEntriesAreReportedNotRead) {
    testing::TempFolder tmp;
    const fs::path root = tmp.path() / "songs";
    fs::create_directories(root / "a" / "b");
    miditest::writeFile(root / "a" / "b" / "Song.kar", testing::karaokeMidi({"a"}));
    fs::create_directory_symlink(root, root / "a" / "b" / "back to the top");
    fs::create_directory_symlink(root / "a", root / "a" / "b" / "back to a");
    fs::create_symlink(root / "nowhere.kar", root / "Dangling.kar");
    ASSERT_EQ(mkfifo((root / "Pipe.mid").c_str(), 0600), 0);
    // A name that is not UTF-8 (Latin-1 "è").
    const std::string latin1 = (root / "Canzone \xe8.mid").string();
    miditest::writeFile(latin1, testing::namedMidi("Canzone"));
    const std::atomic<bool> stop{false};

    const FolderListing listing = listSongs(root.string(), stop);
    EXPECT_THAT(listing.songs, ElementsAre(latin1, (root / "a" / "b" / "Song.kar").string()));
    ASSERT_EQ(listing.problems.size(), 4u);
    std::string all;
    for (const std::string& p : listing.problems) all += p + "\n";
    EXPECT_THAT(all, HasSubstr("back to the top: leads back to a folder already listed"));
    EXPECT_THAT(all, HasSubstr("back to a: leads back to a folder already listed"));
    EXPECT_THAT(all, HasSubstr("Dangling.kar: cannot be reached"));
    EXPECT_THAT(all, HasSubstr("Pipe.mid: is not a plain file"));

    const SongRecord odd = readSong(latin1);
    EXPECT_EQ(odd.title, "Canzone");
    EXPECT_EQ(displayName(latin1), "Canzone \xc3\xa8") << "a name that is not UTF-8 reads as Windows-1252";
    EXPECT_EQ(displayName((root / "Canzone \xc3\xa8.kar").string()), "Canzone \xc3\xa8");
}

TEST(FolderWalk, AFolderThatIsNotThereIsReported) {
    const std::atomic<bool> stop{false};
    const FolderListing listing = listSongs("/nonexistent/velvora/songs", stop);
    EXPECT_THAT(listing.songs, IsEmpty());
    ASSERT_EQ(listing.problems.size(), 1u);
    EXPECT_THAT(listing.problems[0], HasSubstr("cannot be opened"));
}

TEST(SongReader, TitlesAndArtistsComeFromTheProgramsScannersOrTheFileName) {
    testing::TempFolder tmp;
    testing::writeSongFolder(tmp.path());
    miditest::writeFile(tmp.path() / "Signed.mid", testing::namedMidi("Volare", "(C) 2001 Modugno"));

    const SongRecord kar = readSong((tmp.path() / "Twinkle.kar").string());
    EXPECT_EQ(kar.title, "Test Song") << "the karaoke title mark, without the bytes behind it";
    EXPECT_EQ(kar.kind, "KAR");
    EXPECT_EQ(kar.problem, "");
    const SongRecord mid = readSong((tmp.path() / "Blue Moon.mid").string());
    EXPECT_EQ(mid.title, "Blue Moon");
    EXPECT_EQ(mid.kind, "MIDI");
    EXPECT_EQ(readSong((tmp.path() / "Signed.mid").string()).artist, "Modugno");

    const SongRecord broken = readSong((tmp.path() / "Broken.kar").string());
    EXPECT_EQ(broken.title, "Broken");
    EXPECT_EQ(broken.problem, "not a MIDI file");
    const SongRecord gone = readSong((tmp.path() / "Gone.kar").string());
    EXPECT_TRUE(gone.missing);
    EXPECT_EQ(gone.title, "Gone");
    const SongRecord wav = readSong((tmp.path() / "Tone.wav").string());
    EXPECT_EQ(wav.title, "Tone");
    EXPECT_EQ(wav.kind, "WAV");
}

TEST(SongSearch, EveryWordMustMatchTitleArtistOrFileNameInAnyCase) {
    testing::ensureQtApplication();
    std::vector<SongRecord> songs(4);
    songs[0] = {"/m/volare.kar", "Nel Blu Dipinto Di Blu", "Domenico Modugno", "KAR", 200, false, {}};
    songs[1] = {"/m/fly.mid", "Fly Me To The Moon", "Sinatra", "MIDI", 150, false, {}};
    songs[2] = {"/m/perche.mp3", "PERCHÈ", "Unknown", "MP3", 180, false, {}};
    songs[3] = {"/m/Blue Moon.wav", "Untitled", "", "WAV", -1, false, {}};
    SongIndex index;
    index.rebuild(songs);

    EXPECT_THAT(index.search(""), ElementsAre(0, 1, 2, 3));
    EXPECT_THAT(index.search("blu"), ElementsAre(0, 3)) << "title of one, file name of the other";
    EXPECT_THAT(index.search("MOON sinatra"), ElementsAre(1));
    EXPECT_THAT(index.search("  modugno   blu "), ElementsAre(0));
    EXPECT_THAT(index.search("perchè"), ElementsAre(2)) << "accented letters fold too";
    EXPECT_THAT(index.search("moon blu sinatra"), IsEmpty());

    songs[3].title = "Sinatra Medley";
    index.set(3, songs[3]);
    EXPECT_THAT(index.search("sinatra"), ElementsAre(1, 3));
}

} // namespace
} // namespace velvora::explorer
