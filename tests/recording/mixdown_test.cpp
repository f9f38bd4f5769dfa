#include "core/controls.h"
#include "engine/testing.h"
#include "recording/mixdown.h"
#include "recording/take_files.h"
#include "support/app_fixture.h"
#include "widgets/main_controls.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using namespace recordingtest;
using testing::AppFixture;

class MixdownTest : public AppFixture {
  protected:
    fs::path tkkk(const char* name) { return folder.path() / "TKKK" / name; }
    fs::path live() { return folder.path() / "LiveTrack.wav"; }
    // The take's mix as the "No" answer runs it, the save dialog cancelled.
    void mixTake() {
        app->s.recordArmed = true;
        dialogs.answer(platform::vbOK);
        dialogs.answerFile(std::nullopt);
        recording::AudioMixer(*app);
    }
    std::vector<std::string> texts() {
        std::vector<std::string> out;
        for (const auto& box : dialogs.shown())
            out.push_back(box.kind == platform::ShownBox::Message ? box.text : box.caption);
        return out;
    }
};

TEST_F(MixdownTest, OnlyAnArmedTakeIsMixed) {
    start();
    writeWav(tkkk("BackingTrack.WAV"), voice(4410));
    recording::AudioMixer(*app);
    EXPECT_TRUE(dialogs.shown().empty());
    EXPECT_FALSE(fs::exists(live()));
}

TEST_F(MixdownTest, AMissingVoiceMixesTheBackingAloneAndTheEarlierMixIsGoneEvenOnCancel) {
    start();
    { std::ofstream(live()) << "an earlier mix"; }
    const auto backing = voice(30000, 5);
    writeWav(tkkk("BackingTrack.WAV"), backing);
    mixTake();
    EXPECT_THAT(texts(), ::testing::ElementsAre("Fatto!", "Save WAVE File As"));
    const Wav mix = readWav(live());
    ASSERT_TRUE(mix.canonical);
    EXPECT_EQ(mix.samples, backing);
    EXPECT_EQ(mix.riffSize, mix.dataSize + 36);
    EXPECT_TRUE(app->s.dialogFileName.empty()) << "a cancelled save leaves the name empty";
    EXPECT_EQ(app->s.mix.mixPosition, 0);
    EXPECT_FALSE(app->s.mix.mixRunning[0]);
}

TEST_F(MixdownTest, AnEmptyOrForeignBackingLeavesTheVoiceAlone) {
    start();
    const auto sung = voice(25000, 9);
    writeWav(tkkk("vocaltrack.wav"), sung);
    for (const std::string& bad : {std::string(), std::string("this is not a wave file at all")}) {
        { std::ofstream(tkkk("BackingTrack.WAV"), std::ios::binary) << bad; }
        dialogs.clear();
        mixTake();
        EXPECT_THAT(texts(), ::testing::ElementsAre("Fatto!", "Save WAVE File As"));
        EXPECT_EQ(readWav(live()).samples, sung);
    }
}

TEST_F(MixdownTest, NoTrackAtAllGivesAHeaderWithNoDataAndStillSaysFatto) {
    start();
    { std::ofstream(tkkk("vocaltrack.wav")) << "RIFF but nothing else"; }
    mixTake();
    EXPECT_THAT(texts(), ::testing::ElementsAre("Fatto!", "Save WAVE File As"));
    const Wav mix = readWav(live());
    EXPECT_TRUE(mix.canonical);
    EXPECT_EQ(mix.dataSize, 0u);
    EXPECT_EQ(mix.channels, 2);
    EXPECT_EQ(mix.rate, 44100u);
}

TEST_F(MixdownTest, AFullDiskLeavesNoHalfMixAndEndsWithFatto) {
    if (!fs::exists("/dev/full")) GTEST_SKIP() << "no /dev/full here";
    start();
    writeWav(tkkk("BackingTrack.WAV"), voice(44100));
    fs::create_symlink("/dev/full", live().string() + ".part");
    mixTake();
    EXPECT_THAT(texts(), ::testing::ElementsAre("Fatto!", "Save WAVE File As"));
    EXPECT_FALSE(fs::exists(live()));
    EXPECT_FALSE(fs::exists(fs::symlink_status(live().string() + ".part")));
}

