// The Standard MIDI File reader and the tempo map, on files the tests build.
#include "engine/api.h"
#include "engine/midi/smf_reader.h"
#include "engine/midi_test_util.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

using namespace engine::midi;
using miditest::parse;
using miditest::smf;
using miditest::Track;

TEST(MidiReader, RunningStatusRepeatsTheLastChannelStatus) {
    Track t;
    t.raw(0, {0x90, 60, 100}).raw(10, {62, 90}).raw(10, {64, 0}); // note-ons by running status
    t.raw(0, {0xc1, 5}).raw(5, {7});                              // program changes, one data byte
    t.meta(0, 0x03, "name").raw(1, {0x65});                       // status survives a meta event
    t.end();
    auto f = parse(smf(0, 96, {t}));
    ASSERT_TRUE(f);
    const auto& e = f->events();
    ASSERT_EQ(e.size(), 8u);
    EXPECT_EQ(e[1].status, 0x90);
    EXPECT_EQ(e[1].data1, 62);
    EXPECT_EQ(e[1].tick, 10u);
    EXPECT_EQ(e[2].data1, 64);
    EXPECT_EQ(e[2].data2, 0);
    EXPECT_EQ(e[4].status, 0xc1);
    EXPECT_EQ(e[4].data1, 7);
    EXPECT_EQ(e[4].tick, 25u);
    EXPECT_EQ(e[6].status, 0xc1);
    EXPECT_EQ(e[6].data1, 0x65);
    EXPECT_FALSE(f->damaged());

    // A data byte before any status cannot be read: the track ends before it.
    Track bad;
    bad.raw(0, {60, 100}).end();
    int error = 0;
    auto g = parse(smf(0, 96, {bad}), error);
    ASSERT_TRUE(g);
    EXPECT_TRUE(g->events().empty());
    EXPECT_TRUE(g->damaged());
}

TEST(MidiReader, VariableLengthNumbersUpToFourBytes) {
    const std::uint32_t deltas[] = {0, 0x7f, 0x80, 0x3fff, 0x4000, 0x1fffff, 0x200000, 0x0fffffff};
    Track t;
    for (std::uint32_t d : deltas) t.cc(d, 0, 7, 100);
    t.end();
    EXPECT_EQ(miditest::vlq(0x0fffffff), std::string("\xff\xff\xff\x7f"));
    auto f = parse(smf(0, 96, {t}));
    ASSERT_TRUE(f);
    std::uint64_t tick = 0;
    for (std::size_t i = 0; i < std::size(deltas); ++i) {
        tick += deltas[i];
        EXPECT_EQ(f->events()[i].tick, tick) << i;
    }
    EXPECT_EQ(f->lengthTicks(), tick);

    // Five bytes is no number: the track is cut there, keeping what came before.
    Track five;
    five.cc(0, 0, 7, 1);
    five.data += "\x81\x80\x80\x80\x00";
    five.data += "\xb0\x07\x02";
    five.end();
    auto g = parse(smf(0, 96, {five}));
    ASSERT_TRUE(g);
    EXPECT_EQ(g->events().size(), 1u);
    EXPECT_TRUE(g->damaged());
}

