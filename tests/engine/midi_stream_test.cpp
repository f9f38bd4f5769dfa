// MIDI streams through the published operations, on the virtual device: positions in bytes and
// ticks, marks, events sent from outside, syncs at their moments, decoding and auto-free.
#include "engine/api.h"
#include "engine/midi/midi_renderer.h"
#include "engine/midi/soundfont.h"
#include "engine/midi_test_util.h"
#include "engine/stream_fixtures.h"
#include "engine/testing.h"
#include "engine/virtual_device.h"

#include <gtest/gtest.h>

#include <optional>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <vector>

namespace {

using engine::testing::advance;
using miditest::smf;
using miditest::Track;

constexpr const char* kFontPath = "/usr/share/sounds/sf2/TimGM6mb.sf2";
constexpr double kRate = 44100.0;

// Frames of `ticks` at `us` per quarter note and `ppq`, computed by hand for the expectations.
std::uint64_t framesOf(std::uint64_t ticks, double us, int ppq) {
    return static_cast<std::uint64_t>(std::ceil(ticks * us / ppq * kRate / 1e6 - 1e-9));
}

// Conductor: 500000 us from 0, 250000 from 960, 1000000 from 1920, end at 2880 (ppq 480), so the
// sections last 1 s, 0.5 s and 2 s. Words: lyrics at 480, 1440 and 2400 in track 1, a text at 1920
// in track 2.
std::string tempoSong() {
    Track c, w, t;
    c.tempo(0, 500000).tempo(960, 250000).tempo(960, 1000000).end(960);
    w.lyric(480, "Hel").lyric(960, "lo").lyric(960, "\\world").end();
    t.text(1920, "@Ttitle").end();
    return smf(1, 480, {c, w, t});
}
std::uint64_t tempoSongFrame(std::uint64_t tick) {
    if (tick <= 960) return framesOf(tick, 500000, 480);
    if (tick <= 1920) return 44100 + framesOf(tick - 960, 250000, 480);
    return 44100 + 22050 + framesOf(tick - 1920, 1000000, 480);
}

// One long flute note on `ch` (key `key`), for pitch and level checks.
std::string noteSong(int ch, int key) {
    Track t;
    t.program(0, ch, 73).on(0, ch, key, 110).off(1920, ch, key).end(240);
    return smf(0, 480, {t});
}

class MidiStreamTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(device_.emplace(fixtures::VirtualDevice::Options{.keepHeard = true}).opened());
        ASSERT_TRUE(BASS_SetVolume(1.0f));
        if (std::filesystem::exists(kFontPath)) font_ = BASS_MIDI_FontInit(kFontPath, 0);
        BASS_MIDI_FONT f{font_, -1, 0};
        BASS_MIDI_StreamSetFonts(0, &f, font_ ? 1 : 0);
    }
    void TearDown() override {
        device_.reset();
        BASS_MIDI_StreamSetFonts(0, nullptr, 0);
        if (font_) BASS_MIDI_FontFree(font_);
    }
    std::optional<fixtures::VirtualDevice> device_;
    static std::string write(const std::string& name, const std::string& bytes) {
        return fixtures::writeBytes(name, bytes);
    }
    // Reads `frames` stereo float frames from a decode-only float stream.
    static std::vector<float> decode(HSTREAM h, std::size_t frames) {
        std::vector<float> out(frames * 2);
        std::size_t got = 0;
        while (got < frames) {
            const DWORD n =
                BASS_ChannelGetData(h, out.data() + got * 2, static_cast<DWORD>((frames - got) * 8));
            if (n == 0xFFFFFFFFu) break;
            got += n / 8;
        }
        out.resize(got * 2);
        return out;
    }
    HSOUNDFONT font_ = 0;
};

#define REQUIRE_FONT()                                                                                       \
    if (!font_) GTEST_SKIP() << "no soundfont at " << kFontPath

// Advances the virtual device in steps, keeping the count of frames played; a sync reads `frames`.
struct Clock {
    static inline std::atomic<std::uint64_t> frames{0};
    static void run(unsigned total, unsigned step) {
        for (unsigned done = 0; done < total; done += step) {
            frames += step; // delayed syncs run inside advance(), once this block has been heard
            advance(step);
        }
    }
};

