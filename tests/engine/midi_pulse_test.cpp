// A MIDI stream on a real output: a PulseAudio server of the test's own with a null sink, whose
// monitor the test records while the engine plays on the default device.
//
// How the heard moment of a mark is found: the song has a loud, short note exactly at each lyric
// mark and nothing else, so each mark's sound starts at a clear onset in the recording, and the
// recorder knows when each recorded sample was heard (pulse/monitor_recorder.h: the estimate can
// only be late, by the monitor's smallest delivery delay, which makes the syncs look early by as
// much, never late). Each delayed lyric sync notes the steady clock when it runs; its lateness is
// that time less the heard moment of its note's onset.
#include "engine/api.h"
#include "engine/stream_fixtures.h"
#include "engine/testing.h"
#include "pulse/monitor_recorder.h"
#include "pulse/pulse_server.h"
#include "support/midi_writer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <mutex>
#include <thread>

namespace {

using SteadyClock = std::chrono::steady_clock;

using pulsetest::onPath;
using pulsetest::run;

struct LyricTimes {
    static inline std::mutex lock;
    static inline std::vector<std::pair<DWORD, SteadyClock::time_point>> seen;
};

void onLyric(HSYNC, DWORD, DWORD data, void*) {
    const auto now = SteadyClock::now();
    std::lock_guard lock(LyricTimes::lock);
    LyricTimes::seen.push_back({data, now});
}

class RealDeviceMidi : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!onPath("pulseaudio")) GTEST_SKIP() << "pulseaudio is not installed";
        ASSERT_TRUE(onPath("pactl")) << "pactl (pulseaudio-utils) is needed";
        engine::testing::useVirtualDevice(false);
        ASSERT_TRUE(server_.start("pulse_midi", {"sink_name=velvora_midi rate=44100"}))
            << "the test's PulseAudio did not come up";
        run({"pactl", "set-default-sink", "velvora_midi"});
    }
    void TearDown() override {
        BASS_Free();
        BASS_MIDI_StreamSetFonts(0, nullptr, 0);
        if (font_) BASS_MIDI_FontFree(font_);
        recorder_.stop();
        server_.stop();
    }

    pulsetest::PrivateServer server_;
    pulsetest::MonitorRecorder recorder_;
    HSOUNDFONT font_ = 0;
};

TEST_F(RealDeviceMidi, PlaysAudiblyAndLyricSyncsFireWithin20msOfTheHeardMark) {
    constexpr const char* kFontPath = "/usr/share/sounds/sf2/TimGM6mb.sf2";
    ASSERT_TRUE(std::filesystem::exists(kFontPath)) << "the GM soundfont (timgm6mb-soundfont) is needed";
    // Marks with a claves hit on each, at uneven distances and across a tempo change (ppq 480).
    const std::vector<std::uint32_t> ticks = {240, 720, 1300, 1920, 2400, 2900, 3500, 4000};
    miditest::Track conductor, words, drums;
    conductor.tempo(0, 500000).tempo(1700, 400000).end(4000 - 1700 + 600);
    std::uint32_t lastWord = 0, lastNote = 0;
    for (std::size_t i = 0; i < ticks.size(); ++i) {
        words.lyric(ticks[i] - lastWord, "w" + std::to_string(i));
        lastWord = ticks[i];
        drums.on(ticks[i] - lastNote, 9, 75, 127).off(30, 9, 75);
        lastNote = ticks[i] + 30;
    }
    words.end(600);
    drums.end(600);
    const std::string path =
        fixtures::writeBytes("pulse_marks.mid", miditest::smf(1, 480, {conductor, words, drums}));

    ASSERT_TRUE(recorder_.start("velvora_midi.monitor"));
    ASSERT_TRUE(BASS_Init(-1, 44100, 0, nullptr, nullptr));
    ASSERT_NE(engine::testing::outputName(), "No sound");
    font_ = BASS_MIDI_FontInit(kFontPath, 0);
    ASSERT_NE(font_, 0u);
    BASS_MIDI_FONT f{font_, -1, 0};
    ASSERT_TRUE(BASS_MIDI_StreamSetFonts(0, &f, 1));
    const HSTREAM h = BASS_MIDI_StreamCreateFile(false, path.c_str(), 0, 0, BASS_STREAM_AUTOFREE, 44100);
    ASSERT_NE(h, 0u);
    LyricTimes::seen.clear();
    ASSERT_NE(BASS_ChannelSetSync(h, BASS_SYNC_MIDI_LYRIC, 0, onLyric, nullptr), 0u);
    ASSERT_TRUE(BASS_ChannelPlay(h, false));
    const auto deadline = SteadyClock::now() + std::chrono::seconds(10);
    while (BASS_ChannelIsActive(h) && SteadyClock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(BASS_ChannelIsActive(h), 0u) << "the song did not end in time";
    ASSERT_TRUE(recorder_.waitForFrames(recorder_.frames() + 44100 / 4, std::chrono::seconds(5)))
        << "the monitor stopped delivering";
    const engine::testing::OutputHealth health = engine::testing::outputHealth();
    BASS_Free();
    recorder_.stop();
    ASSERT_EQ(recorder_.overflows(), 0u) << "the recorder lost audio: this run says nothing of the player";
    EXPECT_EQ(health.deviceUnderruns, 0u) << "the sound server ran out of audio";
    EXPECT_EQ(health.ringUnderruns, 0u) << "the engine did not decode ahead in time";

    const std::vector<std::int16_t> stereo = recorder_.samples();
    std::vector<float> rec(stereo.size() / 2); // the left channel
    for (std::size_t i = 0; i < rec.size(); ++i) rec[i] = stereo[i * 2] / 32768.0f;
    const SteadyClock::time_point t0 = recorder_.startTime();
    ASSERT_GT(rec.size(), 44100u * 3) << "recorded less than was played";
    float peak = 0;
    double energy = 0;
    for (float s : rec) {
        peak = std::max(peak, std::abs(s));
        energy += double(s) * s;
    }
    ASSERT_GT(peak, 0.05f) << "the sink heard silence";
    EXPECT_GT(std::sqrt(energy / rec.size()), 1e-3);

    // Onsets: the first sample above a tenth of the peak at least 300 ms after the last onset.
    std::vector<std::size_t> onsets;
    for (std::size_t i = 0; i < rec.size(); ++i)
        if (std::abs(rec[i]) > 0.1f * peak && (onsets.empty() || i > onsets.back() + 44100 * 3 / 10))
            onsets.push_back(i);
    ASSERT_EQ(onsets.size(), ticks.size()) << "one note per mark";
    std::lock_guard lock(LyricTimes::lock);
    ASSERT_EQ(LyricTimes::seen.size(), ticks.size());
    for (std::size_t i = 0; i < ticks.size(); ++i) {
        EXPECT_EQ(LyricTimes::seen[i].first, i);
        const auto heard = t0 + std::chrono::duration_cast<SteadyClock::duration>(
                                    std::chrono::duration<double>(static_cast<double>(onsets[i]) / 44100));
        const double lateMs =
            std::chrono::duration<double, std::milli>(LyricTimes::seen[i].second - heard).count();
        EXPECT_LE(std::abs(lateMs), 20.0) << "mark " << i << " sync " << lateMs << " ms after it was heard";
        std::printf("mark %zu: sync %+.1f ms from the heard moment\n", i, lateMs);
    }
}

} // namespace