TEST(MidiReader, SysexAndEveryMetaEventKeepTheirBytes) {
    Track t;
    t.sysex(0, 0xf0, std::string("\x7e\x7f\x09\x01\xf7", 5));
    t.sysex(5, 0xf7, std::string("\x43\x12", 2));
    const int metas[] = {0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x20, 0x21, 0x54, 0x58, 0x59, 0x7f};
    for (int m : metas) t.meta(1, m, std::string(static_cast<std::size_t>(m % 5 + 1), static_cast<char>(m)));
    t.raw(0, {0x90, 1, 2});
    t.end();
    auto f = parse(smf(1, 96, {t}));
    ASSERT_TRUE(f);
    const auto& e = f->events();
    ASSERT_EQ(e.size(), 2 + std::size(metas) + 2);
    EXPECT_EQ(e[0].status, 0xf0);
    ASSERT_EQ(e[0].length, 5u);
    EXPECT_EQ(f->payload(e[0])[4], 0xf7);
    EXPECT_EQ(e[1].status, 0xf7);
    EXPECT_EQ(e[1].length, 2u);
    EXPECT_EQ(f->payload(e[1])[0], 0x43);
    EXPECT_EQ(e[1].tick, 5u);
    for (std::size_t i = 0; i < std::size(metas); ++i) {
        const SmfEvent& m = e[2 + i];
        EXPECT_EQ(m.status, 0xff);
        EXPECT_EQ(m.type, metas[i]);
        EXPECT_EQ(m.length, static_cast<std::uint32_t>(metas[i] % 5 + 1));
        EXPECT_EQ(f->payload(m)[0], metas[i]);
        EXPECT_EQ(m.tick, 6 + i);
    }
    EXPECT_EQ(e[e.size() - 2].status, 0x90);
    EXPECT_TRUE(e.back().isMeta(0x2f));
}

TEST(MidiReader, TracksMergeInTickThenTrackThenFileOrder) {
    Track a, b, c;
    a.text(10, "a1").text(0, "a2").text(5, "a3").end(100);
    b.text(0, "b0").text(10, "b1").text(0, "b2").end();
    c.text(10, "c1").text(5, "c2").end();
    auto f = parse(smf(1, 96, {a, b, c}));
    ASSERT_TRUE(f);
    std::string order;
    for (const SmfMark& m : f->marks(MarkType::Text)) order += m.text + " ";
    EXPECT_EQ(order, "b0 a1 a2 b1 b2 c1 a3 c2 ");
    const auto& marks = f->marks(MarkType::Text);
    EXPECT_EQ(marks[1].track, 0u);
    EXPECT_EQ(marks[3].track, 1u);
    EXPECT_EQ(marks[5].track, 2u);
    EXPECT_EQ(marks[6].tick, 15u);
    for (std::size_t i = 1; i < f->events().size(); ++i)
        EXPECT_LE(f->events()[i - 1].tick, f->events()[i].tick);
    EXPECT_EQ(f->lengthTicks(), 115u);
    EXPECT_EQ(f->trackCount(), 3u);
    EXPECT_EQ(f->format(), 1);
}

TEST(MidiReader, FormatTwoPlaysTracksOneAfterAnother) {
    Track a, b;
    a.tempo(0, 250000).lyric(50, "one").end(50);
    b.lyric(10, "two").tempo(0, 1000000).lyric(90, "three").end(0);
    auto f = parse(smf(2, 100, {a, b}));
    ASSERT_TRUE(f);
    const auto& lyrics = f->marks(MarkType::Lyric);
    ASSERT_EQ(lyrics.size(), 3u);
    EXPECT_EQ(lyrics[0].tick, 50u);
    EXPECT_EQ(lyrics[1].tick, 110u);
    EXPECT_EQ(lyrics[2].tick, 200u);
    EXPECT_EQ(lyrics[2].track, 1u);
    EXPECT_EQ(f->lengthTicks(), 200u);
    // Track 0's tempo holds into track 1 until it sets its own.
    TempoMap map(*f, 44100);
    EXPECT_EQ(map.tempoAtTick(105), 250000u);
    EXPECT_EQ(map.tempoAtTick(110), 1000000u);
    EXPECT_EQ(map.frameOfTick(110), 110ull * 250000 * 44100 / 100 / 1000000 + 1); // 12127.5 rounded up
}

// Ticks per quarter 480; tempos 120, 100, 75, 210 bpm; two changes at one tick (the later wins).
std::string tempoFile() {
    Track t;
    t.tempo(0, 500000).lyric(480, "a").tempo(480, 600000).tempo(0, 800000).lyric(7, "b");
    t.tempo(953, 285714).text(1, "c").end(3000);
    return smf(0, 480, {t});
}

