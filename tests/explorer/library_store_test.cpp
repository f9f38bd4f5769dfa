#include "explorer/library_store.h"
#include "support/offscreen_app.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

namespace velvora::explorer {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

std::string slurp(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

TEST(LibraryStore, AnyBytesInNamesAndTextsComeBackAsTheyWere) {
    testing::ensureQtApplication();
    testing::TempFolder tmp;
    Library library;
    library.folders = {"/music/Canzoni \xe8 100%", "/music/tab\there"};
    SongRecord odd{
        "/music/Canzoni \xe8 100%/a\nb\r.kar", "Title\twith tab", "Art%20ist", "KAR", 185, false, ""};
    SongRecord gone{"/music/tab\there/x.mid", "X", "", "MIDI", -1, true, "not a MIDI file"};
    library.songs = {odd, gone};
    std::vector<QueueEntry> queue = {{odd.path, odd.title, "Giulia \xc3\xa8"}, {gone.path, "X", ""}};

    LibraryStore store(tmp.str());
    EXPECT_EQ(store.saveLibrary(library), "");
    EXPECT_EQ(store.saveQueue(queue), "");
    EXPECT_EQ(slurp(tmp.path() / kLibraryFile).find('\r'), std::string::npos)
        << "one record a line, whatever the bytes";

    Library read;
    std::vector<QueueEntry> readQueue;
    const LoadReport report = LibraryStore(tmp.str()).load(read, readQueue);
    EXPECT_TRUE(report.problems.empty());
    EXPECT_EQ(read.folders, library.folders);
    ASSERT_EQ(read.songs.size(), 2u);
    EXPECT_EQ(read.songs[0].path, odd.path);
    EXPECT_EQ(read.songs[0].title, odd.title);
    EXPECT_EQ(read.songs[0].artist, odd.artist);
    EXPECT_EQ(read.songs[0].seconds, 185);
    EXPECT_TRUE(read.songs[1].missing);
    EXPECT_EQ(read.songs[1].seconds, -1);
    EXPECT_EQ(read.songs[1].problem, "not a MIDI file");
    ASSERT_EQ(readQueue.size(), 2u);
    EXPECT_EQ(readQueue[0].singer, "Giulia \xc3\xa8");
    EXPECT_EQ(readQueue[1].path, gone.path);
}

TEST(LibraryStore, DamagedLinesAreLeftOutAndCountedTheRestIsRead) {
    Library library;
    const ParseResult r = parseLibrary("velvora-explorer-library 1\r\n"
                                       "F\t/music\n"
                                       "S\t/music/a.kar\tA\t\tKAR\t12\t0\t\n"
                                       "S\t/music/b.kar\tB\t\tKAR\ttwelve\t0\t\n"      // seconds not a number
                                       "S\t/music/c.kar\tC\t\tKAR\t12\t0\n"            // a field short
                                       "S\t/music/d%4.kar\tD\t\tKAR\t12\t0\t\n"        // a broken escape
                                       "S\t/music/e.kar\tE\t\tKAR\t99999999999\t0\t\n" // beyond any length
                                       "Z\tsomething else\n"
                                       "S\t/music/f.kar\tF\t\tKAR\t-1\t1\tmissing\n",
                                       library);
    EXPECT_EQ(r.header, StoreHeader::Good);
    EXPECT_EQ(r.badLines, 5);
    ASSERT_EQ(library.songs.size(), 2u);
    EXPECT_EQ(library.songs[0].title, "A");
    EXPECT_EQ(library.songs[1].title, "F");
    EXPECT_TRUE(library.songs[1].missing);

    std::vector<QueueEntry> queue;
    EXPECT_EQ(parseQueue("velvora-explorer-queue 2\nQ\t/a\tA\t\n", queue).header, StoreHeader::Newer);
    EXPECT_TRUE(queue.empty()) << "a newer file is not half-read";
    EXPECT_EQ(parseQueue("velvora-explorer-queue one\nQ\t/a\tA\t\n", queue).header, StoreHeader::Damaged);
    EXPECT_EQ(parseQueue("", queue).header, StoreHeader::Damaged);
    EXPECT_EQ(parseQueue("velvora-explorer-queue 1", queue).header, StoreHeader::Good);
}

TEST(LibraryStore, ABadLineIsSaidAtLoadAndTheFileIsWrittenWholeAgain) {
    testing::ensureQtApplication();
    testing::TempFolder tmp;
    std::ofstream(tmp.path() / kQueueFile, std::ios::binary)
        << "velvora-explorer-queue 1\nQ\t/a.kar\tA\t\nQ\tbroken\n";
    Library library;
    std::vector<QueueEntry> queue;
    LibraryStore store(tmp.str());
    const LoadReport report = store.load(library, queue);
    EXPECT_THAT(report.problems, ElementsAre(HasSubstr("1 line(s) of explorer-queue.txt could not be read")));
    ASSERT_EQ(queue.size(), 1u);
    EXPECT_EQ(store.saveQueue(queue), "");
    EXPECT_EQ(slurp(tmp.path() / kQueueFile), "velvora-explorer-queue 1\nQ\t/a.kar\tA\t\n");
    std::vector<std::string> files;
    for (const auto& e : fs::directory_iterator(tmp.path())) files.push_back(e.path().filename().string());
    EXPECT_THAT(files, ElementsAre(kQueueFile)) << "no temporary file left beside it";
}

} // namespace
} // namespace velvora::explorer
