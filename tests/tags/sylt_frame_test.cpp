// The synchronised lyric frame: its entries with their times, the descriptor, the whole text and
// its lines, in 8-bit and 16-bit text, and frames that end before their entries do.
#include "tags/tag_fixture.h"

namespace velvora::testing {
namespace {

using namespace mp3;

TEST_F(TagTest, SyltEntriesKeepTheirTimesAndTheArrayIsOneLonger) {
    const auto& r = read(tag(textFrame("TIT2", "Song") +
                             syltFrame({{"Twin", 1000}, {"kle ", 1500}, {"/lit", 2250}, {"tle", 4000000}})) +
                         mpegFrame());
    ASSERT_EQ(r.syltEventCount, 4);
    ASSERT_EQ(r.syltEvents.size(), 5u);
    EXPECT_EQ(r.syltEvents[0].text, "Twin");
    EXPECT_EQ(r.syltEvents[0].time, 1000.0f);
    EXPECT_EQ(r.syltEvents[2].text, "/lit");
    EXPECT_EQ(r.syltEvents[2].time, 2250.0f);
    EXPECT_EQ(r.syltEvents[3].time, 4000000.0f);
    EXPECT_EQ(r.syltEvents[4].text, "");
    EXPECT_EQ(r.syltDescriptor, "words");
    EXPECT_EQ(r.id3SyncText, "Twinkle /little");
    EXPECT_EQ(r.syltLines, std::vector<std::string>{"Twinkle /little"});
    EXPECT_EQ(r.id3Title, "Song");
}

TEST_F(TagTest, TwoSyltEventsGiveThreeElements) {
    const auto& r = read(tag(syltFrame({{"one", 1}, {"two", 2}})));
    EXPECT_EQ(r.syltEventCount, 2);
    EXPECT_EQ(r.syltEvents.size(), 3u);
}

TEST_F(TagTest, LineFeedsBecomeCrLfAndSplitTheLines) {
    const auto& r = read(tag(syltFrame({{"first line", 0}, {"\nsecond", 500}, {" part\nthird", 900}})));
    EXPECT_EQ(r.syltEvents[1].text, "\r\nsecond");
    EXPECT_EQ(r.id3SyncText, "first line\r\nsecond part\r\nthird");
    EXPECT_EQ(r.syltLines, (std::vector<std::string>{"first line", "second part", "third"}));
}

TEST_F(TagTest, SixteenBitSyltIsReadInUnitsAfterItsByteOrderMark) {
    const auto& r = read(tag(syltFrame({{"Hel", 10}, {"lo\nyou", 20}, {"", 30}}, true)));
    ASSERT_EQ(r.syltEventCount, 3);
    EXPECT_EQ(r.syltDescriptor, "words");
    EXPECT_EQ(r.syltEvents[0].text, "Hel");
    EXPECT_EQ(r.syltEvents[0].time, 10.0f);
    EXPECT_EQ(r.syltEvents[1].text, "lo\r\nyou");
    EXPECT_EQ(r.syltEvents[1].time, 20.0f);
    EXPECT_EQ(r.syltEvents[2].time, 30.0f);

    // Big-endian units after their own mark.
    const std::string be = bytes({1}) + "eng" + bytes({2, 1, 0xFE, 0xFF, 0, 'd', 0, 0}) +
                           bytes({0xFE, 0xFF, 0, 'A', 0, 0xE9, 0, 0}) + be32(77);
    const auto& b = read(tag(frame("SYLT", be)));
    ASSERT_EQ(b.syltEventCount, 1);
    EXPECT_EQ(b.syltDescriptor, "d");
    EXPECT_EQ(b.syltEvents[0].text, "A\xc3\xa9");
    EXPECT_EQ(b.syltEvents[0].time, 77.0f);
}

TEST_F(TagTest, EntryWithoutTerminatorOrTimeStampIsDropped) {
    const std::string head =
        bytes({0}) + "eng" + bytes({2, 1}) + "d" + bytes({0}) + "kept" + bytes({0}) + be32(5);
    EXPECT_EQ(read(tag(frame("SYLT", head + "\n"))).syltEventCount, 1) << "a dangling line feed";
    EXPECT_EQ(read(tag(frame("SYLT", head + "cut" + bytes({0, 0, 1})))).syltEventCount, 1)
        << "a cut time stamp";
    EXPECT_EQ(reader.syltEvents[0].text, "kept");
    EXPECT_EQ(reader.id3SyncText, "kept");
    EXPECT_EQ(read(tag(frame("SYLT", bytes({0}) + "en"))).syltEventCount, 0)
        << "a frame shorter than its header";
    EXPECT_EQ(read(tag(frame("SYLT", bytes({0}) + "eng" + bytes({2, 1}) + "no end"))).syltEventCount, 0);
    EXPECT_EQ(reader.syltDescriptor, "no end");
}

TEST_F(TagTest, LastSyltFrameStands) {
    const auto& r = read(tag(syltFrame({{"old", 1}, {"old2", 2}, {"old3", 3}}) + syltFrame({{"new", 9}})));
    EXPECT_EQ(r.syltEventCount, 1);
    EXPECT_EQ(r.syltEvents.size(), 2u);
    EXPECT_EQ(r.syltEvents[0].text, "new");
    EXPECT_EQ(r.id3SyncText, "new");
}

TEST_F(TagTest, ManyEntriesAreAllRead) {
    std::vector<SyltEntry> entries;
    for (int i = 0; i < 2000; ++i)
        entries.push_back({(i % 8 == 0 ? "/w" : "w") + std::to_string(i), 40u * i});
    const auto& r = read(tag(syltFrame(entries)) + mpegFrame());
    ASSERT_EQ(r.syltEventCount, 2000);
    EXPECT_EQ(r.syltEvents[1999].text, "w1999");
    EXPECT_EQ(r.syltEvents[1999].time, 79960.0f);
}

} // namespace
} // namespace velvora::testing