TEST(MidiReader, TempoMapConvertsExactlyBothWays) {
    auto f = parse(tempoFile());
    ASSERT_TRUE(f);
    ASSERT_EQ(f->tempos().size(), 3u);
    EXPECT_EQ(f->tempos()[1].tick, 960u);
    EXPECT_EQ(f->tempos()[1].usPerQuarter, 800000u);
    for (std::uint32_t rate : {44100u, 48000u, 22050u, 8000u}) {
        TempoMap map(*f, rate);
        std::uint64_t last = 0;
        for (std::uint64_t tick = 0; tick <= f->lengthTicks() + 50; ++tick) {
            const std::uint64_t frame = map.frameOfTick(tick);
            ASSERT_EQ(map.tickOfFrame(frame), tick) << rate << " " << tick;
            if (tick) {
                ASSERT_GT(frame, last);
            }
            // Every frame before a tick's frame belongs to an earlier tick.
            if (frame) {
                ASSERT_EQ(map.tickOfFrame(frame - 1), tick - 1) << rate << " " << tick;
            }
            last = frame;
        }
    }
    TempoMap map(*f, 44100);
    // 960 ticks at 120 bpm is one second; then 960 ticks at 75 bpm is 1.6 s.
    EXPECT_EQ(map.frameOfTick(960), 44100u);
    EXPECT_EQ(map.frameOfTick(1920), 44100u + 70560u);
    EXPECT_EQ(map.frameOfTick(1921), 44100u + 70560u + (285714ull * 44100 + 480000000 - 1) / 480000000);
    EXPECT_EQ(map.frameOfTick(961), 44100u + 74u); // 73.5 frames rounded up
    EXPECT_EQ(map.tickOfFrame(44100 + 73), 960u);
    EXPECT_EQ(map.tempoAtTick(959), 500000u);
    EXPECT_EQ(map.tempoAtTick(960), 800000u);
}

TEST(MidiReader, MarksCarryTrackTickAndRawBytes) {
    Track conductor, words;
    conductor.tempo(0, 400000).text(0, "title").end();
    words.lyric(96, "Hel").lyric(48, std::string("lo\0\xe9", 4)).text(0, "@T").lyric(48, "\\world").end(10);
    auto f = parse(smf(1, 96, {conductor, words}));
    ASSERT_TRUE(f);
    const auto& lyrics = f->marks(MarkType::Lyric);
    const auto& texts = f->marks(MarkType::Text);
    ASSERT_EQ(lyrics.size(), 3u);
    ASSERT_EQ(texts.size(), 2u);
    EXPECT_EQ(lyrics[1].text, std::string("lo\0\xe9", 4));
    EXPECT_EQ(lyrics[1].tick, 144u);
    EXPECT_EQ(lyrics[2].text, "\\world");
    EXPECT_EQ(texts[0].track, 0u);
    EXPECT_EQ(texts[1].track, 1u);
    EXPECT_EQ(texts[1].text, "@T");
    EXPECT_TRUE(f->events()[lyrics[2].event].isMeta(0x05));
    TempoMap map(*f, 44100);
    // Byte positions of 16-bit stereo: four bytes a frame. 144 ticks at 0.4 s per 96 = 0.6 s.
    EXPECT_EQ(map.frameOfTick(lyrics[1].tick) * 4, 26460u * 4);
}

TEST(MidiReader, SmpteTimingUsesFixedTicksPerSecond) {
    Track t;
    t.tempo(0, 250000).lyric(1000, "x").end();
    std::string bytes = smf(0, 0, {t});
    bytes[12] = static_cast<char>(0xe7); // -25 frames per second
    bytes[13] = 40;                      // 40 ticks per frame
    auto f = parse(bytes);
    ASSERT_TRUE(f);
    EXPECT_TRUE(f->smpte());
    TempoMap map(*f, 44100);
    EXPECT_EQ(map.frameOfTick(1000), 44100u);
}

