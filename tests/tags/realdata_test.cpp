// The readers over MP3 files written by other programs: synchronised lyrics in 8-bit and 16-bit
// text, unsynchronised and other-version tags, extended headers, ID3v1, Lyrics3 and Xing.
#include "tags/mpeg_info.h"
#include "tags/tag_fixture.h"

#include <filesystem>
#include <fstream>
#include <iterator>

namespace velvora::testing {
namespace {

namespace fs = std::filesystem;

class RealTagTest : public TagTest {
  protected:
    tags::modID3V230Reader& readReal(const std::string& name) {
        reader.ReadID3v23(realMp3(name), false, false);
        return reader;
    }
    tags::mMP3& endTags(const std::string& name) {
        module.ReadEndTags(realMp3(name));
        return module;
    }
    tags::mMP3 module;
};

TEST_F(RealTagTest, Latin1SyltGivesSixteenTimedLinesAndDropsTheDanglingLineFeed) {
    const auto& r = readReal("audio-scan__v2.3-sylt.mp3");
    ASSERT_EQ(r.syltEventCount, 16);
    EXPECT_EQ(r.syltDescriptor, "Converted from Lyrics3 v2.00");
    EXPECT_EQ(r.syltEvents[0].text, "Let's talk about time");
    EXPECT_EQ(r.syltEvents[0].time, 2000.0f);
    EXPECT_EQ(r.syltEvents[1].text, "\r\ntickin' away every day");
    EXPECT_EQ(r.syltEvents[15].text, "\r\n(Repeat)");
    EXPECT_EQ(r.syltEvents[15].time, 181000.0f);
    ASSERT_EQ(r.syltLines.size(), 18u);
    EXPECT_EQ(r.syltLines[0], "Let's talk about time");
    EXPECT_EQ(r.syltLines[8], "the real black");
    EXPECT_EQ(r.syltLines[9], "");
    EXPECT_EQ(r.syltLines[10], "Chorus:");
    EXPECT_EQ(r.id3Title, "Track name which is larger then 30 chars !");
    EXPECT_EQ(r.id3Genre, "(0)");
    EXPECT_EQ(r.id3Comment,
              "This track was actually recorded in several places around the world\nand mixed at the US\n");
    EXPECT_NE(r.id3Others.find("TEXT=\"The lyrics were written by someone.. is it you ?\""),
              std::string::npos);
}

TEST_F(RealTagTest, SixteenBitSyltFramesTheLastOneStanding) {
    const auto& r = readReal("music-metadata__menu-sash.mp3");
    ASSERT_EQ(r.syltEventCount, 8);
    EXPECT_EQ(r.syltDescriptor, "lipsync");
    const std::pair<const char*, float> expected[] = {{"X", 0},   {"F", 110}, {"C", 280}, {"F", 350},
                                                      {"B", 560}, {"C", 630}, {"B", 980}, {"X", 1120}};
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(r.syltEvents[i].text, expected[i].first) << i;
        EXPECT_EQ(r.syltEvents[i].time, expected[i].second) << i;
    }
    EXPECT_EQ(r.id3SyncText, "XFCFBCBX");
}

TEST_F(RealTagTest, UnsynchronisedVersion3TagsGiveTheMessageAndNothingElse) {
    for (const char* name : {"taglib__unsynch.id3", "audio-scan__v2.3-no-audio-frames.mp3"}) {
        SCOPED_TRACE(name);
        dialogs.clear();
        const auto& r = readReal(name);
        ASSERT_EQ(dialogs.shown().size(), 1u);
        EXPECT_EQ(dialogs.shown()[0].text, tags::modID3V230Reader::kUnsyncMessage);
        EXPECT_EQ(r.id3Title, "");
        EXPECT_EQ(r.id3Others, "");
    }
}

TEST_F(RealTagTest, Version2And4TagsAreNoTagsAndShowNothing) {
    for (const char* name : {"audio-scan__v2.4-unsync.mp3", "audio-scan__v2.4.mp3", "audio-scan__v2.2.mp3",
                             "mutagen__id3v22-test.mp3", "taglib__unsynch24.id3", "taglib__itunes10.mp3"}) {
        SCOPED_TRACE(name);
        const auto& r = readReal(name);
        EXPECT_EQ(r.id3Title, "");
        EXPECT_EQ(r.id3Others, "");
        reader.ReadID3v23(realMp3(name), false, true);
        EXPECT_FALSE(reader.id3HasTag);
    }
    EXPECT_TRUE(dialogs.shown().empty());
}

TEST_F(RealTagTest, ExtendedHeaderWithCrcPutsTheFrameBehindOutOfStep) {
    const auto& r = readReal("audio-scan__v2.3-ext-header.mp3");
    EXPECT_TRUE(r.id3ExtHeader);
    EXPECT_TRUE(r.id3HasCrc);
    // Read from the four bytes after the header's 13, seven bits of each: a1 'T' 'C' 'O'.
    EXPECT_EQ(r.id3Crc, 70590927.0);
    EXPECT_EQ(r.id3Genre, "");
}

TEST_F(RealTagTest, CompressedTitleStaysEmptyAndTheFramesBehindAreRead) {
    const auto& r = readReal("audio-scan__v2.3-compressed-frame.mp3");
    EXPECT_EQ(r.id3Title, "");
    EXPECT_EQ(r.id3Album, "Album Name");
}

TEST_F(RealTagTest, Id3v1FieldsAndTheFirstFrameHeader) {
    const auto& m = endTags("audio-scan__v1.1.mp3");
    EXPECT_TRUE(m.hasId3v1);
    EXPECT_EQ(m.info.Title, "Track Title");
    EXPECT_EQ(m.info.Artist, "Artist Name");
    EXPECT_EQ(m.info.Album, "Album Name");
    EXPECT_EQ(m.info.Year, "2009");
    EXPECT_EQ(m.info.Comment.rfind("This is a comment", 0), 0u);
    EXPECT_EQ(m.info.Genre, 27);
    EXPECT_EQ(m.info.Version, "MPEG 1.0");
    EXPECT_EQ(m.info.Frequency, "32 Hz");
    EXPECT_EQ(m.info.BitRate, "32 Kbps");
    EXPECT_EQ(m.info.Duration, "00:01");
    EXPECT_EQ(m.info.ChannelMode, " Joint Stereo");
    EXPECT_EQ(m.info.Original, " Yes");
    EXPECT_FALSE(m.hasTagLyrics);

    EXPECT_EQ(endTags("audio-scan__v1-utf8.mp3").info.Title, "r\xc3\xa4ksm\xc3\xb6rg\xc3\xa5s");
}

TEST_F(RealTagTest, XingCountAfterTheTagGivesTheDuration) {
    const auto& m = endTags("audio-scan__v2.3-sylt.mp3");
    EXPECT_FALSE(m.hasId3v1);
    EXPECT_EQ(m.info.Frequency, "44.1 Hz");
    EXPECT_EQ(m.info.Duration, "03:18");
    EXPECT_EQ(m.info.BitRate, "0 Kbit (VBR)");
}

TEST_F(RealTagTest, Lyrics3BlocksBeforeId3v1AndAtTheEnd) {
    const auto& withV1 = endTags("mutagen__apev2-lyricsv2.mp3");
    EXPECT_TRUE(withV1.hasId3v1);
    EXPECT_EQ(withV1.info.Title, "A song");
    EXPECT_EQ(withV1.info.Artist, "Auth");
    EXPECT_TRUE(withV1.hasTagLyrics);
    EXPECT_TRUE(withV1.lyricTagFlag);
    EXPECT_EQ(withV1.info.LyricsText, "");

    tags::mMP3 atEnd;
    atEnd.ReadEndTags(realMp3("taglib__lyrics3v2.mp3"));
    EXPECT_FALSE(atEnd.hasId3v1);
    EXPECT_TRUE(atEnd.hasTagLyrics);
    EXPECT_TRUE(atEnd.lyricTagFlag);
    EXPECT_EQ(atEnd.lyrics3Start, 1935);
    // Its Xing header counts 4 frames: no whole second, so the read ends before the bit rate.
    EXPECT_EQ(atEnd.info.Frequency, "44.1 Hz");
    EXPECT_EQ(atEnd.info.BitRate, "");
}

TEST_F(RealTagTest, EveryFileIsReadWithoutHarmAndLeftAsItWas) {
    const fs::path folderPath = fs::path(VELVORA_REALDATA) / "mp3_tags";
    int files = 0;
    for (const auto& entry : fs::directory_iterator(folderPath)) {
        if (!entry.is_regular_file() || entry.path().extension() == ".tsv") continue;
        const std::string path = entry.path().string();
        SCOPED_TRACE(path);
        std::ifstream before(path, std::ios::binary);
        const std::string bytes((std::istreambuf_iterator<char>(before)), {});
        reader.ReadID3v23(path, false, false);
        EXPECT_EQ(reader.syltEvents.size(), static_cast<std::size_t>(reader.syltEventCount) + 1);
        reader.ReadID3v23(path, true, false);
        tags::mMP3 m;
        m.ReadEndTags(path);
        std::ifstream after(path, std::ios::binary);
        EXPECT_EQ(std::string((std::istreambuf_iterator<char>(after)), {}), bytes);
        ++files;
    }
    EXPECT_GE(files, 30);
    // The two unsynchronised version 3 tags, twice each.
    EXPECT_EQ(dialogs.shown().size(), 4u);
}

} // namespace
} // namespace velvora::testing