// The package's tracks, as its unpacking leaves them in TMPK with their names.
class PackageMixTest : public MixdownTest {
  protected:
    // A track of constant samples, at the strip level its unpacking and the song's settings gave it.
    void track(int index, const std::string& name, std::int16_t level, std::size_t frames,
               std::int16_t strip) {
        writeWav(folder.path() / "TMPK" / name, std::vector<std::int16_t>(frames * 2, level));
        app->s.trackFile[static_cast<std::size_t>(index)] = name;
        app->s.channelStrip[static_cast<std::size_t>(index)].Volume = strip;
    }
};

TEST_F(PackageMixTest, TheStripSetsEachTracksLevelAndTheFolderIsEmptiedAfterwards) {
    start();
    app->s.FileName = (folder.path() / "song.NVK").string();
    track(0, "BackingTrack.MP3", 1000, 44100, 1); // 126/127
    track(1, "vocaltrack.MP3", 2000, 44100, 50);  // 77/127
    track(2, "ZZZZ.MP3", 3000, 44100, 127);       // silent
    { std::ofstream(folder.path() / "TMPK" / "song.txt") << "information"; }
    { std::ofstream(folder.path() / "TMPK" / "LIRICA.LRC") << "[00:01.00]la"; }
    const fs::path kept = folder.path() / "package mix.wav";
    dialogs.answer(platform::vbOK);
    dialogs.answerFile(kept.string());
    recording::BtnMix_Click(*app);

    EXPECT_THAT(texts(), ::testing::ElementsAre("Fatto!", "Save WAVE File As"));
    EXPECT_EQ(app->s.stemCount, 3);
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(app->ui.Check1[static_cast<std::size_t>(i)]->isChecked());
    const Wav mix = readWav(live());
    ASSERT_EQ(mix.samples.size(), 44100u * 2);
    EXPECT_EQ(app->ui.Slider2[1]->value(), 50);
    const double expected = 1000 * 126.0 / 127.0 + 2000 * 77.0 / 127.0;
    EXPECT_NEAR(mix.samples.front(), expected, 1.0);
    EXPECT_NEAR(mix.samples[44100], expected, 1.0);
    EXPECT_NEAR(mix.samples.back(), expected, 1.0);
    EXPECT_EQ(readBytes(kept), readBytes(live()));
    EXPECT_TRUE(fs::is_empty(folder.path() / "TMPK"));
    EXPECT_FALSE(app->ui.BtnMix->isEnabled());
    EXPECT_EQ(caption(app->ui.lblPos), "Pos: " + std::to_string(44100 * 4));
    // The engine is up again.
    const HSTREAM probe = BASS_StreamCreate(44100, 2, BASS_SAMPLE_FLOAT, nullptr, nullptr);
    EXPECT_NE(probe, 0u);
    BASS_StreamFree(probe);
}

TEST_F(PackageMixTest, AMixLongerThan237SecondsIsCutAndStillSaysFatto) {
    start();
    app->s.FileName = (folder.path() / "long.NVK").string();
    track(0, "BackingTrack.MP3", 500, 240 * 44100, 1);
    dialogs.answer(platform::vbOK);
    dialogs.answerFile(std::nullopt);
    recording::BtnMix_Click(*app);
    EXPECT_THAT(texts(), ::testing::ElementsAre("Fatto!", "Save WAVE File As"));
    const Wav mix = readWav(live());
    // The first whole block at or past the limit.
    EXPECT_EQ(mix.dataSize, 41820000u);
    EXPECT_EQ(mix.riffSize, 41820000u + 36);
    EXPECT_LT(mix.dataSize, 240u * 176400);
    EXPECT_NEAR(mix.samples.back(), 500 * 126.0 / 127.0, 1.0);
}

} // namespace
} // namespace velvora
