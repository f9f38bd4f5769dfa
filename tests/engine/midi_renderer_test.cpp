// The MIDI renderer: its time line, cues, seeking, events from outside and the sound it makes.
#include "engine/midi/fluid_font.h"
#include "engine/midi/midi_renderer.h"
#include "engine/midi/soundfont.h"
#include "engine/midi_test_util.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

using namespace engine::midi;
using miditest::parse;
using miditest::smf;
using miditest::Track;

constexpr const char* kFontPath = "/usr/share/sounds/sf2/TimGM6mb.sf2";

std::shared_ptr<engine::SoundFont> gmFont() {
    static std::shared_ptr<engine::SoundFont> font = [] {
        auto f = std::make_shared<engine::SoundFont>();
        int error = 0;
        if (!std::filesystem::exists(kFontPath) || !engine::readSoundFontInfo(kFontPath, *f, error))
            f.reset();
        return f;
    }();
    return font;
}

#define REQUIRE_FONT()                                                                                       \
    if (!gmFont()) GTEST_SKIP() << "no soundfont at " << kFontPath

std::vector<float> renderFrames(MidiRenderer& r, std::uint32_t frames) {
    std::vector<float> out(2 * static_cast<std::size_t>(frames), 0.0f);
    out.resize(2 * static_cast<std::size_t>(r.renderAll(out.data(), frames, nullptr)));
    return out;
}

// Conductor with tempos 0: 500000, 960: 250000, 1920: 1000000 (ppq 480); lyrics at 480, 1440, 2400;
// one text at 1920.
std::shared_ptr<const SmfFile> cueFile() {
    Track c, w;
    c.tempo(0, 500000).tempo(960, 250000).tempo(960, 1000000).end(960);
    w.lyric(480, "a").lyric(960, "b").text(480, "t").lyric(480, "c").end();
    return parse(smf(1, 480, {c, w}));
}

TEST(MidiRenderer, PositionsAndSeeksWithoutASynthesizer) {
    auto file = cueFile();
    ASSERT_TRUE(file);
    MidiRenderer r(file, 44100);
    const TempoMap& map = r.tempoMap();
    EXPECT_EQ(r.positionFrame(), 0u);
    EXPECT_EQ(r.lengthTicks(), 2880u);
    EXPECT_EQ(r.lengthFrames(), map.frameOfTick(2880));
    for (std::uint64_t tick : {0ull, 1ull, 479ull, 960ull, 1500ull, 1920ull, 2879ull, 2880ull}) {
        r.seekTick(tick);
        EXPECT_EQ(r.positionTick(), tick);
        EXPECT_EQ(r.positionFrame(), map.frameOfTick(tick));
        EXPECT_EQ(r.tempo(), map.tempoAtTick(tick));
        r.seekFrame(map.frameOfTick(tick));
        EXPECT_EQ(r.positionTick(), tick);
    }
    r.seekTick(100000);
    EXPECT_EQ(r.positionTick(), 2880u);
    for (const SmfMark& m : file->marks(MarkType::Lyric)) {
        r.seekFrame(map.frameOfTick(m.tick));
        EXPECT_EQ(r.positionTick(), m.tick);
    }
    EXPECT_FALSE(r.hasSynth());
}