TEST_F(MidiStreamTest, TicksAndBytesConvertBothWaysThroughTheTempoMap) {
    const std::string path = write("tempo.mid", tempoSong());
    // A fresh font handle: no stream has loaded its samples yet.
    HSOUNDFONT own = font_ ? BASS_MIDI_FontInit(kFontPath, 0) : 0;
    const HSTREAM h = BASS_MIDI_StreamCreateFile(false, path.c_str(), 0, 0, BASS_STREAM_DECODE, 0);
    ASSERT_NE(h, 0u);
    if (own) {
        BASS_MIDI_FONT f{own, -1, 0};
        ASSERT_TRUE(BASS_MIDI_StreamSetFonts(h, &f, 1));
    }
    BASS_CHANNELINFO info{};
    ASSERT_TRUE(BASS_ChannelGetInfo(h, &info));
    EXPECT_EQ(info.freq, 44100u);
    EXPECT_EQ(info.chans, 2u);
    EXPECT_EQ(info.ctype, BASS_CTYPE_STREAM_MIDI);

    EXPECT_EQ(BASS_ChannelGetLength(h, BASS_POS_MIDI_TICK), 2880u);
    EXPECT_EQ(BASS_ChannelGetLength(h, BASS_POS_BYTE), (44100u + 22050u + 88200u) * 4);
    for (std::uint64_t tick : {0, 1, 479, 480, 959, 960, 961, 1500, 1919, 1920, 2399, 2879, 2880}) {
        ASSERT_TRUE(BASS_ChannelSetPosition(h, tick, BASS_POS_MIDI_TICK)) << tick;
        EXPECT_EQ(BASS_ChannelGetPosition(h, BASS_POS_MIDI_TICK), tick);
        const QWORD bytes = BASS_ChannelGetPosition(h, BASS_POS_BYTE);
        EXPECT_EQ(bytes, tempoSongFrame(tick) * 4) << tick;
        ASSERT_TRUE(BASS_ChannelSetPosition(h, 0, BASS_POS_BYTE));
        ASSERT_TRUE(BASS_ChannelSetPosition(h, bytes, BASS_POS_BYTE));
        EXPECT_EQ(BASS_ChannelGetPosition(h, BASS_POS_MIDI_TICK), tick) << "byte " << bytes;
    }
    // A byte position inside a tick reads as that tick.
    ASSERT_TRUE(BASS_ChannelSetPosition(h, (44100 + 100) * 4, BASS_POS_BYTE));
    EXPECT_EQ(BASS_ChannelGetPosition(h, BASS_POS_MIDI_TICK), 960u + 100u * 480 * 4 / 44100);
    // Past the end, and unknown modes.
    EXPECT_FALSE(BASS_ChannelSetPosition(h, 2881, BASS_POS_MIDI_TICK));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_POSITION);
    EXPECT_FALSE(BASS_ChannelSetPosition(h, 0, 7));
    EXPECT_EQ(BASS_ChannelGetLength(h, 7), ~QWORD{0});

    // Float samples: the byte positions double.
    const HSTREAM f =
        BASS_MIDI_StreamCreateFile(false, path.c_str(), 0, 0, BASS_STREAM_DECODE | BASS_SAMPLE_FLOAT, 0);
    ASSERT_TRUE(BASS_ChannelSetPosition(f, 1440, BASS_POS_MIDI_TICK));
    EXPECT_EQ(BASS_ChannelGetPosition(f, BASS_POS_BYTE), tempoSongFrame(1440) * 8);

    if (own) {
        // Positions and seeks made no synthesizer; the first read does.
        BASS_MIDI_FONTINFO fi{};
        ASSERT_TRUE(BASS_MIDI_FontGetInfo(own, &fi));
        EXPECT_EQ(fi.samload, 0u);
        std::vector<std::int16_t> buf(2048);
        ASSERT_TRUE(BASS_ChannelSetPosition(h, 0, BASS_POS_BYTE));
        EXPECT_EQ(BASS_ChannelGetData(h, buf.data(), 4096), 4096u);
        ASSERT_TRUE(BASS_MIDI_FontGetInfo(own, &fi));
        EXPECT_GT(fi.samload, 0u);
        BASS_StreamFree(h);
        BASS_MIDI_FontFree(own);
    }
}

