#include "engine/api.h"
#include "engine/testing.h"
#include "platform/scripted/virtual_clock.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(VirtualClock, TimersFireInTimeOrderAtTheirIntervals) {
    platform::VirtualClock clock;
    std::vector<std::string> log;
    auto fast = clock.makeTimer(10, true);
    auto slow = clock.makeTimer(25, true);
    fast->onTick = [&] { log.push_back("f" + std::to_string(clock.nowMs())); };
    slow->onTick = [&] { log.push_back("s" + std::to_string(clock.nowMs())); };
    clock.advance(50);
    const std::vector<std::string> want{"f10", "f20", "s25", "f30", "f40", "f50", "s50"};
    EXPECT_EQ(log, want);
    EXPECT_EQ(clock.nowMs(), 50);
}

TEST(VirtualClock, DisabledTimersStayQuietAndRestartFromNow) {
    platform::VirtualClock clock;
    int ticks = 0;
    auto t = clock.makeTimer(100, false);
    t->onTick = [&] { ++ticks; };
    clock.advance(250);
    EXPECT_EQ(ticks, 0);
    t->setEnabled(true);
    clock.advance(99);
    EXPECT_EQ(ticks, 0);
    clock.advance(1);
    EXPECT_EQ(ticks, 1);
    t->setEnabled(false);
    clock.advance(1000);
    EXPECT_EQ(ticks, 1);
}

TEST(VirtualClock, SleepMovesTimeWithoutTicksAndTheTickAfterIsNotRepeated) {
    platform::VirtualClock clock;
    int ticks = 0;
    auto t = clock.makeTimer(10, true);
    t->onTick = [&] {
        ++ticks;
        if (ticks == 1) clock.sleep(1000); // a handler that blocks the UI thread for a second
    };
    clock.advance(10);
    EXPECT_EQ(ticks, 1);
    EXPECT_EQ(clock.nowMs(), 1010);
    clock.advance(10);
    EXPECT_EQ(ticks, 2);
}

TEST(VirtualClock, DoEventsRunsDueTimersAndPostedWork) {
    platform::VirtualClock clock;
    int ticks = 0, posted = 0;
    auto t = clock.makeTimer(5, true);
    t->onTick = [&] { ++ticks; };
    clock.post([&] { ++posted; });
    clock.sleep(20);
    EXPECT_EQ(ticks, 0);
    clock.doEvents();
    EXPECT_EQ(ticks, 1);
    EXPECT_EQ(posted, 1);
}

TEST(VirtualClock, AdvanceRendersTheSameSpanOnTheVirtualDevice) {
    engine::testing::useVirtualDevice(true);
    ASSERT_TRUE(BASS_Init(-1, 44100, 0, nullptr, nullptr));
    engine::testing::keepHeard(true);
    engine::testing::clearHeard();
    platform::VirtualClock clock;
    auto t = clock.makeTimer(7, true);
    t->onTick = [] {};
    clock.advance(1000);
    clock.sleep(500);
    // 1.5 s at 44.1 kHz, stereo, with no frame lost to rounding across 214 timer stops.
    EXPECT_EQ(engine::testing::heard().size(), 66150u * 2);
    engine::testing::keepHeard(false);
    engine::testing::clearHeard();
    BASS_Free();
    engine::testing::useVirtualDevice(false);
}

TEST(VirtualClock, AdvanceUntilStopsWhenTheConditionHolds) {
    platform::VirtualClock clock;
    bool flag = false;
    auto t = clock.makeTimer(300, true);
    t->onTick = [&] { flag = true; };
    EXPECT_TRUE(clock.advanceUntil([&] { return flag; }, 1000));
    EXPECT_LE(clock.nowMs(), 310);
    flag = false;
    t->setEnabled(false);
    EXPECT_FALSE(clock.advanceUntil([&] { return flag; }, 100));
}

} // namespace

namespace {

TEST(VirtualClock, WaitsOfEngineThreadsEndAtTheirTimeEvenWhileTheUiSleeps) {
    platform::VirtualClock clock;
    std::vector<long long> at;
    int uiTicks = 0;
    auto t = clock.makeTimer(100, true);
    t->onTick = [&] { ++uiTicks; };
    clock.waitThen(1000, [&] { at.push_back(clock.nowMs()); });
    clock.advance(999);
    EXPECT_TRUE(at.empty());
    EXPECT_EQ(uiTicks, 9) << "the UI is not held by an engine thread's wait";
    clock.sleep(50);
    ASSERT_EQ(at.size(), 1u);
    EXPECT_EQ(at[0], 1000);
}

} // namespace
