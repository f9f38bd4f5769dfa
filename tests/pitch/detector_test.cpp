#include "pitch/pitch_detector.h"
#include "pitch/sung_voice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace velvora::pitch {
namespace {

using testing::kRate;

double medianOf(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v.empty() ? 1e9 : v[v.size() / 2];
}

TEST(PitchDetector, ASweepFrom80To1000HzIsReadWithinTwentyCents) {
    // A logarithmic sweep: the frequency at t is f0 * (f1/f0)^(t/T).
    const double f0 = 80, f1 = 1000, seconds = 12;
    const double k = std::log(f1 / f0) / seconds;
    std::vector<float> sweep(static_cast<std::size_t>(seconds * kRate));
    for (std::size_t i = 0; i < sweep.size(); ++i) {
        const double t = static_cast<double>(i) / kRate;
        sweep[i] = static_cast<float>(0.5 * std::sin(2 * M_PI * f0 * (std::exp(k * t) - 1) / k));
    }
    const auto frames = testing::detect(sweep);
    ASSERT_EQ(frames.size(), sweep.size() / PitchDetector::kHop);
    std::vector<double> cents;
    int read = 0;
    for (const PitchFrame& f : frames) {
        if (f.seconds < 0.1 || f.seconds > seconds - 0.1) continue;
        if (f.hz <= 0) continue;
        ++read;
        cents.push_back(std::abs(1200 * std::log2(f.hz / (f0 * std::exp(k * f.seconds)))));
    }
    EXPECT_GT(read, static_cast<int>(frames.size() * 9 / 10)) << "a clear tone is read nearly everywhere";
    EXPECT_LT(medianOf(cents), 20.0);
}

TEST(PitchDetector, SilenceAndNoiseHaveNoPitchAndTheReadingsKeepTime) {
    const std::vector<float> silence(kRate * 2, 0.0f);
    for (const PitchFrame& f : testing::detect(silence)) EXPECT_EQ(f.hz, 0.0f);

    std::mt19937 random(7);
    std::uniform_real_distribution<float> fullScale(-1.0f, 1.0f);
    std::vector<float> noise(kRate * 4);
    for (float& s : noise) s = fullScale(random);
    const auto frames = testing::detect(noise);
    const auto pitched =
        std::count_if(frames.begin(), frames.end(), [](const PitchFrame& f) { return f.hz > 0; });
    EXPECT_LT(pitched, static_cast<long>(frames.size() / 20)) << "noise is not sung";

    // A 300 Hz tone from 1 s: the readings turn on within a window of its start.
    std::vector<float> late(kRate * 3, 0.0f);
    for (std::size_t i = kRate; i < late.size(); ++i)
        late[i] = static_cast<float>(0.4 * std::sin(2 * M_PI * 300.0 * i / kRate));
    const auto onset = testing::detect(late);
    const auto first = std::find_if(onset.begin(), onset.end(), [](const PitchFrame& f) { return f.hz > 0; });
    ASSERT_NE(first, onset.end());
    EXPECT_NEAR(first->seconds, 1.0, static_cast<double>(PitchDetector::kWindow) / kRate);
    EXPECT_NEAR(onset.back().hz, 300.0, 300.0 * 0.01);
}

} // namespace
} // namespace velvora::pitch