TEST_F(MidiStreamTest, MarksGiveTrackBytePositionAndTextAndTheScanFindsTheirTicks) {
    const std::string path = write("marks.mid", tempoSong());
    const HSTREAM h = BASS_MIDI_StreamCreateFile(false, path.c_str(), 0, 0, BASS_STREAM_AUTOFREE, 44100);
    ASSERT_NE(h, 0u);
    EXPECT_EQ(BASS_MIDI_StreamGetMark(h, BASS_MIDI_MARK_LYRIC, ~DWORD{0}, nullptr), 3);
    EXPECT_EQ(BASS_MIDI_StreamGetMark(h, BASS_MIDI_MARK_TEXT, ~DWORD{0}, nullptr), 1);
    const std::uint64_t ticks[] = {480, 1440, 2400};
    const char* texts[] = {"Hel", "lo", "\\world"};
    BASS_MIDI_MARK mark{};
    for (DWORD i = 0; i < 3; ++i) {
        ASSERT_TRUE(BASS_MIDI_StreamGetMark(h, BASS_MIDI_MARK_LYRIC, i, &mark));
        EXPECT_EQ(mark.track, 1u);
        EXPECT_EQ(mark.pos, tempoSongFrame(ticks[i]) * 4);
        EXPECT_STREQ(mark.text, texts[i]);
        // As the lyric scan reads it: a byte seek, then the tick.
        ASSERT_TRUE(BASS_ChannelSetPosition(h, mark.pos, BASS_POS_BYTE));
        EXPECT_EQ(BASS_ChannelGetPosition(h, BASS_POS_MIDI_TICK), ticks[i]);
    }
    ASSERT_TRUE(BASS_MIDI_StreamGetMark(h, BASS_MIDI_MARK_TEXT, 0, &mark));
    EXPECT_EQ(mark.track, 2u);
    EXPECT_EQ(mark.pos, tempoSongFrame(1920) * 4);
    EXPECT_STREQ(mark.text, "@Ttitle");
    // A missing index fails and leaves the record as it was.
    const BASS_MIDI_MARK before = mark;
    EXPECT_FALSE(BASS_MIDI_StreamGetMark(h, BASS_MIDI_MARK_LYRIC, 3, &mark));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_ILLPARAM);
    EXPECT_FALSE(BASS_MIDI_StreamGetMark(h, BASS_MIDI_MARK_TEXT, 1, &mark));
    EXPECT_EQ(mark.pos, before.pos);
    EXPECT_EQ(mark.text, before.text);
    EXPECT_FALSE(BASS_MIDI_StreamGetMark(h, 4, 0, &mark));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_ILLTYPE);

    // A song without marks counts none; a stream that is not MIDI has none.
    const std::string plain = write("plain.mid", noteSong(0, 60));
    const HSTREAM p = BASS_MIDI_StreamCreateFile(false, plain.c_str(), 0, 0, BASS_STREAM_DECODE, 0);
    EXPECT_EQ(BASS_MIDI_StreamGetMark(p, BASS_MIDI_MARK_LYRIC, ~DWORD{0}, nullptr), 0);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_OK);
    EXPECT_FALSE(BASS_MIDI_StreamGetMark(p, BASS_MIDI_MARK_LYRIC, 0, &mark));
    const std::string wav = fixtures::writeAudio("notmidi.wav", fixtures::pattern(100), 2, 44100);
    const HSTREAM w = BASS_StreamCreateFile(false, wav.c_str(), 0, 0, BASS_STREAM_DECODE);
    EXPECT_FALSE(BASS_MIDI_StreamGetMark(w, BASS_MIDI_MARK_LYRIC, ~DWORD{0}, &mark));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_HANDLE);
    EXPECT_FALSE(BASS_MIDI_StreamEvent(w, 0, MIDI_EVENT_TEMPO, 500000));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_HANDLE);
}

