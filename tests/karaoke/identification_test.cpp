// Song identification by byte search, and the header read that shows it in the four text boxes.
#include "core/utf8.h"
#include "karaoke/karaoke_header.h"
#include "karaoke/midi_bytes.h"
#include "karaoke/midi_scanner.h"
#include "karaoke/song_identification.h"
#include "support/app_fixture.h"

#include <QString>

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

namespace velvora::karaoke {
namespace {

using testing::B;
using testing::endOfTrack;
using testing::meta;
using testing::midiHeader;
using testing::midiTrack;
using testing::tempoEvent;

using testing::scanOf;

std::string song(const std::string& body, int format = 0) {
    return midiHeader(format, 1, 96) + midiTrack(body + endOfTrack());
}

TEST(SongTempo, BeatsFromTheFirstTwoBytesAndAConstantLowByte) {
    struct Case {
        std::string bytes;
        const char* want;
    };
    const Case cases[] = {
        {song(tempoEvent(0x07, 0xA1, 0x20)), "120"}, // 500110 microseconds
        {song(meta(0x01, "no tempo")), "120"},
        {song(tempoEvent(0x0F, 0x42, 0x40)), "60 "}, // 1000078: 59.995 rounds to 60
        {song(tempoEvent(0x03, 0xD0, 0x90)), "240"},
        {song(tempoEvent(0x00, 0x00, 0x01)), "422"}, // 422535, cut to three characters
        // The third byte never matters.
        {song(tempoEvent(0x07, 0xA1, 0xFF)), "120"},
        {song(tempoEvent(0x09, 0x27, 0xC0)), "100"},
        // Cut by the end of the file: only one byte after the length; then none at all.
        {midiHeader(0, 1, 96) + B({0xFF, 0x51, 0x03, 0x07}), "131"},
        {midiHeader(0, 1, 96) + B({0xFF, 0x51, 0x03}), "120"},
    };
    for (const Case& c : cases) {
        MidiScanState s = scanOf(c.bytes);
        TEMPO(s);
        EXPECT_EQ(s.fixTempo, c.want);
    }
}

TEST(SongCopyright, SearchOrderAndWidths) {
    struct Case {
        std::string bytes;
        std::string want;
    };
    const Case cases[] = {
        {song(meta(0x02, "Copyright 2020 ACME Music Ltd")), "t 2020 ACME Music Lt"},
        {song(meta(0x01, "(C) 1999 Someone Else")), " 1999 Some          "},
        {song(meta(0x01, "(c)2001 Little Songs")), "2001 Littl          "},
        {song(B({0x12, 0x40, 0x01, 0x00, 0x7F}) + "ABCDEFGHIJKL"), "ABCDEFGHIJ          "},
        // The copyright event wins over a "(C)" that comes first in the file.
        {song(meta(0x01, "(C) first") + meta(0x02, "12345678Second Copyright Text")), "Second Copyright Tex"},
        {song(meta(0x01, "plain")), std::string(20, ' ')},
        {std::string(), std::string(20, ' ')},
    };
    for (const Case& c : cases) {
        MidiScanState s = scanOf(c.bytes);
        s.fixCopyright = "stale";
        FINDCOSTR(s);
        EXPECT_EQ(s.fixCopyright, c.want);
    }
}

TEST(SongKey, NamesAsTheProgramShowsThem) {
    EXPECT_EQ(KeyName(0, 0), "Do");
    EXPECT_EQ(KeyName(0, 1), "Lam");
    EXPECT_EQ(KeyName(2, 1), "Sim");
    EXPECT_EQ(KeyName(4, 1), "Rebm");
    EXPECT_EQ(KeyName(5, 0), "Fa#");
    EXPECT_EQ(KeyName(5, 1), "Mibm");
    EXPECT_EQ(KeyName(250, 0), "Si");
    EXPECT_EQ(KeyName(250, 1), "Labm");
    EXPECT_EQ(KeyName(253, 1), "Dom");
    EXPECT_EQ(KeyName(255, 0), "Fa");
    EXPECT_EQ(KeyName(6, 0), "");
    EXPECT_EQ(KeyName(249, 0), "");
    EXPECT_EQ(KeyName(1, 2), "");

    struct Case {
        std::string bytes;
        std::string keyBytes;
        const char* name;
    };
    const Case cases[] = {
        {song(B({0, 0xFF, 0x59, 2, 2, 0})), B({2, 0}), "Re"},
        {song(B({0, 0xFF, 0x59, 2, 0xFD, 1})), B({0xFD, 1}), "Dom"},
        {song(B({0, 0xFF, 0x59, 2, 6, 0})), B({6, 0}), ""},
        {song(B({0, 0xFF, 0x59, 2, 0xF9, 1})), B({0xF9, 1}), ""},
        {song(meta(0x01, "no key")), "**", ""},
        // Cut by the end of the file: one byte only.
        {midiHeader(0, 1, 96) + B({0xFF, 0x59, 2, 3}), B({3}), ""},
    };
    for (const Case& c : cases) {
        MidiScanState s = scanOf(c.bytes);
        s.keyName = "stale";
        key(s);
        EXPECT_EQ(s.fixKeyBytes, c.keyBytes);
        tonalita(s);
        EXPECT_EQ(s.keyName, c.name);
    }
}

TEST(SongTitle, TrackNameThenBlockThenTextEvent) {
    const std::string blank30(30, ' ');
    struct Case {
        std::string bytes;
        std::string want;
    };
    const Case cases[] = {
        {song(meta(0x01, "text first") + meta(0x03, "Hello")), "Hello" + std::string(25, ' ')},
        {song(B({0x00, 0x20, 0x24, 0x00, 0x04}) + "ABCDEFGHIJKLMNOPQRS" + meta(0x01, "text")),
         "ABCDEFGHIJKLMNO" + std::string(15, ' ')},
        {song(meta(0x01, "Lyric1")), "Lyric1" + std::string(24, ' ')},
        {song(B({0, 0x90, 60, 100})), blank30},
        {song(meta(0x03, std::string(40, 'x'))), std::string(30, 'x')},
    };
    for (const Case& c : cases) {
        MidiScanState s = scanOf(c.bytes);
        cercatitolo(s);
        EXPECT_EQ(s.fixTitle, c.want);
    }

    // A type field of code 1 (format 1 once TIPO has run) blanks the title.
    MidiScanState typed = scanOf(midiHeader(1, 1, 96) + midiTrack(meta(0x03, "Named") + endOfTrack()));
    TIPO(typed);
    EXPECT_EQ(typed.fixType, "\x01");
    cercatitolo(typed);
    EXPECT_EQ(typed.fixTitle, blank30);

    // "@T" overrides with 20 raw bytes; the first one wins.
    MidiScanState kar = scanOf(song(meta(0x03, "Named") + meta(0x01, "@TShort") + meta(0x01, "@TSecond")));
    cercatitolo(kar);
    TITOLOKARA(kar);
    EXPECT_EQ(kar.fixTitle,
              "Short" + B({0, 0xFF, 1, 8}) + "@TSecond" + B({0, 0xFF, 0x2F}) + std::string(10, ' '));
}

TEST(SongMelodyChannel, FourthChannelNotes) {
    MidiScanState s = scanOf(song(B({0, 0x93, 60, 100, 0, 0x93, 62, 0, 0, 0x93, 64, 80})));
    CANALE4(s);
    EXPECT_EQ(s.fixChannel4, "Y");
    CERCACANTO(s);
    EXPECT_EQ(s.fixMelody, "060064" + std::string(14, ' '));

    std::string many;
    for (int i = 0; i < 10; ++i) many += B({0, 0x93, 70 + i, 90});
    MidiScanState full = scanOf(song(many));
    CERCACANTO(full);
    EXPECT_EQ(full.fixMelody, "07007107207307407507");

    MidiScanState none = scanOf(song(B({0, 0x90, 60, 100})));
    CANALE4(none);
    CERCACANTO(none);
    EXPECT_EQ(none.fixChannel4, "N");
    EXPECT_EQ(none.fixMelody, std::string(20, ' '));

    EXPECT_TRUE(FINDKARA("/songs/a.kar"));
    EXPECT_TRUE(FINDKARA("/songs/A.KAR"));
    EXPECT_FALSE(FINDKARA("/songs/a.mid"));
    EXPECT_FALSE(FINDKARA(""));
}

class HeaderTest : public testing::AppFixture {
  protected:
    void open(const std::string& name, const std::string& data) {
        app->s.FileName = testing::writeFile(folder.path() / name, data);
        GetKaraokeHeader(*app);
    }
    std::string box(QLineEdit* edit) const { return edit->text().toStdString(); }
    std::string trimmed(QLineEdit* edit) const { return edit->text().trimmed().toStdString(); }
};

TEST_F(HeaderTest, FillsTheBoxesFromTheFile) {
    const std::string body = meta(0x03, "Hello") + meta(0x02, "Copyright 2020 ACME Music Ltd") +
                             tempoEvent(0x07, 0xA1, 0x20) + B({0, 0xFF, 0x59, 2, 2, 0});
    app->s.scan.songBpm = 77;
    app->s.midiChannel = 9;
    open("song.mid", midiHeader(1, 1, 96) + midiTrack(body + endOfTrack()));
    EXPECT_EQ(box(app->ui.Title), "Hello" + std::string(25, ' '));
    EXPECT_EQ(box(app->ui.Artist), "t 2020 ACME Music Lt");
    EXPECT_EQ(box(app->ui.Yizear), "120");
    EXPECT_EQ(box(app->ui.GENERE), "Re");
    EXPECT_EQ(app->s.midiChannel, 0);
    EXPECT_EQ(app->s.scan.midiFormat, 1);
    EXPECT_DOUBLE_EQ(app->s.words.msPerTick, 500000.0 / 24.0 / 4000.0);
    EXPECT_DOUBLE_EQ(app->s.scan.msPerTick, app->s.words.msPerTick);
    EXPECT_EQ(app->s.scan.songBpm, 77);
    EXPECT_EQ(app->s.scan.fixTitle, "Hello" + std::string(25, ' '));
}

TEST_F(HeaderTest, ChannelFollowsTheFormat) {
    app->s.midiChannel = 9;
    open("zero.mid", song(meta(0x01, "x"), 0));
    EXPECT_EQ(app->s.midiChannel, 3);
    app->s.midiChannel = 9;
    open("two.mid", song(meta(0x01, "x"), 2));
    EXPECT_EQ(app->s.midiChannel, 9);
}

TEST_F(HeaderTest, KaraokeTitleMark) {
    const std::string body = meta(0x03, "Track") + meta(0x01, "@TMy Song") + meta(0x01, "@LENGL");
    open("song.kar", song(body));
    EXPECT_EQ(box(app->ui.Title).substr(0, 7), "My Song");
    EXPECT_EQ(utf8::charCount(app->s.scan.fixTitle), 30);
    open("SONG.KAR", song(body));
    EXPECT_EQ(box(app->ui.Title).substr(0, 7), "My Song");
    open("song.mid", song(body));
    EXPECT_EQ(trimmed(app->ui.Title), "Track");
    open("plain.kar", song(meta(0x03, "Track")));
    EXPECT_EQ(trimmed(app->ui.Title), "Track");
}

TEST_F(HeaderTest, NoTempoKeepsTimingAndShows120) {
    app->s.words.msPerTick = 0;
    app->s.scan.msPerTick = 3.5;
    open("notempo.mid", song(meta(0x03, "T")));
    EXPECT_EQ(box(app->ui.Yizear), "120");
    EXPECT_EQ(app->s.words.msPerTick, 0);
    EXPECT_EQ(app->s.scan.msPerTick, 3.5);
    EXPECT_EQ(box(app->ui.GENERE), "");
}

TEST_F(HeaderTest, TextIsDecodedForTheBoxes) {
    open("latin.mid", song(meta(0x02, "Copyright Caf\xE9 Music Company") + meta(0x03, "Ni\xC3\xB1o")));
    EXPECT_EQ(box(app->ui.Artist), "t Caf\xC3\xA9 Music Company");
    EXPECT_EQ(trimmed(app->ui.Title), "Ni\xC3\xB1o");
    // A title whose 30th byte starts a two-byte character: the cut character is dropped.
    open("cut.mid", song(meta(0x03, std::string(29, 'a') + "\xC3\xA9")));
    EXPECT_EQ(box(app->ui.Title), std::string(29, 'a'));
    EXPECT_EQ(app->s.scan.fixTitle, std::string(29, 'a') + " ");
}

TEST_F(HeaderTest, MissingFileLeavesBlankFields) {
    app->s.scan.midiBuffer = "old";
    app->s.scan.midiFormat = 7; // no header bytes to read: the word and the channel stay
    app->s.midiChannel = 9;
    app->s.words.msPerTick = 1.5;
    app->ui.GENERE->setText("stale");
    app->s.FileName = (folder.path() / "absent.kar").string();
    GetKaraokeHeader(*app);
    EXPECT_TRUE(app->s.scan.midiBuffer.empty());
    EXPECT_EQ(app->s.midiChannel, 9);
    EXPECT_EQ(app->s.words.msPerTick, 1.5);
    EXPECT_EQ(box(app->ui.Title), std::string(30, ' '));
    EXPECT_EQ(box(app->ui.Artist), std::string(20, ' '));
    EXPECT_EQ(box(app->ui.Yizear), "120");
    EXPECT_EQ(box(app->ui.GENERE), "");
}

// The header read and the full scanner over the real files: sane values, never a crash.
TEST_F(HeaderTest, RealFiles) {
    namespace fs = std::filesystem;
    int files = 0;
    for (const char* sub : {"kar_mid_lyrics", "midi_misc"}) {
        const fs::path dir = fs::path(VELVORA_REALDATA) / sub;
        if (!fs::is_directory(dir)) GTEST_SKIP() << "no real data at " << dir;
        for (const auto& entry : fs::directory_iterator(dir)) {
            if (!entry.is_regular_file()) continue;
            SCOPED_TRACE(entry.path().filename().string());
            ++files;
            app->s.FileName = entry.path().string();
            app->s.words = WordModel{};
            GetKaraokeHeader(*app);
            const MidiScanState& scan = app->s.scan;
            EXPECT_EQ(scan.midiBuffer.size(), entry.file_size());
            EXPECT_EQ(utf8::charCount(scan.fixTitle), 30);
            EXPECT_EQ(utf8::charCount(scan.fixCopyright), 20);
            EXPECT_EQ(utf8::charCount(scan.fixTempo), 3);
            EXPECT_TRUE(std::isfinite(app->s.words.msPerTick));
            EXPECT_GE(app->s.words.msPerTick, 0);
            if (scan.midiBuffer.rfind("MThd", 0) == 0 && entry.file_size() >= 14 &&
                entry.path().filename().string().find("BadHeaderFormat") == std::string::npos) {
                EXPECT_TRUE(scan.midiFormat >= 0 && scan.midiFormat <= 2) << scan.midiFormat;
            }

            ReadFile(*app);
            const WordModel& w = app->s.words;
            for (std::size_t i = 1; i < w.wordList.size(); ++i) {
                const WordRec& word = w.wordList[i];
                ASSERT_LT(static_cast<std::size_t>(word.LineNo), w.shownLines.size());
                EXPECT_EQ(word.Length, utf8::charCount(word.Text));
                const std::u32string line =
                    utf8::toText32(w.shownLines[static_cast<std::size_t>(word.LineNo)]);
                const auto column = static_cast<std::size_t>(word.Column);
                const std::u32string shown =
                    column <= line.size() ? line.substr(column, static_cast<std::size_t>(word.Length)) : U"";
                EXPECT_EQ(utf8::fromText32(shown), word.Text) << i;
                if (i > 1) {
                    EXPECT_GE(word.TimeMs, w.wordList[i - 1].TimeMs);
                }
            }
        }
    }
    EXPECT_GT(files, 40);

    app->s.FileName = (fs::path(VELVORA_REALDATA) / "kar_mid_lyrics" / "dmidiplayer__twinkle.kar").string();
    GetKaraokeHeader(*app);
    EXPECT_EQ(trimmed(app->ui.Title), "Twinkle, Twinkle, Li");
    EXPECT_EQ(box(app->ui.Yizear).size(), 3u);
}

} // namespace
} // namespace velvora::karaoke
