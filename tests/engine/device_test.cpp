#include "engine/api.h"
#include "engine/testing.h"
#include "engine/virtual_device.h"

#include <gtest/gtest.h>

#include <optional>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

namespace {

class VirtualDeviceTest : public ::testing::Test {
  protected:
    void SetUp() override {
        device_.emplace(fixtures::VirtualDevice::Options{
            .open = false,
            .inputs = {{"Microfono (USB)", true}, {"Monitor of Null Output", false}, {"Line In", false}}});
    }
    void TearDown() override { device_.reset(); }
    std::optional<fixtures::VirtualDevice> device_;
};

TEST(EngineVersion, ReportsTwoPointFourInTheHighWord) {
    EXPECT_EQ(BASS_GetVersion() >> 16, 0x0204u);
    EXPECT_EQ(BASS_FX_GetVersion() >> 16, 0x0204u);
}

TEST_F(VirtualDeviceTest, InitTwiceIsRefusedUntilFreed) {
    ASSERT_TRUE(BASS_Init(-1, 44100, 0, nullptr, nullptr));
    EXPECT_FALSE(BASS_Init(1, 44100, 0, nullptr, nullptr));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_ALREADY);
    ASSERT_TRUE(BASS_Free());
    EXPECT_FALSE(BASS_Free());
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_INIT);
    EXPECT_TRUE(BASS_Init(1, 44100, 0, nullptr, nullptr));
    EXPECT_EQ(engine::testing::outputName(), "Virtual");
}

TEST_F(VirtualDeviceTest, MasterVolumeNeedsADeviceAndAnInRangeValue) {
    EXPECT_FALSE(BASS_SetVolume(0.5f));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_INIT);
    ASSERT_TRUE(BASS_Init(-1, 44100, 0, nullptr, nullptr));
    EXPECT_FALSE(BASS_SetVolume(1.5f));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_ILLPARAM);
    EXPECT_TRUE(BASS_SetVolume(0.25f));
    EXPECT_FLOAT_EQ(BASS_GetVolume(), 0.25f);
}

TEST_F(VirtualDeviceTest, FloatProbeStreamAndStaleHandles) {
    EXPECT_EQ(BASS_StreamCreate(44100, 2, BASS_SAMPLE_FLOAT, nullptr, nullptr), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_INIT);
    ASSERT_TRUE(BASS_Init(-1, 44100, 0, nullptr, nullptr));
    const HSTREAM h = BASS_StreamCreate(44100, 2, BASS_SAMPLE_FLOAT, nullptr, nullptr);
    ASSERT_NE(h, 0u);
    BASS_CHANNELINFO info{};
    ASSERT_TRUE(BASS_ChannelGetInfo(h, &info));
    EXPECT_EQ(info.freq, 44100u);
    EXPECT_EQ(info.chans, 2u);
    EXPECT_TRUE(info.flags & BASS_SAMPLE_FLOAT);
    EXPECT_TRUE(BASS_StreamFree(h));
    EXPECT_FALSE(BASS_StreamFree(h));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_HANDLE);
    // A new stream in the freed slot does not revive the old handle.
    const HSTREAM again = BASS_StreamCreate(44100, 2, 0, nullptr, nullptr);
    EXPECT_NE(again, h);
    EXPECT_FALSE(BASS_ChannelGetInfo(h, &info));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_HANDLE);
    EXPECT_FALSE(BASS_StreamFree(0));
}

TEST_F(VirtualDeviceTest, FreeingTheDeviceFreesItsStreams) {
    ASSERT_TRUE(BASS_Init(-1, 44100, 0, nullptr, nullptr));
    const HSTREAM h = BASS_StreamCreate(44100, 2, 0, nullptr, nullptr);
    ASSERT_TRUE(BASS_Free());
    BASS_CHANNELINFO info{};
    EXPECT_FALSE(BASS_ChannelGetInfo(h, &info));
}

TEST_F(VirtualDeviceTest, CaptureInputsOneOnAtATimeWithTypesAndLevels) {
    EXPECT_EQ(BASS_RecordGetInputName(0), nullptr);
    ASSERT_TRUE(BASS_RecordInit(0));
    EXPECT_FALSE(BASS_RecordInit(0));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_ALREADY);
    ASSERT_NE(BASS_RecordGetInputName(2), nullptr);
    EXPECT_STREQ(BASS_RecordGetInputName(1), "Monitor of Null Output");
    EXPECT_EQ(BASS_RecordGetInputName(3), nullptr);

    EXPECT_EQ(BASS_RecordGetInput(0, nullptr), BASS_INPUT_TYPE_MIC);
    EXPECT_EQ(BASS_RecordGetInput(1, nullptr), BASS_INPUT_TYPE_WAVE | BASS_INPUT_OFF);
    EXPECT_EQ(BASS_RecordGetInput(2, nullptr), BASS_INPUT_TYPE_LINE | BASS_INPUT_OFF);

    ASSERT_TRUE(BASS_RecordSetInput(1, BASS_INPUT_ON, 0.5f));
    EXPECT_TRUE(BASS_RecordGetInput(0, nullptr) & BASS_INPUT_OFF);
    float level = 0;
    EXPECT_FALSE(BASS_RecordGetInput(1, &level) & BASS_INPUT_OFF);
    EXPECT_FLOAT_EQ(level, 0.5f);
    // -1 keeps the level; flags 0 only set it.
    ASSERT_TRUE(BASS_RecordSetInput(1, 0, -1.0f));
    BASS_RecordGetInput(1, &level);
    EXPECT_FLOAT_EQ(level, 0.5f);
    ASSERT_TRUE(BASS_RecordSetInput(1, 0, 0.0f));
    BASS_RecordGetInput(1, &level);
    EXPECT_FLOAT_EQ(level, 0.0f);
    EXPECT_FALSE(BASS_RecordSetInput(1, 0, 2.0f));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_ILLPARAM);
    EXPECT_FALSE(BASS_RecordSetInput(7, BASS_INPUT_ON, -1.0f));
}

TEST_F(VirtualDeviceTest, NoCaptureDeviceFailsCleanly) {
    engine::testing::setVirtualInputs({});
    EXPECT_FALSE(BASS_RecordInit(0));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_DEVICE);
    EXPECT_EQ(BASS_RecordGetInputName(0), nullptr);
}

} // namespace