TEST_F(MidiStreamTest, NoteEventsAreListedInTimeOrderWithTheirChannelsAndPositions) {
    // Track 1 plays channel 3, track 2 channel 9 with a note-on of velocity 0 for its end; the
    // conductor's tempo changes put the notes in sections of different lengths.
    Track c, melody, drums;
    c.tempo(0, 500000).tempo(960, 250000).tempo(960, 1000000).end(960);
    melody.program(0, 3, 73).on(480, 3, 67, 90).off(960, 3, 67).on(0, 3, 69, 80).off(960, 3, 69).end();
    drums.on(960, 9, 36, 100).on(480, 9, 36, 0).end();
    const std::string path = write("notes.mid", smf(1, 480, {c, melody, drums}));
    const HSTREAM h = BASS_MIDI_StreamCreateFile(false, path.c_str(), 0, 0, BASS_STREAM_DECODE, 44100);
    ASSERT_NE(h, 0u);

    ASSERT_EQ(BASS_MIDI_StreamGetEvents(h, -1, MIDI_EVENT_NOTE, nullptr), 6u);
    std::vector<BASS_MIDI_EVENT> all(6);
    ASSERT_EQ(BASS_MIDI_StreamGetEvents(h, -1, MIDI_EVENT_NOTE, all.data()), 6u);
    struct Want {
        DWORD chan, key, velocity, tick;
    };
    const Want want[] = {{3, 67, 90, 480},  {9, 36, 100, 960}, {3, 67, 0, 1440},
                         {3, 69, 80, 1440}, {9, 36, 0, 1440},  {3, 69, 0, 2400}};
    for (std::size_t i = 0; i < 6; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(all[i].event, MIDI_EVENT_NOTE);
        EXPECT_EQ(all[i].chan, want[i].chan);
        EXPECT_EQ(all[i].param & 0xff, want[i].key);
        EXPECT_EQ(all[i].param >> 8, want[i].velocity);
        EXPECT_EQ(all[i].tick, want[i].tick);
        EXPECT_EQ(all[i].pos, tempoSongFrame(want[i].tick) * 4);
    }
    // One track alone; a track with none; filters and handles that are not notes or MIDI fail.
    EXPECT_EQ(BASS_MIDI_StreamGetEvents(h, 2, MIDI_EVENT_NOTE, nullptr), 2u);
    EXPECT_EQ(BASS_MIDI_StreamGetEvents(h, 0, MIDI_EVENT_NOTE, nullptr), 0u);
    EXPECT_EQ(BASS_MIDI_StreamGetEvents(h, -1, MIDI_EVENT_TEMPO, nullptr), ~DWORD{0});
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_ILLTYPE);
    const std::string wav = fixtures::writeAudio("notmidi2.wav", fixtures::pattern(100), 2, 44100);
    const HSTREAM w = BASS_StreamCreateFile(false, wav.c_str(), 0, 0, BASS_STREAM_DECODE);
    EXPECT_EQ(BASS_MIDI_StreamGetEvents(w, -1, MIDI_EVENT_NOTE, nullptr), ~DWORD{0});
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_HANDLE);
    BASS_StreamFree(h);
    BASS_StreamFree(w);
}

TEST_F(MidiStreamTest, ASeekByTickWhilePlayingReadsBackThatTickAndPlaysOnFromIt) {
    const std::string path = write("seek.mid", tempoSong());
    const HSTREAM h = BASS_MIDI_StreamCreateFile(false, path.c_str(), 0, 0, 0, 0);
    ASSERT_TRUE(BASS_ChannelPlay(h, false));
    advance(10000);
    const QWORD before = BASS_ChannelGetPosition(h, BASS_POS_MIDI_TICK);
    EXPECT_NEAR(static_cast<double>(before), 10000 / kRate * 960, 12.0); // 960 ticks a second
    ASSERT_TRUE(BASS_ChannelSetPosition(h, 1700, BASS_POS_MIDI_TICK));
    EXPECT_EQ(BASS_ChannelGetPosition(h, BASS_POS_MIDI_TICK), 1700u);
    EXPECT_EQ(BASS_MIDI_StreamGetEvent(h, 0, MIDI_EVENT_TEMPO), 250000u);
    advance(4410);
    // 0.1 s at 250000 us per quarter note and 480 per quarter: 192 ticks on.
    const QWORD after = BASS_ChannelGetPosition(h, BASS_POS_MIDI_TICK);
    EXPECT_NEAR(static_cast<double>(after), 1700.0 + 192, 12.0);
    ASSERT_TRUE(BASS_ChannelSetPosition(h, 2000, BASS_POS_MIDI_TICK));
    EXPECT_EQ(BASS_MIDI_StreamGetEvent(h, 0, MIDI_EVENT_TEMPO), 1000000u);
    EXPECT_EQ(BASS_ChannelGetPosition(h, BASS_POS_MIDI_TICK), 2000u);
}

// What the sync callbacks below saw.
struct Seen {
    static inline std::mutex lock;
    static inline std::vector<std::pair<DWORD, std::uint64_t>> lyrics; // index, clock at callback
    static inline std::atomic<int> tempoSyncs{0};
    static inline double scale = 1.0;
};

