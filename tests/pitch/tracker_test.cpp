#include "pitch/pitch_tracker.h"
#include "pitch/sung_voice.h"

#include <gtest/gtest.h>

#include <cmath>
#include <thread>

namespace velvora::pitch {
namespace {

using testing::kRate;

// Capture-sized blocks of a stereo tone at `hz` whose left and right differ in level.
std::vector<std::int16_t> stereoTone(double hz, double seconds) {
    std::vector<std::int16_t> out(static_cast<std::size_t>(seconds * kRate) * 2);
    for (std::size_t i = 0; i < out.size() / 2; ++i) {
        const double s = std::sin(2 * M_PI * hz * static_cast<double>(i) / kRate);
        out[2 * i] = static_cast<std::int16_t>(12000 * s);
        out[2 * i + 1] = static_cast<std::int16_t>(4000 * s);
    }
    return out;
}

TEST(PitchTracker, BlocksPushedFromTheCaptureThreadAreReadInOrderWithoutLoss) {
    PitchTracker tracker(kRate);
    const auto a = stereoTone(196.0, 1.5);
    const auto b = stereoTone(392.0, 1.5);
    // Each tone is less than the ring holds; a real capture comes at a tenth of a second a block.
    for (const auto* tone : {&a, &b}) {
        std::thread capture([&] {
            for (std::size_t at = 0; at < tone->size(); at += 4410 * 2)
                tracker.push(tone->data() + at, std::min<std::size_t>(4410, (tone->size() - at) / 2));
        });
        capture.join();
        tracker.drain();
    }
    const auto readings = tracker.takeReadings();
    EXPECT_EQ(tracker.droppedSamples(), 0u);
    ASSERT_EQ(readings.size(), static_cast<std::size_t>(3 * kRate) / PitchDetector::kHop);
    for (std::size_t i = 1; i < readings.size(); ++i)
        EXPECT_NEAR(readings[i].seconds - readings[i - 1].seconds, tracker.hopSeconds(), 1e-9);
    for (const PitchFrame& f : readings) {
        if (f.seconds > 0.1 && f.seconds < 1.4) {
            EXPECT_NEAR(f.hz, 196.0, 2.0) << f.seconds;
        }
        if (f.seconds > 1.6 && f.seconds < 2.9) {
            EXPECT_NEAR(f.hz, 392.0, 4.0) << f.seconds;
        }
    }
    EXPECT_TRUE(tracker.takeReadings().empty()) << "taken once";
}

} // namespace
} // namespace velvora::pitch
