#include "engine/testing.h"
#include "recording/latency_calibration.h"
#include "recording/take_files.h"
#include "recording/take_session.h"
#include "support/app_fixture.h"
#include "transport/song_open.h"
#include "transport/transport.h"
#include "widgets/main_controls.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using namespace recordingtest;
using testing::AppFixture;

constexpr unsigned kDelay120ms = 44100 * 120 / 1000; // 5292 frames
constexpr unsigned kOneMs = 44;

// The sound set-up of these tests: the virtual input hears the output, `delay` frames late.
class LatencyTest : public AppFixture {
  protected:
    void loop(unsigned delay) {
        engine::testing::hearOutputOnInput(true);
        engine::testing::setVirtualInputDelay(delay);
    }
    void TearDown() override {
        engine::testing::hearOutputOnInput(false);
        engine::testing::setVirtualInputDelay(0);
        AppFixture::TearDown();
    }
    fs::path tkkk(const char* name) { return folder.path() / "TKKK" / name; }
};

// A mono capture holding the click train `delay` frames late, at `gain`, over a faint hum.
std::vector<float> heardLate(const recording::ClickTrain& t, std::size_t delay, float gain) {
    std::vector<float> c(t.samples.size() + 44100, 0.0f);
    for (std::size_t i = 0; i < c.size(); ++i) c[i] = 0.01f * static_cast<float>(std::sin(i * 0.05));
    for (std::size_t i = 0; i < t.samples.size() && i + delay < c.size(); ++i)
        c[i + delay] += gain * t.samples[i];
    return c;
}

TEST(ClickSearch, FindsTheDelayOfTheClicksAndGivesUpOnSilenceOrNoise) {
    const recording::ClickTrain t = recording::makeClickTrain();
    ASSERT_EQ(t.starts.size(), 10u);
    for (std::size_t delay : {0u, 1u, 3838u, 20000u}) {
        const auto found = recording::findRoundTrip(t, heardLate(t, delay, 0.3f));
        ASSERT_TRUE(found) << delay;
        EXPECT_NEAR(found->roundTripMs, delay * 1000.0 / 44100, 0.03) << delay;
        EXPECT_EQ(found->spreadMs, 0.0);
    }
    // Quiet clicks are still found; nothing, hum alone, or loud noise without clicks are not.
    EXPECT_TRUE(recording::findRoundTrip(t, heardLate(t, 500, 0.05f)));
    EXPECT_FALSE(recording::findRoundTrip(t, heardLate(t, 500, 0.0f)));
    EXPECT_FALSE(recording::findRoundTrip(t, std::vector<float>(t.samples.size() + 44100, 0.0f)));
    EXPECT_FALSE(recording::findRoundTrip(t, {}));
    const auto noise = voice(t.samples.size() + 44100, 99, 20000);
    std::vector<float> loud;
    for (std::size_t i = 0; i < noise.size(); i += 2) loud.push_back(noise[i] / 32768.0f);
    EXPECT_FALSE(recording::findRoundTrip(t, loud));
    // Clicks that wander: the spread is the farthest from the median.
    std::vector<float> wander(t.samples.size() + 44100, 0.0f);
    for (std::size_t k = 0; k < t.starts.size(); ++k)
        for (std::size_t i = 0; i < t.clickFrames; ++i)
            wander[t.starts[k] + 1000 + (k == 3 ? 88 : 0) + i] = t.samples[t.starts[k] + i];
    const auto w = recording::findRoundTrip(t, wander);
    ASSERT_TRUE(w);
    EXPECT_NEAR(w->roundTripMs, 1000 * 1000.0 / 44100, 0.03);
    EXPECT_NEAR(w->spreadMs, 88 * 1000.0 / 44100, 0.03);
    EXPECT_EQ(recording::latencyText(*w), "Latency: 23 ms \u00b1 2 ms");
}

TEST_F(LatencyTest, TheCalibrationMeasuresTheInputDelayOfTheVirtualDevice) {
    start();
    for (unsigned delay : {kDelay120ms, 1234u}) {
        loop(delay);
        const auto outcome = recording::CalibrateLatency(*app);
        ASSERT_TRUE(outcome.measured) << outcome.message;
        EXPECT_NEAR(outcome.measured->roundTripMs, delay * 1000.0 / 44100, 1.0);
        EXPECT_LE(outcome.measured->spreadMs, 1.0);
        // The virtual device plays what is started at once: all the round trip is the input's.
        EXPECT_NEAR(outcome.measured->outputMs, 0.0, 0.05);
        EXPECT_THAT(outcome.message, ::testing::StartsWith("Latency: "));
    }
    EXPECT_EQ(recording::CalibrateLatency(*app).message, "Latency: 28 ms \u00b1 0 ms");
}