TEST(MidiReader, RiffWrappedFileIsRead) {
    Track t;
    t.lyric(0, "r").end();
    const std::string inner = smf(0, 96, {t});
    auto le = [](std::uint32_t v) {
        std::string s;
        for (int i = 0; i < 4; ++i) s += static_cast<char>((v >> (8 * i)) & 0xff);
        return s;
    };
    std::string body = "RMID" + std::string("data") + le(static_cast<std::uint32_t>(inner.size())) + inner;
    auto f = parse("RIFF" + le(static_cast<std::uint32_t>(body.size())) + body);
    ASSERT_TRUE(f);
    EXPECT_EQ(f->marks(MarkType::Lyric).size(), 1u);
}

TEST(MidiReader, BrokenInputFailsCleanlyOrKeepsWhatIsValid) {
    Track t;
    t.program(0, 0, 1)
        .on(0, 0, 60)
        .lyric(10, "la")
        .sysex(0, 0xf0, "\x01\xf7")
        .tempo(5, 400000)
        .off(20, 0, 60)
        .end();
    const std::string good = smf(1, 96, {t});
    int error = 0;

    EXPECT_FALSE(parse("", error));
    EXPECT_EQ(error, BASS_ERROR_FILEFORM);
    EXPECT_FALSE(parse("Not a MIDI file", error));
    EXPECT_EQ(error, BASS_ERROR_FILEFORM);
    std::string s = good;
    s[9] = 3; // format 3
    EXPECT_FALSE(parse(s, error));
    s = good;
    s[12] = s[13] = 0; // division 0
    EXPECT_FALSE(parse(s, error));
    s = good;
    s[7] = 4; // header shorter than its fields
    EXPECT_FALSE(parse(s, error));
    s = good;
    s[14] = 'm'; // no track chunk
    EXPECT_FALSE(parse(s, error));
    EXPECT_FALSE(parse(smf(1, 96, {}), error));

    // A track that says it is longer than the file: what is complete is read.
    s = good.substr(0, good.size() - 6);
    auto f = parse(s, error);
    ASSERT_TRUE(f);
    EXPECT_TRUE(f->damaged());
    EXPECT_EQ(f->marks(MarkType::Lyric).size(), 1u);

    // A status byte of the system-common range ends the track there.
    Track odd;
    odd.on(0, 0, 60).raw(1, {0xf2, 1, 2}).on(0, 0, 62).end();
    f = parse(smf(0, 96, {odd}));
    ASSERT_TRUE(f);
    EXPECT_EQ(f->events().size(), 1u);

    // Every prefix and every single-byte corruption of a good file: no crash, and no more events.
    const auto full = parse(good);
    ASSERT_TRUE(full);
    for (std::size_t n = 0; n <= good.size(); ++n) {
        auto p = parse(good.substr(0, n));
        if (p) {
            EXPECT_LE(p->events().size(), full->events().size());
        }
    }
    for (std::size_t i = 0; i < good.size(); ++i)
        for (int v : {0x00, 0x7f, 0x80, 0xf0, 0xff}) {
            std::string c = good;
            c[i] = static_cast<char>(v);
            auto p = parse(c);
            if (!p) continue;
            TempoMap map(*p, 44100);
            for (const SmfEvent& e : p->events()) {
                ASSERT_LE(e.offset + e.length, c.size());
                (void)map.frameOfTick(e.tick);
            }
        }
}

TEST(MidiReader, LoadReportsAnUnreadableFile) {
    int error = 0;
    EXPECT_FALSE(SmfFile::load("/nonexistent/velvora/none.mid", error));
    EXPECT_EQ(error, BASS_ERROR_FILEOPEN);
    const auto path = std::filesystem::temp_directory_path() / "velvora-midi-reader-load.mid";
    Track t;
    t.lyric(3, "x").end();
    miditest::writeFile(path, smf(0, 96, {t}));
    auto f = SmfFile::load(path.string(), error);
    std::filesystem::remove(path);
    ASSERT_TRUE(f);
    EXPECT_EQ(error, 0);
    EXPECT_EQ(f->marks(MarkType::Lyric).at(0).tick, 3u);
}

} // namespace