// The program's tempo scale: a mix-time sync on every tempo event reads the tempo in force and
// sends it back scaled.
void scaleTempo(HSYNC, DWORD channel, DWORD, void*) {
    ++Seen::tempoSyncs;
    const DWORD tempo = BASS_MIDI_StreamGetEvent(channel, 0, MIDI_EVENT_TEMPO);
    BASS_MIDI_StreamEvent(channel, 0, MIDI_EVENT_TEMPO, static_cast<DWORD>(tempo * Seen::scale));
}

void noteLyric(HSYNC, DWORD, DWORD data, void*) {
    std::lock_guard lock(Seen::lock);
    Seen::lyrics.push_back({data, Clock::frames.load()});
}

TEST_F(MidiStreamTest, AMixTimeTempoSyncScalesEverySectionOfTheSong) {
    // Lyrics at the section starts (0, 960, 1920) and near the end (2870).
    Track c, w;
    c.tempo(0, 500000).tempo(960, 250000).tempo(960, 1000000).end(960);
    w.lyric(0, "a").lyric(960, "b").lyric(960, "c").lyric(950, "d").end(10);
    const std::string path = write("scale.mid", smf(1, 480, {c, w}));
    const double nominal[] = {44100, 22050, static_cast<double>(framesOf(950, 1000000, 480))};
    for (double scale : {1.0, 2.0}) {
        SCOPED_TRACE(scale);
        Seen::scale = scale;
        Seen::lyrics.clear();
        Seen::tempoSyncs = 0;
        Clock::frames = 0;
        const HSTREAM h = BASS_MIDI_StreamCreateFile(false, path.c_str(), 0, 0, 0, 44100);
        ASSERT_NE(h, 0u);
        ASSERT_NE(BASS_ChannelSetSync(h, BASS_SYNC_MIDI_EVENT | BASS_SYNC_MIXTIME, MIDI_EVENT_TEMPO,
                                      scaleTempo, nullptr),
                  0u);
        ASSERT_NE(BASS_ChannelSetSync(h, BASS_SYNC_MIDI_LYRIC, 0, noteLyric, nullptr), 0u);
        ASSERT_TRUE(BASS_ChannelPlay(h, false));
        Clock::run(static_cast<unsigned>(44100 * 3.6 * scale), 64);
        EXPECT_EQ(Seen::tempoSyncs.load(), 3);
        std::lock_guard lock(Seen::lock);
        ASSERT_EQ(Seen::lyrics.size(), 4u);
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(Seen::lyrics[i].first, i);
            const auto heard = static_cast<double>(Seen::lyrics[i + 1].second - Seen::lyrics[i].second);
            EXPECT_NEAR(heard, nominal[i] * scale, 64.0 + 1) << "section " << i;
        }
        EXPECT_EQ(BASS_MIDI_StreamGetEvent(h, 0, MIDI_EVENT_TEMPO), 1000000u);
        BASS_StreamFree(h);
    }
}

TEST_F(MidiStreamTest, DelayedLyricSyncsFireWhenTheirMarkIsHeard) {
    const std::string path = write("heard.mid", tempoSong());
    Seen::lyrics.clear();
    advance(1000); // the device clock is not at 0 when the song starts
    Clock::frames = 0;
    const HSTREAM h = BASS_MIDI_StreamCreateFile(false, path.c_str(), 0, 0, 0, 0);
    ASSERT_NE(BASS_ChannelSetSync(h, BASS_SYNC_MIDI_LYRIC, 0, noteLyric, nullptr), 0u);
    ASSERT_TRUE(BASS_ChannelPlay(h, false));
    const unsigned step = 100;
    Clock::run(44100 * 3, step);
    std::lock_guard lock(Seen::lock);
    ASSERT_EQ(Seen::lyrics.size(), 3u);
    for (DWORD i = 0; i < 3; ++i) {
        BASS_MIDI_MARK mark{};
        ASSERT_TRUE(BASS_MIDI_StreamGetMark(h, BASS_MIDI_MARK_LYRIC, i, &mark));
        EXPECT_EQ(Seen::lyrics[i].first, i);
        EXPECT_NEAR(static_cast<double>(Seen::lyrics[i].second), mark.pos / 4.0, step) << "mark " << i;
    }
}