TEST_F(LatencyTest, AnInputThatHearsNothingOrNoInputSaysSoAndMeasuresNothing) {
    {
        const InputsScope none({});
        start();
        const auto outcome = recording::CalibrateLatency(*app);
        EXPECT_FALSE(outcome.measured);
        EXPECT_EQ(outcome.message, "No input to listen on: the latency cannot be measured.");
    }
    BASS_RecordFree();
    ASSERT_TRUE(BASS_RecordInit(0));
    const auto deaf = recording::CalibrateLatency(*app); // the input does not hear the output
    EXPECT_FALSE(deaf.measured);
    EXPECT_EQ(deaf.message, "No click was heard: the latency was not measured.");
    // Clicks heard no later than they were played tell of a clock gone wrong, not of a latency.
    loop(0);
    const auto instant = recording::CalibrateLatency(*app);
    EXPECT_FALSE(instant.measured);
    EXPECT_EQ(instant.message,
              "The clicks were heard before they were played: the latency was not measured.");
    EXPECT_FALSE(app->s.capture.calibration);
}

TEST_F(LatencyTest, ThePackagesVoiceIsACopyThatBeginsTheRoundTripLaterAndTheTakeStays) {
    start();
    const auto sung = voice(10000, 4);
    writeWav(tkkk("vocaltrack.wav"), sung);
    const auto before = readBytes(tkkk("vocaltrack.wav"));
    EXPECT_EQ(recording::alignedVocalTrack(*app), "vocaltrack.wav") << "no calibration: the take itself";
    app->s.capture.calibration = LatencyCalibration{100.0, 1.0}; // 4410 frames
    ASSERT_EQ(recording::alignedVocalTrack(*app), "vocaltrack-aligned.wav");
    const Wav aligned = readWav(tkkk("vocaltrack-aligned.wav"));
    ASSERT_TRUE(aligned.canonical);
    EXPECT_EQ(aligned.samples, std::vector<std::int16_t>(sung.begin() + 2 * 4410, sung.end()));
    EXPECT_EQ(readBytes(tkkk("vocaltrack.wav")), before);
    // A voice shorter than the round trip leaves an empty track; a foreign file is encoded as it is.
    app->s.capture.calibration = LatencyCalibration{500.0, 1.0};
    ASSERT_EQ(recording::alignedVocalTrack(*app), "vocaltrack-aligned.wav");
    EXPECT_TRUE(readWav(tkkk("vocaltrack-aligned.wav")).samples.empty());
    { std::ofstream(tkkk("vocaltrack.wav"), std::ios::binary) << "not a wave"; }
    EXPECT_EQ(recording::alignedVocalTrack(*app), "vocaltrack.wav");
}

TEST_F(LatencyTest, TheVoiceIsShiftedByTheTakesOwnOutputLatencyWhenTheCalibrationToldItApart) {
    start();
    // Calibrated: 150 ms round trip of which 100 ms before the clicks were heard. This take's song
    // was started 10 ms into the capture and heard 130 ms into it: 130 ms + the input's 50 ms.
    app->s.capture.takeOffset = CaptureState::TakeOffset{10.0, 130.0};
    app->s.capture.calibration = LatencyCalibration{150.0, 1.0, 100.0};
    EXPECT_EQ(recording::voiceShiftFrames(*app), 180u * 441 / 10);
    // A calibration that did not tell the output's part: the round trip from the song's start.
    app->s.capture.calibration = LatencyCalibration{150.0, 1.0};
    EXPECT_EQ(recording::voiceShiftFrames(*app), 160u * 441 / 10);
    // No offset from the engine: the round trip alone.
    app->s.capture.takeOffset.reset();
    app->s.capture.calibration = LatencyCalibration{150.0, 1.0, 100.0};
    EXPECT_EQ(recording::voiceShiftFrames(*app), 150u * 441 / 10);
}