TEST(MidiRenderer, CuesStopRenderingAtTheirExactFrames) {
    auto file = cueFile();
    ASSERT_TRUE(file);
    MidiRenderer r(file, 44100);
    const TempoMap& map = r.tempoMap();
    std::vector<float> out(2 * 4096);
    std::vector<RenderCue> cues;
    std::uint64_t total = 0;
    for (int guard = 0; guard < 10000; ++guard) {
        const auto res = r.render(out.data(), 4096);
        total += res.frames;
        if (res.cue) {
            EXPECT_EQ(r.positionFrame(), res.cue->frame);
            cues.push_back(*res.cue);
        }
        if (res.ended) break;
    }
    EXPECT_TRUE(r.ended());
    EXPECT_EQ(total, r.lengthFrames());
    ASSERT_EQ(cues.size(), 7u);
    using K = RenderCue::Kind;
    const K kinds[] = {K::Tempo, K::Lyric, K::Tempo, K::Lyric, K::Tempo, K::Text, K::Lyric};
    const std::uint64_t ticks[] = {0, 480, 960, 1440, 1920, 1920, 2400};
    for (std::size_t i = 0; i < cues.size(); ++i) {
        EXPECT_EQ(cues[i].kind, kinds[i]) << i;
        EXPECT_EQ(cues[i].tick, ticks[i]) << i;
        EXPECT_EQ(cues[i].frame, map.frameOfTick(ticks[i])) << i;
    }
    EXPECT_EQ(cues[3].index, 1u);
    EXPECT_EQ(cues[6].index, 2u);
    EXPECT_EQ(cues[5].index, 0u);
    EXPECT_EQ(cues[4].value, 1000000u);
    // Frames already played map back to their ticks.
    EXPECT_EQ(r.tickAtFrame(map.frameOfTick(1500)), 1500u);
}

TEST(MidiRenderer, TempoFromOutsideHoldsUntilTheFilesNextTempo) {
    auto file = cueFile();
    ASSERT_TRUE(file);
    const std::uint32_t rate = 44100;

    // Scaling each file tempo by two as it is met (a callback at each tempo cue) doubles every
    // section: each lyric comes at twice its frame.
    {
        MidiRenderer r(file, rate);
        std::vector<float> out(2 * 100000);
        std::vector<RenderCue> lyrics;
        std::uint64_t total = 0;
        while (!r.ended()) {
            total += r.renderAll(out.data(), 100000, [&](const RenderCue& c) {
                if (c.kind == RenderCue::Kind::Tempo) {
                    EXPECT_TRUE(r.sendEvent(0, kEventTempo, static_cast<int>(c.value * 2)));
                    EXPECT_EQ(r.tempo(), c.value * 2);
                }
                if (c.kind == RenderCue::Kind::Lyric) lyrics.push_back(c);
            });
        }
        ASSERT_EQ(lyrics.size(), 3u);
        const TempoMap& map = r.tempoMap();
        for (const RenderCue& c : lyrics) {
            EXPECT_EQ(c.frame, 2 * map.frameOfTick(c.tick)) << c.tick;
            EXPECT_EQ(r.tickAtFrame(c.frame), c.tick);
        }
        EXPECT_EQ(total, 2 * r.lengthFrames());
    }

    // A tempo sent once, mid-section: that section stretches, the next file tempo restores the pace.
    {
        MidiRenderer r(file, rate);
        const TempoMap& map = r.tempoMap();
        std::vector<float> out(2 * 22050);
        // To tick 480: the lyric there is the first thing of the next block.
        ASSERT_EQ(r.renderAll(out.data(), 22050, nullptr), 22050u);
        ASSERT_EQ(r.positionTick(), 480u);
        ASSERT_TRUE(r.sendEvent(0, kEventTempo, 1000000));
        EXPECT_EQ(r.tempo(), 1000000u);
        std::vector<RenderCue> cues;
        while (!r.ended()) {
            std::vector<float> chunk(2 * 8192);
            r.renderAll(chunk.data(), 8192, [&](const RenderCue& c) { cues.push_back(c); });
        }
        ASSERT_GE(cues.size(), 3u);
        ASSERT_EQ(cues[0].kind, RenderCue::Kind::Lyric);
        EXPECT_EQ(cues[0].frame, map.frameOfTick(480));
        ASSERT_EQ(cues[1].kind, RenderCue::Kind::Tempo);
        EXPECT_EQ(cues[1].tick, 960u);
        EXPECT_EQ(cues[1].frame, map.frameOfTick(480) + 2 * (map.frameOfTick(960) - map.frameOfTick(480)));
        ASSERT_EQ(cues[2].kind, RenderCue::Kind::Lyric);
        EXPECT_EQ(cues[2].frame - cues[1].frame, map.frameOfTick(1440) - map.frameOfTick(960));
        EXPECT_EQ(r.tempo(), 1000000u);
        // A seek drops the outside tempo and takes the file's.
        r.seekTick(1000);
        EXPECT_EQ(r.tempo(), 250000u);
    }

    MidiRenderer r(file, rate);
    EXPECT_FALSE(r.sendEvent(0, kEventTempo, 0));
    EXPECT_FALSE(r.sendEvent(16, kEventVolume, 10));
    EXPECT_FALSE(r.sendEvent(0, kEventVolume, 128));
    EXPECT_FALSE(r.sendEvent(0, 9999, 1));
}

