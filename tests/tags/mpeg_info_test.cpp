// The end tags and the first frame header: ID3v1 fields, the Lyrics3 block found before the ID3v1
// tag or at the very end, and the technical fields with the module's own arithmetic.
#include "support/app_fixture.h"
#include "tags/mp3_title_boxes.h"
#include "tags/mpeg_info.h"
#include "tags/tag_fixture.h"

namespace velvora::testing {
namespace {

using namespace mp3;

class MpegInfoTest : public TagTest {
  protected:
    const tags::Mp3Info& info(const std::string& content) {
        module.ReadEndTags(file(content));
        return module.info;
    }
    // `n` frames of 417 bytes, the first one's header bytes given.
    static std::string frames(int n, int b1 = 0xFB, int b2 = 0x90, int b3 = 0x00) {
        std::string out = mpegFrame(-1, b1, b2, b3);
        for (int i = 1; i < n; ++i) out += mpegFrame();
        return out;
    }
    tags::mMP3 module;
};

TEST_F(MpegInfoTest, UsualFileReadsInKilohertzWithHzBehind) {
    // 48000 bytes at 128 kbit/s: 48000 \ 16 \ 1000 = 3 seconds.
    std::string content = frames(2);
    content.resize(48000, '\0');
    const auto& i = info(content);
    EXPECT_EQ(i.Version, "MPEG 1.0");
    EXPECT_EQ(i.Layer, "layer 3");
    EXPECT_EQ(i.Frequency, "44.1 Hz");
    EXPECT_EQ(i.BitRate, "128 Kbps");
    EXPECT_EQ(i.Duration, "00:03");
    EXPECT_EQ(module.durationSeconds, 3);
    EXPECT_EQ(i.Crc, "No");
    EXPECT_EQ(i.ChannelMode, " Stereo");
    EXPECT_EQ(i.Copyrighted, " No");
    EXPECT_EQ(i.Original, " No");
    EXPECT_EQ(i.Emphasis, " None");
    EXPECT_EQ(i.SizeMb, "0.04 MB");
    EXPECT_FALSE(i.Genre.has_value());
    EXPECT_FALSE(module.hasId3v1);
}

TEST_F(MpegInfoTest, HeaderBytesGiveVersionLayerFrequencyAndFlags) {
    struct Case {
        int b1, b2, b3;
        const char *version, *layer, *frequency, *bitRate, *crc, *mode, *copyrighted, *original, *emphasis;
    };
    const Case cases[] = {
        {0xFA, 0x14, 0xCF, "MPEG 1.0", "layer 3", "48 Hz", "32 Kbps", "Yes", " Mono", " Yes", " Yes",
         " CITT j. 17"},
        {0xFD, 0x58, 0x46, "MPEG 1.0", "layer 2", "32 Hz", "64 Kbps", "No", " Joint Stereo", " No", " Yes",
         " invalid"},
        {0xFF, 0xA0, 0x89, "MPEG 1.0", "layer 1", "44.1 Hz", "160 Kbps", "No", " 2 Channel", " Yes", " No",
         " 50/15 microsec"},
        {0xF3, 0x84, 0x00, "MPEG 2.0", "layer 3", "24 Hz", "64 Kbps", "No", " Stereo", " No", " No", " None"},
        {0xF4, 0x10, 0x00, "MPEG 2.0", "layer 2", "22.05 Hz", "8 Kbps", "Yes", " Stereo", " No", " No",
         " None"},
        {0xF7, 0xF8, 0x00, "MPEG 2.0", "layer 1", "16 Hz", "176 Kbps", "No", " Stereo", " No", " No",
         " None"},
        {0xFB, 0xD0, 0x00, "MPEG 1.0", "layer 3", "44.1 Hz", "256 Kbps", "No", " Stereo", " No", " No",
         " None"},
        {0xFB, 0xE0, 0x00, "MPEG 1.0", "layer 3", "44.1 Hz", "320 Kbps", "No", " Stereo", " No", " No",
         " None"},
        {0xFB, 0xF0, 0x00, "MPEG 1.0", "layer 3", "44.1 Hz", "320 Kbps", "No", " Stereo", " No", " No",
         " None"},
        {0xFB, 0x00, 0x00, "MPEG 1.0", "layer 3", "44.1 Hz", "24 Kbps", "No", " Stereo", " No", " No",
         " None"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << std::hex << c.b1 << " " << c.b2 << " " << c.b3);
        const auto& i = info(frames(3, c.b1, c.b2, c.b3));
        EXPECT_EQ(i.Version, c.version);
        EXPECT_EQ(i.Layer, c.layer);
        EXPECT_EQ(i.Frequency, c.frequency);
        EXPECT_EQ(i.BitRate, c.bitRate);
        EXPECT_EQ(i.Crc, c.crc);
        EXPECT_EQ(i.ChannelMode, c.mode);
        EXPECT_EQ(i.Copyrighted, c.copyrighted);
        EXPECT_EQ(i.Original, c.original);
        EXPECT_EQ(i.Emphasis, c.emphasis);
    }
}

TEST_F(MpegInfoTest, BitRateOfZeroEndsTheReadAfterTheFrequency) {
    const auto& i = info(frames(3, 0xF3, 0x00, 0xC0));
    EXPECT_EQ(i.Version, "MPEG 2.0");
    EXPECT_EQ(i.Frequency, "22.05 Hz");
    EXPECT_EQ(i.BitRate, "");
    EXPECT_EQ(i.Duration, "");
    EXPECT_EQ(i.ChannelMode, "");
    EXPECT_EQ(i.SizeMb, "");
}

TEST_F(MpegInfoTest, XingCountGivesSecondsAtThirtyEightFramesAndAThird) {
    // 1000 frames: 943 past the first 57, 115 to every three seconds, so 25 seconds.
    std::string content = "junk" + mpegFrame(1000) + frames(10);
    const auto& i = info(content);
    EXPECT_EQ(i.Duration, "00:25");
    EXPECT_EQ(i.BitRate, std::to_string(content.size() * 8 / 25000) + " Kbit (VBR)");
    // The top byte of the four-byte count is not read.
    EXPECT_EQ(info("junk" + mpegFrame(0x7F000000 + 1000) + frames(10)).Duration, "00:25");
    // An hour and more shows the hours.
    EXPECT_EQ(info(mpegFrame(57 + 115 * 1201) + frames(2)).Duration, "01:00:03");
}

TEST_F(MpegInfoTest, XingCountBelowFiftyEightEndsTheReadBeforeTheBitRate) {
    const auto& i = info(mpegFrame(57) + frames(3));
    EXPECT_EQ(i.Frequency, "44.1 Hz");
    EXPECT_EQ(i.BitRate, "");
    EXPECT_EQ(i.Duration, "");
    EXPECT_EQ(i.ChannelMode, "");
    EXPECT_EQ(info(mpegFrame(58) + frames(3)).Duration, "00:01");
}

TEST_F(MpegInfoTest, SearchDoesNotSkipAnId3v2TagAndStopsAt4092) {
    const std::string bigTag = tag(frame("APIC", std::string(5000, 'x')));
    const auto& i = info(bigTag + frames(5));
    EXPECT_EQ(i.Version, "");
    EXPECT_EQ(i.Frequency, "");
    EXPECT_EQ(i.SizeMb, "");
    // A sync in the last searched place is found; one place later it is not.
    EXPECT_EQ(info(std::string(4091, 'x') + frames(2)).Version, "MPEG 1.0");
    EXPECT_EQ(info(std::string(4092, 'x') + frames(2)).Version, "");
    // A 255 followed by a byte outside both ranges is no header.
    EXPECT_EQ(info(bytes({0xFF, 0xE3, 0x00, 0x00}) + frames(2, 0xFB, 0x14)).Frequency, "48 Hz");
}

TEST_F(MpegInfoTest, Id3v1FieldsLoseZerosAndBlanksAndGenreIsOneUp) {
    const std::string v1 = id3v1("  My Song ", std::string("Art\0ist", 7), "Alb", "1999", "Caf\xe9", 17);
    const auto& i = info(frames(3) + v1);
    EXPECT_TRUE(module.hasId3v1);
    EXPECT_EQ(i.Title, "My Song");
    EXPECT_EQ(i.Artist, "Artist");
    EXPECT_EQ(i.Album, "Alb");
    EXPECT_EQ(i.Year, "1999");
    EXPECT_EQ(i.Comment, "Caf\xc3\xa9");
    EXPECT_EQ(i.Genre, 18);
    EXPECT_EQ(info(frames(2) + id3v1("Ti", "", "", "", "", 255)).Genre, 256);
}

TEST_F(MpegInfoTest, Lyrics3BlockIsFoundBeforeTheId3v1TagOrAtTheEnd) {
    const std::string block = lyrics3({{"IND", "00"}, {"LYR", "  [00:01]la la\r\n"}, {"ETT", "Title"}});
    const std::string audio = frames(3);
    const auto& withTag = info(audio + block + id3v1("T", "A"));
    EXPECT_TRUE(module.hasTagLyrics);
    EXPECT_TRUE(module.lyricTagFlag);
    EXPECT_EQ(withTag.LyricsText, "[00:01]la la\r\n");
    EXPECT_EQ(module.lyrics3Start, static_cast<int>(audio.size()) + 1);

    tags::mMP3 second;
    second.ReadEndTags(file(audio + block));
    EXPECT_TRUE(second.lyricTagFlag);
    EXPECT_EQ(second.info.LyricsText, "[00:01]la la\r\n");

    // A block with anything but an ID3v1 tag behind it is not seen.
    tags::mMP3 third;
    third.ReadEndTags(file(audio + block + "zz"));
    EXPECT_FALSE(third.hasTagLyrics);
    EXPECT_FALSE(third.lyricTagFlag);
}

TEST_F(MpegInfoTest, Lyrics3WhoseSizeMissesItsStartLeavesTheFlagFalseButTheLyricsTrue) {
    const std::string fields = "LYRICSBEGIN" + std::string("LYR00003abc");
    for (const std::string& size : {std::string("000010"), std::string("ABCDEF"), std::string("999999"),
                                    std::string("1E+300"), std::string("-00005")}) {
        SCOPED_TRACE(size);
        tags::mMP3 m;
        m.ReadEndTags(file(frames(2) + fields + size + "LYRICS200"));
        EXPECT_TRUE(m.hasTagLyrics);
        EXPECT_FALSE(m.lyricTagFlag);
        EXPECT_EQ(m.info.LyricsText, "");
        EXPECT_EQ(m.info.Version, "MPEG 1.0") << "the frame header is still read";
    }
}

TEST_F(MpegInfoTest, Lyrics3FieldsThatRunOutsideTheFileLeaveTheFlagFalse) {
    for (const std::string& length : {std::string("99999"), std::string("-0010")}) {
        SCOPED_TRACE(length);
        const std::string body = "LYRICSBEGIN" + std::string("LYR") + length + "abc";
        tags::mMP3 m;
        m.ReadEndTags(file(body + "000022" + "LYRICS200"));
        EXPECT_TRUE(m.hasTagLyrics);
        EXPECT_FALSE(m.lyricTagFlag);
    }
    // A length that is no number reads as 0 and the walk moves on by the name and length alone.
    tags::mMP3 m;
    m.ReadEndTags(file("LYRICSBEGIN" + std::string("INDxxxxxLYR00002hi") + "000029" + "LYRICS200"));
    EXPECT_TRUE(m.lyricTagFlag);
    EXPECT_EQ(m.info.LyricsText, "hi");
}

TEST_F(MpegInfoTest, ReadDoesNotClearHasTagLyrics) {
    module.ReadEndTags(file(frames(2) + lyrics3({{"LYR", "x"}})));
    EXPECT_TRUE(module.hasTagLyrics);
    module.ReadEndTags(file(frames(2)));
    EXPECT_TRUE(module.hasTagLyrics);
    EXPECT_FALSE(module.lyricTagFlag);
}

TEST_F(MpegInfoTest, UnreadableFileLeavesEveryFieldEmpty) {
    info(frames(2) + id3v1("T", "A"));
    module.ReadEndTags((folder.path() / "missing.mp3").string());
    EXPECT_EQ(module.info.Title, "");
    EXPECT_EQ(module.info.Version, "");
    EXPECT_EQ(module.info.Path, (folder.path() / "missing.mp3").string());
    EXPECT_FALSE(module.hasId3v1);
}

class TitleBoxesTest : public AppFixture {};

TEST_F(TitleBoxesTest, TitleAndArtistOfTheTagGoToTheBoxesAndTheOthersEmpty) {
    auto& ui = app->ui;
    ui.Yizear->setText("120");
    ui.GENERE->setText("Do maggiore");
    const std::string path = (folder.path() / "t.mp3").string();
    mp3::write(path, mp3::mpegFrame() + mp3::id3v1(" Song ", "Singer"));
    tags::mMP3 module;
    const tags::Mp3Info got = tags::ReadMp3Info(*app, module, path);
    EXPECT_EQ(ui.Title->text().toStdString(), "Song");
    EXPECT_EQ(ui.Artist->text().toStdString(), "Singer");
    EXPECT_EQ(ui.Yizear->text().toStdString(), "");
    EXPECT_EQ(ui.GENERE->text().toStdString(), "");
    EXPECT_EQ(got.Path, path);
    EXPECT_EQ(got.BitRate, "128 Kbps");

    mp3::write(path, mp3::mpegFrame());
    tags::ReadMp3Info(*app, module, path);
    EXPECT_EQ(ui.Title->text().toStdString(), "");
    EXPECT_EQ(ui.Artist->text().toStdString(), "") << "the copyright text passes through and goes";
}

} // namespace
} // namespace velvora::testing