// A take of a song of clicks, sung by an input that hears the output 120 ms late: in the mix the
// voice's clicks fall on the backing's with a calibration, 120 ms behind without.
class TakeAlignmentTest : public LatencyTest {
  protected:
    // Left-channel onsets: the first sample above half the track's peak after at least 100 ms
    // below it. The microphone hears the song at the song's volume times the input's level (a
    // quarter with both sliders halfway), so no fixed level would serve both tracks.
    static std::vector<std::size_t> onsets(const std::vector<int>& left) {
        std::vector<std::size_t> out;
        int peak = 0;
        for (int v : left) peak = std::max(peak, std::abs(v));
        if (peak < 200) return out; // silence and rounding are no clicks
        std::size_t quiet = 4410;
        for (std::size_t i = 0; i < left.size(); ++i) {
            if (std::abs(left[i]) > peak / 2) {
                if (quiet >= 4410) out.push_back(i);
                quiet = 0;
            } else {
                ++quiet;
            }
        }
        return out;
    }
    // The backing's and the voice's onsets in LiveTrack.wav (the voice is the mix less the backing).
    void takeAndMix(std::vector<std::size_t>& backingOnsets, std::vector<std::size_t>& voiceOnsets) {
        const fs::path song = folder.path() / "Clicks.wav";
        std::vector<std::int16_t> clicks(44100 * 4 * 2, 0);
        const auto burst = voice(88, 7, 8000);
        for (std::size_t at = 22050; at + 88 < clicks.size() / 2; at += 22050)
            std::copy(burst.begin(), burst.end(), clicks.begin() + static_cast<std::ptrdiff_t>(at * 2));
        writeWav(song, clicks);
        dialogs.answerFile(song.string());
        transport::CmdCarica_Click(*app);
        recording::CmdRec_Click(*app);
        transport::CmdPlw_Click(*app);
        clock.advance(3000);
        dialogs.clear();
        dialogs.answer(platform::vbNo);
        dialogs.answer(platform::vbOK);
        dialogs.answerFile(std::nullopt);
        transport::CmdStw_Click(*app);
        const Wav backing = readWav(tkkk("BackingTrack.WAV"));
        const Wav mix = readWav(folder.path() / "LiveTrack.wav");
        std::vector<int> b, v;
        for (std::size_t i = 0; i < mix.samples.size(); i += 2) {
            const int bs = i < backing.samples.size() ? backing.samples[i] : 0;
            b.push_back(bs);
            v.push_back(mix.samples[i] - bs);
        }
        backingOnsets = onsets(b);
        voiceOnsets = onsets(v);
    }
};

TEST_F(TakeAlignmentTest, WithACalibrationTheVoiceLinesUpWithTheBacking) {
    start();
    loop(kDelay120ms);
    const auto outcome = recording::CalibrateLatency(*app);
    ASSERT_TRUE(outcome.measured) << outcome.message;
    app->s.capture.calibration = outcome.measured;
    std::vector<std::size_t> backing, sung;
    takeAndMix(backing, sung);
    ASSERT_GE(backing.size(), 4u);
    ASSERT_GE(sung.size(), backing.size() - 1) << "the voice heard the clicks";
    // The engine saw the capture begin as the song was started (both in the same virtual block),
    // and the song heard at once: the round trip alone separates the tracks.
    ASSERT_TRUE(app->s.capture.takeOffset);
    EXPECT_NEAR(app->s.capture.takeOffset->startedMs, 0.0, 0.01);
    EXPECT_NEAR(app->s.capture.takeOffset->heardMs, 0.0, 0.05);
    for (std::size_t k = 0; k + 1 < backing.size() && k < sung.size(); ++k)
        EXPECT_NEAR(static_cast<double>(sung[k]), static_cast<double>(backing[k]), kOneMs) << "click " << k;
}

TEST_F(TakeAlignmentTest, WithoutACalibrationTheVoiceIsTheRoundTripLate) {
    // A damaged latency.vrk is no calibration: the take is mixed as it was captured.
    std::ofstream(folder.path() / "latency.vrk", std::ios::binary) << "87.5.1 1";
    start();
    ASSERT_FALSE(app->s.capture.calibration);
    loop(kDelay120ms);
    std::vector<std::size_t> backing, sung;
    takeAndMix(backing, sung);
    ASSERT_GE(backing.size(), 4u);
    ASSERT_GE(sung.size(), backing.size() - 1);
    for (std::size_t k = 0; k + 1 < backing.size() && k < sung.size(); ++k)
        EXPECT_NEAR(static_cast<double>(sung[k]), static_cast<double>(backing[k] + kDelay120ms), kOneMs)
            << "click " << k;
    EXPECT_FALSE(fs::exists(tkkk("vocaltrack-aligned.wav")));
}

} // namespace
} // namespace velvora
