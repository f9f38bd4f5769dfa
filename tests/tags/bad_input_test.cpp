// Sizes that lie and bytes that are no tag: the readers end with what they have, never read
// outside the file, never allocate more than the file holds, and never write anything.
#include "tags/allocation_probe.h"
#include "tags/mpeg_info.h"
#include "tags/tag_fixture.h"

#include <filesystem>
#include <random>

namespace velvora::testing {
namespace {

using namespace mp3;
namespace fs = std::filesystem;

class BadInputTest : public TagTest {
  protected:
    // Reads the file both ways and gives the largest single allocation made meanwhile.
    std::size_t readBoth(const std::string& path) {
        AllocationProbe probe;
        reader.ReadID3v23(path, false, false);
        tags::mMP3 module;
        module.ReadEndTags(path);
        return probe.largest();
    }
    // Pads `content` to a kilobyte with bytes that hold no frame sync.
    static std::string kilobyte(std::string content) {
        if (content.size() < 1024) content.resize(1024, 'x');
        return content;
    }
};

TEST_F(BadInputTest, DeclaredSizesFarBeyondTheFileAllocateNoMoreThanTheFile) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"tag of 256 MB", kilobyte(tag(textFrame("TIT2", "T"), 0, 3, 0, 0x0FFFFFFF))},
        {"SYLT past the tag and the file",
         kilobyte(tag(frame("SYLT", syltData({{"a", 1}}), 0, be32(0xFFFFFFF0)), 0, 3, 0, 40))},
        {"APIC of 4 GB", kilobyte(tag(frame("APIC", "x", 0, be32(0xFFFFFFFF))))},
        {"text frame of 256 MB", kilobyte(tag(frame("TIT2", "x", 0, synchsafe(0x0FFFFFFF))))},
        {"extended header of 256 MB", kilobyte(tag(synchsafe(0x0FFFFFFF) + std::string(9, '\0'), 0x40))},
        {"Lyrics3 size not a number", kilobyte(mpegFrame()) + "LYRICSBEGINLYR00003abcNUMBERLYRICS200"},
        {"Lyrics3 size of a megabyte", kilobyte("") + "LYRICSBEGINLYR00003abc999999LYRICS200"},
        {"Lyrics3 field of 99999", kilobyte("") + "LYRICSBEGINLYR99999abc000022LYRICS200"},
    };
    for (const auto& [what, content] : cases) {
        SCOPED_TRACE(what);
        const std::string path = file(content);
        const std::size_t largest = readBoth(path);
        EXPECT_LE(largest, content.size());
        EXPECT_EQ(reader.syltEventCount, 0);
    }
}

TEST_F(BadInputTest, SyltFrameRunningPastTheFileEndsTheReadWithWhatCameBefore) {
    const std::string content =
        tag(textFrame("TIT2", "Before") + frame("SYLT", syltData({{"la", 5}}), 0, be32(5000)));
    const auto& r = read(content);
    EXPECT_EQ(r.id3Title, "Before");
    EXPECT_EQ(r.syltEventCount, 0);
}

TEST_F(BadInputTest, EveryCutOfAGoodFileIsReadWithoutHarm) {
    const std::string good = tag(textFrame("TIT2", "Title") + syltFrame({{"one", 1}, {"/two", 2}}, true) +
                                     frame("APIC", bytes({0}) + "image/png" + bytes({0, 3, 'd', 0}) + "PNG") +
                                     frame("COMM", bytes({0}) + "eng" + bytes({0}) + "c"),
                                 0, 3, 30) +
                             mpegFrame(1000) + mpegFrame() + lyrics3({{"LYR", "words"}}) + id3v1("T", "A");
    const std::string path = (folder.path() / "cut.mp3").string();
    for (std::size_t n = 0; n <= good.size(); n += (n < 200 || n + 300 > good.size()) ? 1 : 37) {
        write(path, good.substr(0, n));
        reader.ReadID3v23(path, false, false);
        tags::mMP3 module;
        module.ReadEndTags(path);
        ASSERT_EQ(reader.syltEvents.size(), static_cast<std::size_t>(reader.syltEventCount) + 1) << n;
        ASSERT_LE(reader.syltEventCount, 2) << n;
    }
    reader.ReadID3v23(path, false, false);
    EXPECT_EQ(reader.syltEventCount, 2);
}

TEST_F(BadInputTest, RandomBytesAfterAValidHeaderEndQuietly) {
    std::mt19937 random(11);
    const std::string path = (folder.path() / "noise.mp3").string();
    for (int round = 0; round < 200; ++round) {
        std::string noise(1 + random() % 3000, '\0');
        for (char& c : noise) c = static_cast<char>(random());
        const std::string content = "ID3" + bytes({3, 0, static_cast<int>(random() % 2) * 0x40}) +
                                    synchsafe(random() % 0x0FFFFFFF) + noise;
        write(path, content);
        EXPECT_LE(readBoth(path), std::max<std::size_t>(content.size(), 64 * 1024)) << round;
    }
    EXPECT_TRUE(dialogs.shown().empty());
}

TEST_F(BadInputTest, ReadingTagsWritesNothing) {
    const std::string content =
        tag(syltFrame({{"a", 1}}), 0x80) + mpegFrame(100) + lyrics3({{"LYR", "x"}}) + id3v1("T", "A");
    const std::string path = file(content, "kept.mp3");
    fs::permissions(path, fs::perms::owner_read);
    const auto stamp = fs::last_write_time(path);
    reader.ReadID3v23(path, false, false);
    reader.ReadID3v23(path, true, true);
    tags::mMP3 module;
    module.ReadEndTags(path);
    EXPECT_EQ(fs::last_write_time(path), stamp);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()), 1);
    std::ifstream in(path, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), content);
    EXPECT_EQ(dialogs.shown().size(), 1u) << "the unsynchronised tag's message";
    fs::permissions(path, fs::perms::owner_all);
}

} // namespace
} // namespace velvora::testing
