// The MIDI byte scanner: header words, first tempo, GetWords, lyric-track choice, channel census,
// strip state and filetemp.tmp.
#include "karaoke/midi_bytes.h"
#include "karaoke/midi_scanner.h"
#include "support/app_fixture.h"

#include <QCheckBox>
#include <QSlider>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace velvora::karaoke {
namespace {

using testing::B;
using testing::endOfTrack;
using testing::meta;
using testing::midiHeader;
using testing::midiTrack;
using testing::tempoEvent;

using testing::scanOf;

TEST(MidiHeaderWords, DigitsAreJoinedWithoutPadding) {
    struct Case {
        int format, tracks;
        std::int16_t wantFormat, wantTracks;
    };
    const Case cases[] = {
        {0, 1, 0, 1},
        {1, 2, 1, 2},
        {1, 0x0100, 1, 16}, // "1" + "0"
        {1, 0x0010, 1, 16}, // "0" + "10"
        {0x0102, 0x0A0B, 18, 0xAB},
        {0xFFFF, 0x1234, -1, 0x1234},
    };
    for (const Case& c : cases) {
        MidiScanState s = scanOf(midiHeader(c.format, c.tracks, 96));
        ReadHeaderWords(s);
        EXPECT_EQ(s.midiFormat, c.wantFormat) << c.format;
        EXPECT_EQ(s.midiTrackCount, c.wantTracks) << c.tracks;
    }
}

TEST(MidiHeaderWords, MissingBytesLeaveTheWordsAlone) {
    MidiScanState s = scanOf(midiHeader(1, 3, 96).substr(0, 10));
    s.midiTrackCount = 7;
    ReadHeaderWords(s);
    EXPECT_EQ(s.midiFormat, 1);
    EXPECT_EQ(s.midiTrackCount, 7);
    s.midiBuffer.clear();
    s.midiFormat = 5;
    ReadHeaderWords(s);
    EXPECT_EQ(s.midiFormat, 5);
}

TEST(MidiFirstTempo, ReadsTheFirstTempoEvent) {
    MidiScanState s = scanOf(midiHeader(0, 1, 96) + midiTrack(tempoEvent(0x07, 0xA1, 0x20) +
                                                              tempoEvent(0x0F, 0x42, 0x40) + endOfTrack()));
    ASSERT_TRUE(ReadFirstTempo(s));
    EXPECT_DOUBLE_EQ(s.ticksPerSixteenth, 24.0);
    EXPECT_DOUBLE_EQ(s.tempoMicros, 500000.0);
    EXPECT_FLOAT_EQ(s.songBpm, 120.0f);
    EXPECT_DOUBLE_EQ(s.msPerTick, 500000.0 / 24.0 / 4000.0);
}

TEST(MidiFirstTempo, BeatsPerMinuteKeepTwoDecimals) {
    // 535403 microseconds: 112.0651... beats per minute.
    MidiScanState s = scanOf(midiHeader(0, 1, 480) + midiTrack(tempoEvent(0x08, 0x2B, 0x6B) + endOfTrack()));
    ASSERT_TRUE(ReadFirstTempo(s));
    EXPECT_DOUBLE_EQ(s.tempoMicros, 535403.0);
    EXPECT_FLOAT_EQ(s.songBpm, 112.07f);
    EXPECT_DOUBLE_EQ(s.ticksPerSixteenth, 120.0);
}

TEST(MidiFirstTempo, NoTempoOrZeroDivisionKeepsValues) {
    MidiScanState none = scanOf(midiHeader(0, 1, 96) + midiTrack(endOfTrack()));
    none.ticksPerSixteenth = 1;
    none.tempoMicros = 2;
    none.songBpm = 3;
    none.msPerTick = 4;
    EXPECT_FALSE(ReadFirstTempo(none));
    EXPECT_EQ(none.ticksPerSixteenth, 1);
    EXPECT_EQ(none.tempoMicros, 2);
    EXPECT_EQ(none.songBpm, 3);
    EXPECT_EQ(none.msPerTick, 4);

    MidiScanState zero = scanOf(midiHeader(0, 1, 0) + midiTrack(tempoEvent(0x07, 0xA1, 0x20) + endOfTrack()));
    zero.msPerTick = 9;
    ASSERT_TRUE(ReadFirstTempo(zero));
    EXPECT_EQ(zero.ticksPerSixteenth, 0);
    EXPECT_EQ(zero.tempoMicros, 500000);
    EXPECT_EQ(zero.msPerTick, 9);

    // A tempo event cut by the end of the file: its bytes are missing, the tempo stays.
    MidiScanState cut = scanOf(midiHeader(0, 1, 96) + B({0xFF, 0x51, 0x03, 0x07}));
    cut.tempoMicros = 11;
    ASSERT_TRUE(ReadFirstTempo(cut));
    EXPECT_EQ(cut.tempoMicros, 11);
    EXPECT_DOUBLE_EQ(cut.ticksPerSixteenth, 24.0);
}

class ScannerTest : public testing::AppFixture {
  protected:
    std::string write(const std::string& name, const std::string& data) {
        return testing::writeFile(folder.path() / name, data);
    }
    const std::vector<WordRec>& words() const { return app->s.words.wordList; }
    const std::vector<std::string>& lines() const { return app->s.words.shownLines; }
};

TEST_F(ScannerTest, GetWordsBuildsLinesColumnsAndTimes) {
    app->s.scan.msPerTick = 2;
    const std::string chunk = B({0xFF, 1, 3}) + "Hel" + B({0x60, 0xFF, 1, 2}) + "lo" +
                              B({0x81, 0x00, 0xFF, 1, 4}) + "/Wor" + B({0x10, 0xFF, 1, 1}) + "\\" +
                              B({0x00, 0xFF, 1, 2}) + "ld" + B({0x00, 0xFF, 0x2F, 0x00});
    GetWords(*app, chunk);
    ASSERT_EQ(words().size(), 7u);
    struct Want {
        const char* text;
        double time, span;
        int column, line;
    };
    const Want want[] = {
        {"Hel", 192, 192, 0, 0}, {"lo", 448, 256, 3, 0}, {"Wor", 480, 32, 0, 1},
        {"", 480, 0, 0, 2},      {"ld", 480, 0, 0, 2},   {"", 480, 0, 2, 2},
    };
    for (int i = 0; i < 6; ++i) {
        const WordRec& w = words()[static_cast<std::size_t>(i) + 1];
        EXPECT_EQ(w.Text, want[i].text) << i;
        EXPECT_DOUBLE_EQ(w.TimeMs, want[i].time) << i;
        EXPECT_DOUBLE_EQ(w.SpanMs, want[i].span) << i;
        EXPECT_EQ(w.Column, want[i].column) << i;
        EXPECT_EQ(w.LineNo, want[i].line) << i;
        EXPECT_EQ(w.Length, static_cast<int>(std::string(want[i].text).size())) << i;
    }
    ASSERT_EQ(lines().size(), 3u);
    EXPECT_EQ(lines()[0], "Hello");
    EXPECT_EQ(lines()[1], "Wor");
    EXPECT_EQ(lines()[2], "ld");
}

TEST_F(ScannerTest, GetWordsDeltaLookAhead) {
    app->s.scan.msPerTick = 1;
    // Three-byte delta (FF in the fourth place), four-byte delta, an unmasked one-byte delta, and an
    // "@" text that leaves its word empty but still counts its delta.
    const std::string chunk = B({0xFF, 1, 1}) + "x" + B({0x81, 0x80, 0x00, 0xFF, 1, 1}) + "y" +
                              B({0x81, 0x81, 0x81, 0x01, 0xFF, 1, 1}) + "q" + B({0x90, 0xFF, 1, 3}) + "@KX" +
                              B({0x0A, 0xFF, 0x2F, 0x00});
    GetWords(*app, chunk);
    ASSERT_EQ(words().size(), 6u);
    EXPECT_DOUBLE_EQ(words()[1].SpanMs, 16384);
    EXPECT_DOUBLE_EQ(words()[2].SpanMs, (1 << 21) + (1 << 14) + (1 << 7) + 1);
    EXPECT_DOUBLE_EQ(words()[3].SpanMs, 0x90);
    EXPECT_EQ(words()[4].Text, "");
    EXPECT_DOUBLE_EQ(words()[4].SpanMs, 10);
    EXPECT_DOUBLE_EQ(words()[4].TimeMs, 16384 + (1 << 21) + (1 << 14) + (1 << 7) + 1 + 0x90 + 10);
    EXPECT_EQ(lines()[0], "xyq");
}

TEST_F(ScannerTest, GetWordsReadsOneLengthByteOnly) {
    app->s.scan.msPerTick = 1;
    // A 255-byte text written with its proper two-byte length 81 7F.
    const std::string chunk = B({0xFF, 1, 0x81, 0x7F}) + std::string(255, 'a') + B({0x00, 0xFF, 1, 2}) +
                              "zz" + B({0x05, 0xFF, 0x2F, 0x00});
    GetWords(*app, chunk);
    ASSERT_EQ(words().size(), 4u);
    // The length byte 0x81 gives 129 characters, starting with the 7F byte.
    EXPECT_EQ(words()[1].Text, "\x7F" + std::string(128, 'a'));
    EXPECT_EQ(words()[1].Length, 129);
    // The delta is read from inside the text: four 'a' bytes, seven bits each.
    const double inside = (97.0 * (1 << 21)) + 97.0 * (1 << 14) + 97.0 * (1 << 7) + 97.0;
    EXPECT_DOUBLE_EQ(words()[1].TimeMs, inside);
    EXPECT_EQ(words()[2].Text, "zz");
    EXPECT_EQ(words()[2].Column, 129);
    EXPECT_DOUBLE_EQ(words()[2].TimeMs, inside + 5);
    EXPECT_EQ(words()[3].Text, "");
}

TEST_F(ScannerTest, GetWordsDecodesTextAndCountsCharacters) {
    app->s.scan.msPerTick = 1;
    const std::string chunk = B({0xFF, 1, 4}) + "Caf\xE9" + B({0x00, 0xFF, 1, 3}) + "\xC3\xA0x" + B({0x00});
    GetWords(*app, chunk);
    ASSERT_EQ(words().size(), 3u);
    EXPECT_EQ(words()[1].Text, "Caf\xC3\xA9");
    EXPECT_EQ(words()[1].Length, 4);
    EXPECT_EQ(words()[2].Text, "\xC3\xA0x");
    EXPECT_EQ(words()[2].Length, 2);
    EXPECT_EQ(words()[2].Column, 4);
}

// A track of `count` text events w1, w2, ..., optionally named first.
std::string textTrack(const std::string& prefix, int count, const std::string& name = {}) {
    std::string body = name.empty() ? std::string() : meta(0x03, name);
    for (int i = 1; i <= count; ++i) body += meta(0x01, prefix + std::to_string(i));
    return midiTrack(body + endOfTrack());
}

bool hasWord(const std::vector<WordRec>& list, const std::string& text) {
    for (const WordRec& w : list)
        if (w.Text == text) return true;
    return false;
}

TEST_F(ScannerTest, LyricTrackChoice) {
    const std::string first = midiTrack(tempoEvent(0x07, 0xA1, 0x20) + endOfTrack());
    {
        SCOPED_TRACE("a track named Words wins with few text events");
        app->s.FileName = write("words.mid", midiHeader(1, 3, 96) + first + textTrack("a", 3, "Words") +
                                                 textTrack("b", 60));
        ReadFile(*app);
        EXPECT_TRUE(hasWord(words(), "a3"));
        EXPECT_FALSE(hasWord(words(), "b1"));
        EXPECT_EQ(words().size(), 1u + 1 + 3 + 1); // name, three texts, end of track
    }
    {
        SCOPED_TRACE("an earlier track with 50 text events wins over a later Words track");
        app->s.FileName = write("fifty.mid", midiHeader(1, 3, 96) + first + textTrack("c", 50) +
                                                 textTrack("d", 2, "Words"));
        ReadFile(*app);
        EXPECT_TRUE(hasWord(words(), "c50"));
        EXPECT_FALSE(hasWord(words(), "d1"));
        EXPECT_EQ(words().size(), 1u + 50 + 1);
    }
    {
        SCOPED_TRACE("49 text events and no Words track: the whole file");
        app->s.FileName = write("whole.mid", midiHeader(1, 3, 96) + first + textTrack("e", 49) +
                                                 textTrack("f", 2, "Vocals"));
        ReadFile(*app);
        EXPECT_TRUE(hasWord(words(), "e49"));
        EXPECT_TRUE(hasWord(words(), "f2"));
        // Every FF of the file makes a word: tempo, 49 + 2 texts, a name, three ends of track.
        EXPECT_EQ(words().size(), 1u + 1 + 49 + 2 + 1 + 3);
    }
    {
        SCOPED_TRACE("chunks are walked by length alone, whatever their id");
        app->s.FileName = write("ids.mid", midiHeader(1, 2, 96) + midiTrack(B({1, 2, 3}), "Junk") +
                                               textTrack("g", 2, "Words"));
        ReadFile(*app);
        EXPECT_TRUE(hasWord(words(), "g2"));
        EXPECT_EQ(words().size(), 1u + 1 + 2 + 1);
    }
    {
        SCOPED_TRACE("a track count of 01 00 reads as 16 and the walk runs past the end safely");
        app->s.FileName =
            write("sixteen.mid", midiHeader(1, 0x0100, 96) + first + textTrack("h", 2, "Vocals"));
        ReadFile(*app);
        EXPECT_EQ(app->s.scan.midiTrackCount, 16);
        EXPECT_TRUE(hasWord(words(), "h1"));
    }
}

TEST_F(ScannerTest, ReadFileCallsTheMarkScanThenReadsTheFileAgain) {
    const std::string data = midiHeader(0, 1, 96) + textTrack("w", 3, "Words");
    app->s.FileName = write("hook.mid", data);
    app->s.words.msPerTick = 42;
    int calls = 0;
    ReadFile(*app, [&](App& a) {
        ++calls;
        EXPECT_TRUE(hasWord(a.s.words.wordList, "w3"));
        a.s.scan.midiBuffer.clear();
    });
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(app->s.scan.midiBuffer, data);
    // ReadFile keeps its tempo to itself.
    EXPECT_EQ(app->s.words.msPerTick, 42);
}

TEST_F(ScannerTest, ChannelCensusAndStripState) {
    const std::string body = tempoEvent(0x07, 0xA1, 0x20) +
                             // Channel 0: program 0 passed over, volume 127 skipped, pan 0 retried.
                             B({0,  0xC0, 0,    0,  0xC0, 5, 0,    0xB0, 7,  127, 0,    0xB0, 7,
                                80, 0,    0xB0, 10, 0,    0, 0xB0, 10,   48, 0,   0x90, 60,   100}) +
                             // Channel 1: only program 0, no controller 7, no pan.
                             B({0, 0xC1, 0, 0, 0x91, 62, 100}) +
                             // Channel 3: volumes 0 and 127 only.
                             B({0, 0xB3, 7, 0, 0, 0xB3, 7, 127, 0, 0x93, 64, 100}) +
                             // Channel 4: pan above 127 retried; the second value taken whatever it is.
                             B({0, 0xB4, 10, 0x85, 0, 0xB4, 10, 0, 0, 0x94, 65, 100}) + endOfTrack();
    ASSERT_LT(body.size(), 0x90u); // the length byte must not look like a note-on
    app->s.FileName = write("census.mid", midiHeader(0, 1, 96) + midiTrack(body));
    app->ui.Slider2[5]->setEnabled(true);
    app->ui.Slider2[5]->setValue(50);
    app->s.channelStrip[5].Mode = 7;
    ReadFile(*app);

    const auto& strip = app->s.channelStrip;
    EXPECT_EQ(strip[0].ChannelNo, 1);
    EXPECT_EQ(strip[0].Program, 5);
    EXPECT_EQ(strip[0].Volume, 80);
    EXPECT_EQ(strip[0].Pan, 48);
    EXPECT_EQ(strip[0].Mode, 2);

    EXPECT_EQ(strip[1].ChannelNo, 2);
    EXPECT_EQ(strip[1].Program, 0);
    EXPECT_EQ(strip[1].Volume, 100);
    EXPECT_EQ(strip[1].Pan, 64);

    EXPECT_EQ(strip[3].ChannelNo, 4);
    EXPECT_EQ(strip[3].Volume, 100);
    EXPECT_EQ(strip[4].Pan, 0);

    EXPECT_EQ(strip[5].ChannelNo, -1);
    EXPECT_EQ(strip[5].Mode, 7);
    EXPECT_EQ(strip[5].Volume, 0);

    EXPECT_EQ(app->ui.Slider2[0]->value(), 80);
    EXPECT_TRUE(app->ui.Slider2[0]->isEnabled());
    EXPECT_TRUE(app->ui.Check1[0]->isChecked());
    EXPECT_TRUE(app->ui.Check1[0]->isEnabled());
    EXPECT_EQ(app->ui.Slider2[1]->value(), 100);
    EXPECT_FALSE(app->ui.Slider2[5]->isEnabled());
    EXPECT_EQ(app->ui.Slider2[5]->value(), 127);
    for (const ChannelInfo& ch : strip) EXPECT_EQ(ch.first, 0);
}

TEST_F(ScannerTest, CensusSearchesStartPastTheHeader) {
    // A program change and controllers within the first 21 bytes are not seen; the note-on is.
    MidiScanState& scan = app->s.scan;
    scan.midiBuffer = B({0x90, 0xC0, 9, 0xB0, 7, 50, 0xB0, 10, 20}) + std::string(30, '\0');
    ChannelCensus(*app);
    EXPECT_EQ(app->s.channelStrip[0].ChannelNo, 1);
    EXPECT_EQ(app->s.channelStrip[0].Program, 0);
    EXPECT_EQ(app->s.channelStrip[0].Volume, 100);
    EXPECT_EQ(app->s.channelStrip[0].Pan, 64);
}

TEST_F(ScannerTest, MissingFileLeavesEmptyBufferAndDisabledStrip) {
    app->s.FileName = (folder.path() / "nothing.mid").string();
    app->s.scan.midiBuffer = "old";
    ReadFile(*app);
    EXPECT_TRUE(app->s.scan.midiBuffer.empty());
    for (std::size_t c = 0; c < 16; ++c) {
        EXPECT_EQ(app->s.channelStrip[c].ChannelNo, -1);
        EXPECT_FALSE(app->ui.Slider2[c]->isEnabled());
    }
    EXPECT_EQ(words().size(), 1u);
}

TEST_F(ScannerTest, FileTempIsTheProgramSweep) {
    const std::string bytes = FileTempBytes();
    ASSERT_EQ(bytes.size(), 411u);
    EXPECT_EQ(bytes.substr(0, 4), "MThd");
    EXPECT_EQ(bytes.substr(4, 10), B({0, 0, 0, 6, 0, 0, 0, 1, 0, 0x60}));
    EXPECT_EQ(bytes.substr(14, 4), "MTrk");
    EXPECT_EQ(bytes.substr(18, 5), B({0, 0, 1, 0x80, 0}));
    for (int k = 0; k < 128; ++k)
        EXPECT_EQ(bytes.substr(23 + 3 * static_cast<std::size_t>(k), 3), B({0xC0, k, 1})) << k;
    EXPECT_EQ(bytes.substr(407), B({0, 0xFF, 0x2F, 0}));

    app->appFolder = folder.str();
    CreateFileTemp(*app);
    std::ifstream in(folder.path() / "filetemp.tmp", std::ios::binary);
    const std::string written((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(written, bytes);
}

// With no program folder nothing is written, not even into the current folder.
TEST_F(ScannerTest, FileTempNeedsTheProgramFolder) {
    const auto empty = folder.path() / "elsewhere";
    std::filesystem::create_directories(empty);
    process.setCurrentFolder(empty.string()); // put back by the process stand-in when it goes
    app->appFolder.clear();
    CreateFileTemp(*app);
    EXPECT_TRUE(std::filesystem::is_empty(empty));
}

TEST_F(ScannerTest, WidestLineIndex) {
    app->s.words.shownLines = {"", "a", "a much longer line", "mid line"};
    EXPECT_EQ(WidestLine(*app), 2);
    EXPECT_EQ(app->ui.Picture3->font().pointSize(), 36);
    app->s.words.shownLines.clear();
    EXPECT_EQ(WidestLine(*app), -1);
}

} // namespace
} // namespace velvora::karaoke