TEST_F(MidiStreamTest, TransposeShiftsItsChannelAndVolumeSilencesItsChannelOnly) {
    REQUIRE_FONT();
    const std::string ch0 = write("ch0.mid", noteSong(0, 57));
    const std::string ch1 = write("ch1.mid", noteSong(1, 64));
    const auto render = [](const std::string& path, DWORD chan, DWORD event, DWORD param) {
        const HSTREAM h =
            BASS_MIDI_StreamCreateFile(false, path.c_str(), 0, 0, BASS_STREAM_DECODE | BASS_SAMPLE_FLOAT, 0);
        EXPECT_NE(h, 0u);
        if (event) {
            EXPECT_TRUE(BASS_MIDI_StreamEvent(h, chan, event, param));
        }
        auto audio = decode(h, 22050);
        BASS_StreamFree(h);
        return audio;
    };
    const auto plain0 = render(ch0, 0, 0, 0), plain1 = render(ch1, 0, 0, 0);
    const double p0 = miditest::pitch(plain0, 4410, 8192, kRate);
    const double p1 = miditest::pitch(plain1, 4410, 8192, kRate);
    EXPECT_NEAR(p0, 220.0, 220.0 * 0.03);
    EXPECT_NEAR(p1, 329.6, 329.6 * 0.03);
    EXPECT_NEAR(miditest::pitch(render(ch0, 0, MIDI_EVENT_TRANSPOSE, 112), 4410, 8192, kRate) / p0, 2.0,
                0.04);
    EXPECT_NEAR(miditest::pitch(render(ch0, 0, MIDI_EVENT_TRANSPOSE, 95), 4410, 8192, kRate) / p0,
                std::pow(2.0, -5.0 / 12), 0.03);
    EXPECT_NEAR(miditest::pitch(render(ch1, 0, MIDI_EVENT_TRANSPOSE, 112), 4410, 8192, kRate) / p1, 1.0,
                0.02);

    const double loud0 = miditest::rms(plain0, 4410, 22050), loud1 = miditest::rms(plain1, 4410, 22050);
    ASSERT_GT(loud0, 0.005);
    ASSERT_GT(loud1, 0.005);
    EXPECT_LT(miditest::rms(render(ch0, 0, MIDI_EVENT_VOLUME, 0), 4410, 22050), loud0 * 0.001);
    EXPECT_NEAR(miditest::rms(render(ch1, 0, MIDI_EVENT_VOLUME, 0), 4410, 22050) / loud1, 1.0, 0.01);
}

TEST_F(MidiStreamTest, EventsAreCheckedAndTheTempoInForceIsReported) {
    const std::string path = write("events.mid", tempoSong());
    const HSTREAM h = BASS_MIDI_StreamCreateFile(false, path.c_str(), 0, 0, BASS_STREAM_DECODE, 0);
    EXPECT_EQ(BASS_MIDI_StreamGetEvent(h, 0, MIDI_EVENT_TEMPO), 500000u);
    // The file's own tempo event at tick 0 would replace a tempo sent before it: start at 480.
    ASSERT_TRUE(BASS_ChannelSetPosition(h, 480, BASS_POS_MIDI_TICK));
    EXPECT_TRUE(BASS_MIDI_StreamEvent(h, 0, MIDI_EVENT_TEMPO, 400000));
    // The tempo read back is the file's: a caller that scales it never scales its own value.
    EXPECT_EQ(BASS_MIDI_StreamGetEvent(h, 0, MIDI_EVENT_TEMPO), 500000u);
    // 400000 us per quarter until the file's next tempo event at tick 960: 480 ticks in 0.4 s.
    std::vector<std::int16_t> buf(2 * 441);
    std::uint64_t frames = 0;
    while (BASS_ChannelGetPosition(h, BASS_POS_MIDI_TICK) < 960 && frames < 44100 * 3)
        frames += BASS_ChannelGetData(h, buf.data(), 4 * 441) / 4;
    EXPECT_NEAR(static_cast<double>(frames), 0.4 * 44100, 441);
    ASSERT_EQ(BASS_ChannelGetData(h, buf.data(), 4 * 441), 4u * 441); // past the event at 960
    EXPECT_EQ(BASS_MIDI_StreamGetEvent(h, 0, MIDI_EVENT_TEMPO), 250000u);

    EXPECT_FALSE(BASS_MIDI_StreamEvent(h, 16, MIDI_EVENT_VOLUME, 100));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_ILLPARAM);
    EXPECT_FALSE(BASS_MIDI_StreamEvent(h, 0, MIDI_EVENT_VOLUME, 128));
    EXPECT_FALSE(BASS_MIDI_StreamEvent(h, 0, MIDI_EVENT_TEMPO, 0));
    EXPECT_FALSE(BASS_MIDI_StreamEvent(h, 0, MIDI_EVENT_TRANSPOSE, 300));
    EXPECT_FALSE(BASS_MIDI_StreamEvent(h, 0, 999, 1));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_ILLTYPE);
    EXPECT_EQ(BASS_MIDI_StreamGetEvent(h, 0, 999), 0xFFFFFFFFu);
    EXPECT_EQ(BASS_MIDI_StreamGetEvent(12345, 0, MIDI_EVENT_TEMPO), 0xFFFFFFFFu);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_HANDLE);
    EXPECT_FALSE(BASS_MIDI_StreamEvent(0, 0, MIDI_EVENT_TEMPO, 500000));
}