// A sustained flute note on channel `ch`, key `key`, for two seconds (ppq 480, 120 bpm).
Track fluteNote(int ch, int key, std::uint32_t start = 0) {
    Track t;
    t.program(0, ch, 73).on(start, ch, key, 110).off(1920, ch, key).end(240);
    return t;
}

double notePitch(MidiRenderer& r, std::uint32_t skip = 11025) {
    const auto audio = renderFrames(r, 44100);
    return miditest::pitch(audio, skip, 8192, 44100.0);
}

TEST(MidiRenderer, TransposeShiftsLaterNotesOfItsChannelOnly) {
    REQUIRE_FONT();
    auto file = parse(smf(0, 480, {fluteNote(0, 57)}));
    ASSERT_TRUE(file);
    MidiRenderer plain(file, 44100);
    plain.setFonts({{gmFont()}});
    const double base = notePitch(plain);
    EXPECT_NEAR(base, 220.0, 220.0 * 0.03);

    MidiRenderer up(file, 44100);
    up.setFonts({{gmFont()}});
    EXPECT_TRUE(up.sendEvent(0, kEventTranspose, 112));
    EXPECT_NEAR(notePitch(up) / base, 2.0, 0.04);

    MidiRenderer down(file, 44100);
    down.setFonts({{gmFont()}});
    EXPECT_TRUE(down.sendEvent(0, kEventTranspose, 100 - 12));
    EXPECT_NEAR(notePitch(down) / base, 0.5, 0.02);

    // Another channel's transpose leaves this note alone.
    MidiRenderer other(file, 44100);
    other.setFonts({{gmFont()}});
    EXPECT_TRUE(other.sendEvent(1, kEventTranspose, 112));
    EXPECT_NEAR(notePitch(other) / base, 1.0, 0.02);

    // A transpose sent while the note sounds acts on the next note, not this one.
    auto two = parse(smf(0, 480, {[] {
                             Track t;
                             t.program(0, 0, 73).on(0, 0, 57, 110).off(960, 0, 57).on(0, 0, 57, 110);
                             t.off(960, 0, 57).end();
                             return t;
                         }()}));
    MidiRenderer late(two, 44100);
    late.setFonts({{gmFont()}});
    auto first = renderFrames(late, 11025);
    EXPECT_TRUE(late.sendEvent(0, kEventTranspose, 112));
    auto rest = renderFrames(late, 88200);
    first.insert(first.end(), rest.begin(), rest.end());
    EXPECT_NEAR(miditest::pitch(first, 11025, 8192, 44100.0) / base, 1.0, 0.02);
    EXPECT_NEAR(miditest::pitch(first, 44100 + 11025, 8192, 44100.0) / base, 2.0, 0.04);
}

TEST(MidiRenderer, ChannelVolumeZeroSilencesOnlyThatChannel) {
    REQUIRE_FONT();
    // Channel 0 sounds in the first second, channel 1 in the second.
    Track a, b;
    a.program(0, 0, 73).on(0, 0, 60, 110).off(960, 0, 60).end();
    b.program(0, 1, 73).on(960, 1, 67, 110).off(960, 1, 67).end();
    auto file = parse(smf(1, 480, {a, b}));
    ASSERT_TRUE(file);

    MidiRenderer loud(file, 44100);
    loud.setFonts({{gmFont()}});
    const auto both = renderFrames(loud, 2 * 44100);
    const double firstLoud = miditest::rms(both, 11025, 44100);
    ASSERT_GT(firstLoud, 0.005);

    MidiRenderer r(file, 44100);
    r.setFonts({{gmFont()}});
    EXPECT_TRUE(r.sendEvent(0, kEventVolume, 0));
    const auto audio = renderFrames(r, 2 * 44100);
    EXPECT_LT(miditest::rms(audio, 11025, 44100), firstLoud * 0.01);
    EXPECT_GT(miditest::rms(audio, 44100 + 11025, 2 * 44100), 0.005);
    EXPECT_NEAR(miditest::pitch(audio, 44100 + 11025, 8192, 44100.0), 392.0, 392.0 * 0.03);
}

