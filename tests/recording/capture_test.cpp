#include "core/files.h"
#include "engine/testing.h"
#include "recording/capture.h"
#include "recording/take_files.h"
#include "support/app_fixture.h"
#include "widgets/main_controls.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using namespace recording;
using namespace recordingtest;
using testing::AppFixture;

TEST(InputTypeNameTest, NamesEachKindByItsTopByteAndAnyOtherUndefined) {
    const std::vector<std::pair<DWORD, std::string>> table = {
        {0x01000000, "digital"},    {0x02000000, "line-in"},   {0x03000000, "microphone"},
        {0x04000000, "midi synth"}, {0x05000000, "analog cd"}, {0x06000000, "telephone"},
        {0x07000000, "pc speaker"}, {0x08000000, "wave/pcm"},  {0x09000000, "aux"},
        {0x0A000000, "analog"},     {0x00000000, "undefined"}, {0x0B000000, "undefined"},
        {0xFF000000, "undefined"}};
    for (const auto& [flags, name] : table) {
        EXPECT_EQ(InputTypeName(flags), name) << std::hex << flags;
        // The low bits (on or off, the level) do not change the name.
        EXPECT_EQ(InputTypeName(flags | BASS_INPUT_OFF | 0x1234), name) << std::hex << flags;
    }
}

// The callback alone, on a block of a small step.
class CaptureBlockTest : public ::testing::Test {
  protected:
    void SetUp() override {
        c.recBufStep = 1000;
        ASSERT_TRUE(c.recBuffer.allocate(1000));
        c.recLength = 44;
        c.recChan = 7;
    }
    BOOL deliver(std::size_t bytes, std::uint8_t fill) {
        std::vector<std::uint8_t> block(bytes, fill);
        return CaptureProc(7, block.data(), static_cast<DWORD>(bytes), &c);
    }
    CaptureState c;
};

TEST_F(CaptureBlockTest, GrowsByAStepExactlyWhenABlockReachesAMultipleOfTheStep) {
    EXPECT_TRUE(deliver(955, 1)); // 999 bytes: short of the boundary by one
    EXPECT_EQ(c.recBuffer.size(), 1000u);
    EXPECT_TRUE(deliver(1, 2)); // exactly 1000: grows to length + step
    EXPECT_EQ(c.recLength, 1000);
    EXPECT_EQ(c.recBuffer.size(), 2000u);
    EXPECT_TRUE(deliver(999, 3)); // 1999: within the second step
    EXPECT_EQ(c.recBuffer.size(), 2000u);
    EXPECT_TRUE(deliver(1500, 4)); // a block longer than a step
    EXPECT_EQ(c.recLength, 3499);
    EXPECT_EQ(c.recBuffer.size(), 4499u);
    // Every byte kept in order through the moves.
    const std::uint8_t* d = c.recBuffer.data();
    EXPECT_EQ(d[44], 1);
    EXPECT_EQ(d[998], 1);
    EXPECT_EQ(d[999], 2);
    EXPECT_EQ(d[1000], 3);
    EXPECT_EQ(d[1998], 3);
    EXPECT_EQ(d[1999], 4);
    EXPECT_EQ(d[3498], 4);
    EXPECT_EQ(c.recChan.load(), 7u);
}

TEST_F(CaptureBlockTest, ABlockThatCannotGrowEndsTheCaptureAndIsGone) {
    c.recBuffer.setLimit(1500);
    EXPECT_TRUE(deliver(900, 1));
    EXPECT_FALSE(deliver(100, 2)); // would need 2000 bytes
    EXPECT_EQ(c.recChan.load(), 0u);
    EXPECT_TRUE(c.recBuffer.empty());
    EXPECT_FALSE(deliver(10, 3)) << "nothing more is taken";
}

class CaptureTest : public AppFixture {
  protected:
    fs::path voicePath() { return folder.path() / "TKKK" / "vocaltrack.wav"; }
};

TEST_F(CaptureTest, ATakeOfNoLengthIsAValidEmptyWav) {
    start();
    StartCapture(*app);
    ASSERT_NE(app->s.capture.recChan.load(), 0u);
    StopCapture(*app);
    WriteCapture(*app);
    const Wav w = readWav(voicePath());
    EXPECT_EQ(w.fileSize, 44u);
    EXPECT_TRUE(w.canonical);
    EXPECT_EQ(w.riffSize, 36u);
    EXPECT_EQ(w.dataSize, 0u);
    EXPECT_EQ(w.fmtSize, 16u);
    EXPECT_EQ(w.format, 1);
    EXPECT_EQ(w.channels, 2);
    EXPECT_EQ(w.rate, 44100u);
    EXPECT_EQ(w.byteRate, 176400u);
    EXPECT_EQ(w.blockAlign, 4);
    EXPECT_EQ(w.bits, 16);
    EXPECT_EQ(app->s.capture.recChan.load(), 0u);
}

