// The ID3v2.3 reader over tags built byte by byte: the frames it knows, the versions it refuses,
// and the odd cases it treats in its own way.
#include "tags/tag_fixture.h"

namespace velvora::testing {
namespace {

using namespace mp3;

TEST_F(TagTest, TextFramesCommentUrlsAndLyricsLandInTheirValues) {
    const std::string frames =
        textFrame("TIT2", "Yesterday") + textFrame("TPE1", "The Band") + textFrame("TALB", "Album") +
        textFrame("TYER", "1965") + textFrame("TCON", "(13)") + textFrame("TENC", "enc") +
        textFrame("TCOM", "Composer") + textFrame("TOPE", "Original") + textFrame("TCOP", "(c) me") +
        textFrame("TIT3", "Sub") + textFrame("TLAN", "eng") +
        frame("COMM", bytes({0}) + "engshort" + bytes({0}) + "The comment") +
        frame("WXXX", bytes({0}) + "home" + bytes({0}) + "http://a.example") +
        frame("WXXX", bytes({0}) + "shop" + bytes({0}) + "http://b.example") +
        frame("USLT", bytes({0}) + "eng" + "desc" + bytes({0}) + "Line one");
    const auto& r = read(tag(frames) + mpegFrame());
    EXPECT_EQ(r.id3Title, "Yesterday");
    EXPECT_EQ(r.id3Artist, "The Band");
    EXPECT_EQ(r.id3Album, "Album");
    EXPECT_EQ(r.id3Year, "1965");
    EXPECT_EQ(r.id3Genre, "(13)");
    EXPECT_EQ(r.id3EncodedBy, "enc");
    EXPECT_EQ(r.id3Composer, "Composer");
    EXPECT_EQ(r.id3OrigArtist, "Original");
    EXPECT_EQ(r.id3Rights, "(c) me");
    EXPECT_EQ(r.id3Subtitle, "Sub");
    EXPECT_EQ(r.id3Language, "eng");
    EXPECT_EQ(r.id3Comment, "The comment");
    EXPECT_EQ(r.id3Urls, "home->http://a.example|shop->http://b.example");
    EXPECT_EQ(r.id3UnsyncLyrics, "engdesc\r\nLine one");
    EXPECT_EQ(r.id3Others, "");
    EXPECT_FALSE(r.id3HasTag) << "only a test-only read says that the tag is there";
    EXPECT_TRUE(dialogs.shown().empty());
}

TEST_F(TagTest, TextInWindows1252ComesOutAsUtf8) {
    const auto& r = read(tag(textFrame("TIT2", "Caf\xe9 \x80")));
    EXPECT_EQ(r.id3Title, "Caf\xc3\xa9 \xe2\x82\xac");
}

TEST_F(TagTest, TrackNumberAndTotalAreTakenOnlyWhenNumeric) {
    EXPECT_EQ(read(tag(textFrame("TRCK", "3/12"))).id3Track, 3);
    EXPECT_EQ(reader.id3TrackTotal, 12);
    EXPECT_EQ(read(tag(textFrame("TRCK", "3"))).id3Track, 3);
    EXPECT_EQ(reader.id3TrackTotal, 0);
    EXPECT_EQ(read(tag(textFrame("TRCK", "A/7"))).id3Track, 0);
    EXPECT_EQ(reader.id3TrackTotal, 7);
    EXPECT_EQ(read(tag(textFrame("TRCK", "300/x"))).id3Track, 0) << "a track above 255 does not fit";
    EXPECT_EQ(reader.id3TrackTotal, 0);
}

TEST_F(TagTest, UnknownFramesAreGatheredUnlessSkipped) {
    const std::string frames = textFrame("TEXT", std::string("Words") + '\0' + "more") +
                               textFrame("TBPM", "120") + textFrame("TIT2", "T");
    EXPECT_EQ(read(tag(frames)).id3Others, "TEXT=\"Words more\"|TBPM=\"120\"");
    EXPECT_EQ(reader.id3Title, "T");
    // Skipped, an unknown frame is read with the size of the frame before it: here the same.
    const std::string sameSizes = textFrame("TIT2", "T") + textFrame("TBPM", "1") + textFrame("TALB", "A");
    EXPECT_EQ(read(tag(sameSizes), true).id3Others, "");
    EXPECT_EQ(reader.id3Album, "A");
}

TEST_F(TagTest, SkippedUnknownFrameTakesTheSizeOfTheFrameBeforeIt) {
    // The unknown frame claims 50 bytes but is read with the 3 of the TIT2 before it: the TPE1
    // behind it is then found at once.
    const std::string frames =
        textFrame("TIT2", "AB") + frame("XXXX", "abc", 0, be32(50)) + textFrame("TPE1", "Who");
    EXPECT_EQ(read(tag(frames), true).id3Artist, "Who");
    EXPECT_EQ(read(tag(frames), false).id3Artist, "") << "not skipped, its own size is used";
}

TEST_F(TagTest, OtherVersionsAreNoTagAndShowNothing) {
    for (int major : {2, 4}) {
        SCOPED_TRACE(major);
        const auto& r = read(tag(textFrame("TIT2", "Title"), 0, major));
        EXPECT_EQ(r.id3Title, "");
        reader.ReadID3v23(file(tag(textFrame("TIT2", "Title"), 0, major)), false, true);
        EXPECT_FALSE(reader.id3HasTag);
    }
    reader.ReadID3v23(file(tag(textFrame("TIT2", "Title"))), false, true);
    EXPECT_TRUE(reader.id3HasTag);
    EXPECT_EQ(reader.id3Title, "") << "a test-only read reads no frame";
    EXPECT_TRUE(dialogs.shown().empty());
}

TEST_F(TagTest, UnsynchronisedTagGivesItsMessageAndNoFrames) {
    const auto& r = read(tag(textFrame("TIT2", "Title") + syltFrame({{"la", 100}}), 0x80));
    ASSERT_EQ(dialogs.shown().size(), 1u);
    EXPECT_EQ(
        dialogs.shown()[0].text,
        "This ID3 Tag is Unsyncronized.  This application is not equipped to read this kind of ID3 Tag.");
    EXPECT_EQ(dialogs.shown()[0].style, 64);
    EXPECT_EQ(dialogs.shown()[0].caption, "Velvora");
    EXPECT_EQ(r.id3Title, "");
    EXPECT_EQ(r.syltEventCount, 0);
}

TEST_F(TagTest, ExtendedHeaderIsReadAsThirteenBytes) {
    // Thirteen bytes of extended header, size field 9: the frame behind is in step.
    const std::string inStep = synchsafe(9) + std::string(9, '\0');
    auto r = &read(tag(inStep + textFrame("TIT2", "After"), 0x40));
    EXPECT_TRUE(r->id3ExtHeader);
    EXPECT_FALSE(r->id3HasCrc);
    EXPECT_EQ(r->id3Title, "After");

    // A standard six-byte extended header (ten bytes in all) is over-read by three.
    r = &read(tag(synchsafe(6) + std::string(6, '\0') + textFrame("TIT2", "After"), 0x40));
    EXPECT_TRUE(r->id3ExtHeader);
    EXPECT_EQ(r->id3Title, "");

    // Size 10 announces a CRC: five more bytes, the CRC from the first four.
    const std::string withCrc = synchsafe(10) + std::string(9, '\0') + synchsafe(0x12345) + bytes({0});
    r = &read(tag(withCrc + textFrame("TIT2", "After"), 0x40));
    EXPECT_TRUE(r->id3HasCrc);
    EXPECT_EQ(r->id3Crc, 0x12345);
    EXPECT_EQ(r->id3Title, "After");
}

TEST_F(TagTest, PaddingEndsTheFrames) {
    const std::string behindPadding = std::string(20, '\0') + textFrame("TPE1", "Hidden");
    const auto& r = read(tag(textFrame("TIT2", "Seen") + behindPadding) + mpegFrame());
    EXPECT_EQ(r.id3Title, "Seen");
    EXPECT_EQ(r.id3Artist, "");
}

TEST_F(TagTest, LargeTextFrameSizeIsReadAsSynchsafeAndPutsTheRestOutOfStep) {
    // 200 bytes written plainly (00 00 00 C8) read as synchsafe: 0x48 = 72.
    const std::string frames = textFrame("TIT2", std::string(199, 'a')) + textFrame("TPE1", "Behind");
    const auto& r = read(tag(frames));
    EXPECT_EQ(r.id3Title, std::string(71, 'a'));
    EXPECT_EQ(r.id3Artist, "");
    // 300 bytes (00 00 01 2C): 128 + 44 = 172.
    EXPECT_EQ(read(tag(textFrame("TIT2", std::string(299, 'c')))).id3Title, std::string(171, 'c'));

    // Sizes with every byte below 128 agree with the plain reading.
    EXPECT_EQ(read(tag(textFrame("TIT2", std::string(126, 'b')) + textFrame("TPE1", "Behind"))).id3Artist,
              "Behind");
}

TEST_F(TagTest, CompressedOrEncryptedFrameIsConsumedAndLeftEmpty) {
    const std::string frames = frame("TIT2", bytes({0}) + "zlibbytes", 0x0080) +
                               frame("TALB", bytes({0}) + "secret", 0x0040) + textFrame("TPE1", "Next");
    const auto& r = read(tag(frames));
    EXPECT_EQ(r.id3Title, "");
    EXPECT_EQ(r.id3Album, "");
    EXPECT_EQ(r.id3Artist, "Next");
}

TEST_F(TagTest, FramesGoOnWhileTheDeclaredSizeExceedsTheRunningPosition) {
    // The running position counts the tag header too, which the declared size does not: the
    // second frame is read only when the size exceeds the first frame by more than ten bytes.
    const std::string first = textFrame("TIT2", "One");
    const std::string second = textFrame("TPE1", "Two");
    EXPECT_EQ(read(tag(first + second, 0, 3, 0, static_cast<long long>(first.size()) + 11)).id3Artist, "Two");
    EXPECT_EQ(read(tag(first + second, 0, 3, 0, static_cast<long long>(first.size()) + 10)).id3Artist, "");
}

TEST_F(TagTest, FrameRunningPastTheTagsEndIsReadFromTheFile) {
    const std::string lyric = syltFrame({{"past", 10}, {"/end", 20}});
    // The tag claims 12 bytes; the SYLT frame runs far beyond and is read all the same.
    const auto& r = read(tag(lyric, 0, 3, 0, 12) + mpegFrame());
    EXPECT_EQ(r.syltEventCount, 2);
    EXPECT_EQ(r.syltEvents[1].text, "/end");
}

TEST_F(TagTest, PicturesGiveOffsetsSizesTypesAndDescriptions) {
    const std::string pic1 = bytes({0}) + "image/jpeg" + bytes({0, 3}) + "Cover" + bytes({0}) + "JPEGDATA";
    const std::string pic2 = bytes({0}) + "image/png" + bytes({0, 17}) + "Fish" + bytes({0}) + "PNG";
    const std::string frames = frame("APIC", pic1) + frame("APIC", pic2);
    const auto& r = read(tag(frames));
    // The running position less 10, as it stands after each frame header.
    const std::size_t secondAt = 10 + 10 + pic1.size();
    EXPECT_EQ(r.id3PicOffsets, "10|" + std::to_string(secondAt));
    EXPECT_EQ(r.id3PicSizes, std::to_string(pic1.size()) + "|" + std::to_string(pic2.size()));
    EXPECT_EQ(r.id3PicTypes, "Front Cover|A Bright Colored Fish???");
    EXPECT_EQ(r.id3PicInfo, "Cover|Fish");
    EXPECT_EQ(tags::PictureTypeName(20), "Publisher Logo");
    EXPECT_EQ(tags::PictureTypeName(21), "");
}

TEST_F(TagTest, FileThatCannotBeOpenedLeavesTheValuesAsTheyWere) {
    read(tag(textFrame("TIT2", "Kept")));
    reader.ReadID3v23((folder.path() / "missing.mp3").string(), false, false);
    EXPECT_EQ(reader.id3Title, "Kept");
    reader.ReadID3v23(folder.str(), false, false);
    EXPECT_EQ(reader.id3Title, "Kept") << "a folder is no file";
}

TEST_F(TagTest, EachReadStartsEmpty) {
    read(tag(textFrame("TIT2", "First") + syltFrame({{"a", 1}}) + textFrame("TRCK", "4/5")));
    const auto& r = read(tag(textFrame("TPE1", "Second")));
    EXPECT_EQ(r.id3Title, "");
    EXPECT_EQ(r.id3Track, 0);
    EXPECT_EQ(r.id3TrackTotal, 0);
    EXPECT_EQ(r.syltEventCount, 0);
    EXPECT_EQ(r.syltEvents.size(), 1u);
    EXPECT_EQ(r.id3SyncText, "");
}

// Counts the turns the reader gives the window system.
class CountingClock final : public platform::Clock {
  public:
    long long nowMs() override { return 0; }
    void sleep(int) override {}
    void doEvents() override { ++turns; }
    std::unique_ptr<platform::Timer> makeTimer(int, bool) override { return nullptr; }
    void post(std::function<void()>) override {}
    void waitThen(int, std::function<void()>) override {}
    int turns = 0;
};

TEST_F(TagTest, ReadYieldsToTheWindowOncePerFrame) {
    CountingClock counting;
    tags::modID3V230Reader yielding(dialogs, counting);
    yielding.ReadID3v23(file(tag(textFrame("TIT2", "a") + textFrame("TPE1", "b") + textFrame("TALB", "c"))),
                        false, false);
    EXPECT_EQ(counting.turns, 3);
    EXPECT_EQ(yielding.id3Album, "c");
}

} // namespace
} // namespace velvora::testing