TEST(MidiRenderer, SeekBringsTheSynthesizerToThatPosition) {
    REQUIRE_FONT();
    // Channel 0's volume is set to 0 at tick 100; its note starts at 960. Seeking past the volume
    // change must apply it even though it was never played.
    Track t;
    t.program(0, 0, 73).cc(100, 0, 7, 0).on(860, 0, 60, 110).off(1920, 0, 60).end();
    auto file = parse(smf(0, 480, {t}));
    ASSERT_TRUE(file);
    Track u;
    u.program(0, 0, 73).cc(100, 0, 7, 100).on(860, 0, 60, 110).off(1920, 0, 60).end();
    auto audible = parse(smf(0, 480, {u}));

    MidiRenderer quiet(file, 44100), loud(audible, 44100);
    for (MidiRenderer* r : {&quiet, &loud}) {
        r->setFonts({{gmFont()}});
        r->seekTick(960);
        EXPECT_EQ(r->positionTick(), 960u);
    }
    EXPECT_LT(miditest::rms(renderFrames(quiet, 22050), 4410, 22050), 1e-4);
    EXPECT_GT(miditest::rms(renderFrames(loud, 22050), 4410, 22050), 0.005);

    // Seeking a live synthesizer releases the note it was playing: the tail dies away.
    loud.seekTick(0);
    EXPECT_EQ(loud.positionTick(), 0u);
    const auto after = renderFrames(loud, 44100);
    EXPECT_LT(miditest::rms(after, 33075, 44100), 0.002);
    EXPECT_EQ(loud.positionTick(), loud.tempoMap().tickOfFrame(44100));
}

TEST(MidiRenderer, FontsAreSharedAndTheirVolumeActsLive) {
    REQUIRE_FONT();
    auto font = gmFont();
    auto file = parse(smf(0, 480, {fluteNote(0, 64)}));
    ASSERT_TRUE(file);
    MidiRenderer a(file, 44100), b(file, 44100);
    a.setFonts({{font}});
    b.setFonts({{font}});
    EXPECT_FALSE(a.hasSynth());
    const auto first = renderFrames(a, 22050);
    renderFrames(b, 22050);
    EXPECT_TRUE(a.hasSynth());
    EXPECT_EQ(font->samples(), SharedFluidFont::acquire(kFontPath));
    EXPECT_EQ(font->loadedBytes.load(), font->sampleBytes);

    const float before = font->volume.load();
    font->volume = 0.5f;
    const auto half = renderFrames(a, 22050);
    font->volume = before;
    const double ratio = miditest::rms(half, 0, 22050) / miditest::rms(first, 11025, 22050);
    EXPECT_NEAR(ratio, 0.5, 0.12);
}

TEST(MidiRenderer, WithoutFontsRendersSilenceOnTheSameTimeLine) {
    auto file = parse(smf(0, 480, {fluteNote(0, 60)}));
    ASSERT_TRUE(file);
    MidiRenderer r(file, 22050);
    const auto audio = renderFrames(r, 200000);
    EXPECT_EQ(audio.size() / 2, r.lengthFrames());
    EXPECT_EQ(r.lengthFrames(), r.tempoMap().frameOfTick(2160));
    EXPECT_LT(miditest::rms(audio, 0, audio.size() / 2), 1e-6); // the effects' anti-denormal offset
    EXPECT_TRUE(r.ended());
}

} // namespace