TEST_F(CaptureTest, TheInputIsWrittenSampleForSampleInWholeDeviceBlocks) {
    start();
    StartCapture(*app);
    const auto sung = voice(44100); // one second
    engine::testing::pushCaptureInput(sung);
    clock.advance(1050);
    StopCapture(*app);
    WriteCapture(*app);
    const Wav w = readWav(voicePath());
    ASSERT_TRUE(w.canonical);
    // Ten blocks of 100 ms have been delivered; the part of the eleventh is not.
    EXPECT_EQ(w.dataSize, 10u * 17640u);
    EXPECT_EQ(w.riffSize, w.dataSize + 36);
    EXPECT_EQ(w.fileSize, w.dataSize + 44);
    ASSERT_EQ(w.samples.size(), sung.size());
    EXPECT_EQ(w.samples, sung);
    EXPECT_TRUE(dialogs.shown().empty());
}

TEST_F(CaptureTest, ASecondTakeUnwrittenFreesTheMainStream) {
    start();
    app->s.chan = BASS_StreamCreate(44100, 2, BASS_SAMPLE_FLOAT, nullptr, nullptr);
    ASSERT_NE(app->s.chan.load(), 0u);
    StartCapture(*app);
    StopCapture(*app);
    const DWORD before = app->s.chan;
    BASS_CHANNELINFO info{};
    EXPECT_TRUE(BASS_ChannelGetInfo(before, &info)) << "alive after the first take";
    StartCapture(*app);
    EXPECT_FALSE(BASS_ChannelGetInfo(before, &info)) << "freed by the second start";
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_HANDLE);
    StopCapture(*app);
}

TEST_F(CaptureTest, NoInputGivesNoCaptureNoBlockAndNoFile) {
    const InputsScope none({});
    start();
    StartCapture(*app);
    EXPECT_EQ(app->s.capture.recChan.load(), 0u);
    EXPECT_TRUE(app->s.capture.recBuffer.empty());
    StopCapture(*app);
    WriteCapture(*app);
    EXPECT_FALSE(fs::exists(voicePath()));
    EXPECT_TRUE(dialogs.shown().empty()) << "the capture itself says nothing";
}

TEST_F(CaptureTest, AFolderThatRefusesTheFileIsToldAndTheTakeStaysInMemory) {
    start();
    StartCapture(*app);
    engine::testing::pushCaptureInput(voice(4410));
    clock.advance(200);
    StopCapture(*app);
    // TKKK is a plain file now: nothing can be made in it.
    fs::remove_all(folder.path() / "TKKK");
    { std::ofstream(folder.path() / "TKKK") << "not a folder"; }
    dialogs.answer(platform::vbOK);
    WriteCapture(*app);
    ASSERT_EQ(dialogs.shown().size(), 1u);
    EXPECT_THAT(dialogs.shown()[0].text, ::testing::StartsWith("Can't create the file"));
    EXPECT_EQ(dialogs.shown()[0].caption, "Error");
    dialogs.clear();
    EXPECT_EQ(app->s.capture.recLength, 44 + 2 * 17640) << "two blocks of 100 ms";
    EXPECT_FALSE(app->s.capture.recBuffer.empty());
}

TEST_F(CaptureTest, AFullDiskLeavesNoHalfFileAndKeepsTheEarlierOne) {
    if (!fs::exists("/dev/full")) GTEST_SKIP() << "no /dev/full here";
    start();
    { std::ofstream(voicePath(), std::ios::binary) << "earlier take"; }
    // The file being written is the full device: every write fails with no space left.
    fs::create_symlink("/dev/full", voicePath().string() + ".part");
    StartCapture(*app);
    engine::testing::pushCaptureInput(voice(44100));
    clock.advance(1000);
    StopCapture(*app);
    dialogs.answer(platform::vbOK);
    WriteCapture(*app);
    ASSERT_EQ(dialogs.shown().size(), 1u);
    EXPECT_THAT(dialogs.shown()[0].text, ::testing::StartsWith("Can't create the file"));
    dialogs.clear();
    EXPECT_EQ(readBytes(voicePath()), "earlier take");
    EXPECT_FALSE(fs::exists(fs::symlink_status(voicePath().string() + ".part")));
    EXPECT_GT(app->s.capture.recLength, 44) << "the take is still in memory";
}

TEST_F(CaptureTest, ChoosingAnInputSwitchesTheOthersOffAndHidesTheList) {
    const InputsScope three({{"Microphone", true}, {"Line in", false}, {"Monitor of Speakers", false}});
    start();
    auto* list = app->ui.cmbInput;
    ASSERT_EQ(list->count(), 3);
    EXPECT_EQ(app->s.inputIndex, 0);
    list->setVisible(true);
    list->setCurrentIndex(2);
    cmbInput_Click(*app);
    EXPECT_EQ(app->s.inputIndex, 2);
    EXPECT_TRUE(BASS_RecordGetInput(0, nullptr) & BASS_INPUT_OFF);
    EXPECT_TRUE(BASS_RecordGetInput(1, nullptr) & BASS_INPUT_OFF);
    EXPECT_FALSE(BASS_RecordGetInput(2, nullptr) & BASS_INPUT_OFF);
    EXPECT_EQ(InputTypeName(*app), "wave/pcm");
    EXPECT_TRUE(list->isHidden());
}

} // namespace
} // namespace velvora
