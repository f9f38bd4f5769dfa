// The take's way to a package, on virtual time: timed bar steps, the backing track encoded twice,
// the vocal track once, the package maker at the end; a refusal stops it all.
#include "encoding/encoding_checks.h"
#include "encoding/encoding_flows.h"
#include "encoding/mp3_frames.h"
#include "encoding/raised_error.h"
#include "encoding/wav_bytes.h"
#include "platform/scripted/virtual_clock.h"

#include <QApplication>
#include <QProgressBar>

#include <gtest/gtest.h>

namespace {

using namespace enctest;

class Mp3EncTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::filesystem::create_directories(dir / "TKKK");
        std::filesystem::create_directories(dir / "TMPK");
        bar.setVisible(false);
        QObject::connect(&bar, &QProgressBar::valueChanged, [this](int v) {
            steps.push_back({clock.nowMs(), v});
        });
        encoder.EncodeProgress = [this](std::int64_t done, std::int64_t total, bool&) {
            if (done == total) jobs.push_back({encoder.WavFile(), total});
        };
    }
    void TearDown() override {
        while (QApplication::overrideCursor()) QApplication::restoreOverrideCursor();
    }
    velvora::encoding::Mp3EncJob job() {
        return {dir.path().string(),
                encoder,
                clock,
                &bar,
                lrcBatch,
                [this] { ++lrcRuns; },
                [this] {
                    form1At.push_back(clock.nowMs());
                    cursorAtForm1 = QApplication::overrideCursor() != nullptr;
                }};
    }

    // Qt comes up before the bar below.
    struct QtReady {
        QtReady() { ensureQtApplication(); }
    } qtReady;
    Folder dir;
    velvora::encoding::cLameEncoder encoder{"velvora"};
    platform::VirtualClock clock;
    QProgressBar bar;
    bool lrcBatch = false;
    int lrcRuns = 0;
    bool cursorAtForm1 = true;
    std::vector<long long> form1At;
    std::vector<std::pair<long long, int>> steps;
    std::vector<std::pair<std::string, std::int64_t>> jobs;
};

TEST_F(Mp3EncTest, EncodesBothTracksBetweenTimedStepsThenShowsTheMaker) {
    // The take's backing track is made with an upper-case extension and found all the same.
    writeStereoWav(dir / "TKKK" / "BackingTrack.WAV", twoTone(8 * 1152));
    writeStereoWav(dir / "TKKK" / "vocaltrack.wav", twoTone(5 * 1152));
    lrcBatch = true;
    auto j = job();
    velvora::encoding::Mp3Enc(j);

    const std::vector<std::pair<long long, int>> expected = {
        {1000, 20}, {2000, 40},  {3000, 60}, {4000, 100}, {5000, 30},
        {6000, 60}, {7000, 100}, {8000, 30}, {9000, 60},  {10000, 100}};
    EXPECT_EQ(steps, expected);
    EXPECT_TRUE(bar.isHidden());
    // The backing track twice, the vocal track once, in that order.
    ASSERT_EQ(jobs.size(), 3u);
    EXPECT_EQ(jobs[0].second, 8 * 1152 * 2);
    EXPECT_EQ(jobs[1], jobs[0]);
    EXPECT_EQ(jobs[2].second, 5 * 1152 * 2);
    for (const char* name : {"BackingTrack.MP3", "vocaltrack.MP3"}) {
        const auto fs = mp3Frames(readFile(dir / "TMPK" / name));
        ASSERT_FALSE(fs.empty()) << name;
        EXPECT_EQ(fs[0].kbps, 256);
        EXPECT_EQ(fs[0].mode, 0);
    }
    EXPECT_EQ(lrcRuns, 1);
    EXPECT_FALSE(lrcBatch);
    EXPECT_EQ(form1At, std::vector<long long>{10000});
    EXPECT_FALSE(cursorAtForm1);
}

TEST_F(Mp3EncTest, WithoutTheBatchFlagNoLyricsAreMade) {
    writeStereoWav(dir / "TKKK" / "BackingTrack.wav", twoTone(2 * 1152));
    writeStereoWav(dir / "TKKK" / "vocaltrack.wav", twoTone(2 * 1152));
    auto j = job();
    velvora::encoding::Mp3Enc(j);
    EXPECT_EQ(lrcRuns, 0);
    EXPECT_EQ(form1At.size(), 1u);
}

TEST_F(Mp3EncTest, AMonoBackingTrackStopsTheFlowBeforeTheMaker) {
    writeFile(dir / "TKKK" / "BackingTrack.WAV", wav(Format{1, 1, 44100, 16}, Bytes(20000, 0)));
    writeStereoWav(dir / "TKKK" / "vocaltrack.wav", twoTone(2 * 1152));
    auto j = job();
    expectRaised(29671, "velvora.lameConvert", "Only stereo 16 bit wave files supported.",
                 [&] { velvora::encoding::Mp3Enc(j); });
    EXPECT_EQ(clock.nowMs(), 4000);
    EXPECT_TRUE(form1At.empty());
    EXPECT_TRUE(filesIn(dir / "TMPK").empty());
    // The wait cursor stays on after a refusal.
    EXPECT_NE(QApplication::overrideCursor(), nullptr);
}

TEST_F(Mp3EncTest, ABackingMp3LeftFromBeforeIsKeptAndTheJobFailsInTheWriter) {
    writeStereoWav(dir / "TKKK" / "BackingTrack.wav", twoTone(2 * 1152));
    writeStereoWav(dir / "TKKK" / "vocaltrack.wav", twoTone(2 * 1152));
    writeFile(dir / "TMPK" / "BackingTrack.MP3", Bytes{9, 9, 9});
    auto j = job();
    expectRaised(29872, "velvora.lameConvert", "Unable to open file for writing",
                 [&] { velvora::encoding::Mp3Enc(j); });
    EXPECT_EQ(readFile(dir / "TMPK" / "BackingTrack.MP3"), (Bytes{9, 9, 9}));
    EXPECT_TRUE(form1At.empty());
}

} // namespace