TEST_F(MidiStreamTest, DecodeOnlyStreamGivesTheRenderedSamplesAndCannotPlay) {
    REQUIRE_FONT();
    Track t;
    t.program(0, 0, 0).on(0, 0, 60).on(0, 0, 64).on(100, 0, 67).off(800, 0, 60).off(0, 0, 64).off(0, 0, 67);
    t.on(0, 9, 36).on(240, 9, 38).off(200, 9, 36).off(0, 9, 38).end(480);
    const std::string bytes = smf(0, 480, {t});
    const std::string path = write("decode.mid", bytes);
    const HSTREAM h =
        BASS_MIDI_StreamCreateFile(false, path.c_str(), 0, 0, BASS_STREAM_DECODE | BASS_SAMPLE_FLOAT, 0);
    ASSERT_NE(h, 0u);
    EXPECT_FALSE(BASS_ChannelPlay(h, false));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_DECODE);
    EXPECT_EQ(BASS_ChannelIsActive(h), BASS_ACTIVE_PLAYING);
    const auto ours = decode(h, 44100 * 4);
    EXPECT_EQ(ours.size() / 2, BASS_ChannelGetLength(h, BASS_POS_BYTE) / 8);
    EXPECT_EQ(BASS_ChannelIsActive(h), BASS_ACTIVE_STOPPED);
    float buf[8];
    EXPECT_EQ(BASS_ChannelGetData(h, buf, sizeof buf), 0xFFFFFFFFu);

    // The same file through the renderer with the same font, sample for sample.
    int error = 0;
    auto file = miditest::parse(bytes, error);
    ASSERT_TRUE(file);
    engine::midi::MidiRenderer renderer(file, 44100);
    auto sf = std::make_shared<engine::SoundFont>();
    ASSERT_TRUE(engine::readSoundFontInfo(kFontPath, *sf, error));
    renderer.setFonts({{sf, -1, 0}});
    std::vector<float> expected(ours.size());
    expected.resize(
        2 * renderer.renderAll(expected.data(), static_cast<std::uint32_t>(ours.size() / 2), nullptr));
    ASSERT_EQ(expected.size(), ours.size());
    EXPECT_GT(miditest::rms(ours, 0, ours.size() / 2), 0.01);
    std::size_t differ = 0;
    for (std::size_t i = 0; i < ours.size(); ++i) differ += ours[i] != expected[i];
    EXPECT_EQ(differ, 0u);

    // 16-bit, from memory: the same samples, rounded.
    const HSTREAM s = BASS_MIDI_StreamCreateFile(true, bytes.data(), 0, bytes.size(), BASS_STREAM_DECODE, 0);
    ASSERT_NE(s, 0u);
    std::vector<std::int16_t> pcm(2 * 4096);
    ASSERT_EQ(BASS_ChannelGetData(s, pcm.data(), 4096 * 4), 4096u * 4);
    for (std::size_t i = 0; i < pcm.size(); ++i)
        ASSERT_NEAR(pcm[i], std::clamp(ours[i] * 32768.0f, -32768.0f, 32767.0f), 1.0f) << i;
}

TEST_F(MidiStreamTest, FontsOfTheStreamReplaceTheDefaults) {
    REQUIRE_FONT();
    const std::string path = write("fonts.mid", noteSong(0, 60));
    BASS_MIDI_StreamSetFonts(0, nullptr, 0);
    const HSTREAM h =
        BASS_MIDI_StreamCreateFile(false, path.c_str(), 0, 0, BASS_STREAM_DECODE | BASS_SAMPLE_FLOAT, 0);
    EXPECT_LT(miditest::rms(decode(h, 8820), 0, 8820), 1e-6); // no font: silence
    BASS_MIDI_FONT f{font_, -1, 0};
    ASSERT_TRUE(BASS_MIDI_StreamSetFonts(h, &f, 1));
    ASSERT_TRUE(BASS_ChannelSetPosition(h, 0, BASS_POS_BYTE));
    EXPECT_GT(miditest::rms(decode(h, 8820), 2205, 8820), 0.005);
    // Fonts on a stream that is not MIDI are refused.
    const std::string wav = fixtures::writeAudio("fonts.wav", fixtures::pattern(100), 2, 44100);
    const HSTREAM w = BASS_StreamCreateFile(false, wav.c_str(), 0, 0, BASS_STREAM_DECODE);
    EXPECT_FALSE(BASS_MIDI_StreamSetFonts(w, &f, 1));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_ILLTYPE);
}

TEST_F(MidiStreamTest, AnAutoFreeStreamIsGoneOnceItsEndIsHeard) {
    Track t;
    t.program(0, 0, 0).on(0, 0, 60).off(240, 0, 60).end();
    const std::string path = write("autofree.mid", smf(0, 480, {t}));
    static std::atomic<int> ends{0};
    ends = 0;
    const HSTREAM h = BASS_MIDI_StreamCreateFile(false, path.c_str(), 0, 0, BASS_STREAM_AUTOFREE, 44100);
    ASSERT_NE(h, 0u);
    BASS_ChannelSetSync(
        h, BASS_SYNC_END, 0, [](HSYNC, DWORD, DWORD, void*) { ++ends; }, nullptr);
    ASSERT_TRUE(BASS_ChannelPlay(h, false));
    advance(4410);
    BASS_CHANNELINFO info{};
    EXPECT_TRUE(BASS_ChannelGetInfo(h, &info)); // 0.25 s long: still playing
    EXPECT_EQ(BASS_ChannelIsActive(h), BASS_ACTIVE_PLAYING);
    for (int i = 0; i < 40; ++i) advance(441);
    EXPECT_EQ(ends.load(), 1);
    EXPECT_FALSE(BASS_ChannelGetInfo(h, &info));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_HANDLE);
    EXPECT_EQ(BASS_ChannelGetPosition(h, BASS_POS_MIDI_TICK), ~QWORD{0});
    EXPECT_FALSE(BASS_MIDI_StreamEvent(h, 0, MIDI_EVENT_VOLUME, 1));
}

TEST_F(MidiStreamTest, BadFilesAndArgumentsFailClearly) {
    const std::string missing = (fixtures::tempDir() / "no-such.mid").string();
    EXPECT_EQ(BASS_MIDI_StreamCreateFile(false, missing.c_str(), 0, 0, 0, 0), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_FILEOPEN);
    EXPECT_EQ(BASS_MIDI_StreamCreateFile(false, fixtures::tempDir().c_str(), 0, 0, 0, 0), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_FILEOPEN);
    const std::string text = write("words.mid", "these are just words, no MIDI at all");
    EXPECT_EQ(BASS_MIDI_StreamCreateFile(false, text.c_str(), 0, 0, 0, 0), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_FILEFORM);
    EXPECT_EQ(BASS_MIDI_StreamCreateFile(false, nullptr, 0, 0, 0, 0), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_FILEOPEN);
    EXPECT_EQ(BASS_MIDI_StreamCreateFile(true, "MThd", 0, 0, 0, 0), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_FILEFORM);

    // A wide path with non-ASCII letters.
    write("c\xc3\xa0nt\xc3\xa0.mid", tempoSong());
    std::wstring wide;
    for (char c : fixtures::tempDir().string()) wide += static_cast<wchar_t>(c);
    wide += L"/c\u00e0nt\u00e0.mid";
    const HSTREAM w =
        BASS_MIDI_StreamCreateFile(false, wide.c_str(), 0, 0, BASS_UNICODE | BASS_STREAM_DECODE, 0);
    ASSERT_NE(w, 0u);
    EXPECT_EQ(BASS_ChannelGetLength(w, BASS_POS_MIDI_TICK), 2880u);

    BASS_Free();
    EXPECT_EQ(BASS_MIDI_StreamCreateFile(false, text.c_str(), 0, 0, 0, 0), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_INIT);
}

} // namespace
