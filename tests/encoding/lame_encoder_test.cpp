#include "encoding/encoding_checks.h"
#include "encoding/encoding_flows.h"
#include "encoding/lame_encoder.h"
#include "encoding/mp3_frames.h"
#include "encoding/raised_error.h"
#include "encoding/wav_bytes.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>

namespace {

using velvora::encoding::cLameEncoder;
using velvora::encoding::RaisedError;
using namespace enctest;

struct Event {
    std::int64_t done, total;
};

class LameEncoderTest : public ::testing::Test {
  protected:
    // A WAV of `frames` stereo frames of two tones, and an encoder pointed at it.
    std::string source(std::size_t frames, const std::string& name = "in.wav") {
        return writeStereoWav(dir / name, twoTone(frames));
    }
    void aim(const std::string& wav, const std::string& mp3) {
        enc.WavFile(wav);
        enc.Mp3File(mp3);
    }
    // Runs a job that must succeed, keeping its events.
    std::vector<Event> run() {
        std::vector<Event> events;
        enc.EncodeProgress = [&](std::int64_t done, std::int64_t total, bool&) {
            events.push_back({done, total});
        };
        enc.Encode();
        return events;
    }

    Folder dir;
    cLameEncoder enc{"velvora"};
};

TEST_F(LameEncoderTest, FileNamesAreKeptOnlyForAnExistingSourceAndAFreeTarget) {
    const std::string wav = source(100), taken = (dir / "taken.mp3").string();
    writeFile(taken, Bytes{1, 2, 3});
    enc.WavFile((dir / "missing.wav").string());
    EXPECT_EQ(enc.WavFile(), "");
    enc.WavFile(dir.path().string());
    EXPECT_EQ(enc.WavFile(), "");
    enc.WavFile(wav);
    EXPECT_EQ(enc.WavFile(), wav);
    enc.WavFile((dir / "missing.wav").string());
    EXPECT_EQ(enc.WavFile(), wav);

    enc.Mp3File(taken);
    EXPECT_EQ(enc.Mp3File(), "");
    enc.Mp3File((dir / "a.mp3").string());
    EXPECT_EQ(enc.Mp3File(), (dir / "a.mp3").string());
    enc.Mp3File(taken);
    EXPECT_EQ(enc.Mp3File(), (dir / "a.mp3").string());
    EXPECT_EQ(readFile(taken), (Bytes{1, 2, 3}));
}

TEST_F(LameEncoderTest, ProgressCountsSamplesOfWholeBlocksAndEndsAtTheFullLength) {
    // 10 whole blocks of 1152 frames and 100 frames more: the last, short block is never encoded.
    const std::size_t frames = 10 * 1152 + 100;
    aim(source(frames), (dir / "out.mp3").string());
    const std::vector<Event> events = run();
    ASSERT_EQ(events.size(), 10u + 1u);
    for (std::size_t i = 0; i < 10; ++i) {
        EXPECT_EQ(events[i].done, std::int64_t(i + 1) * 2304);
        EXPECT_EQ(events[i].total, std::int64_t(frames) * 2);
    }
    EXPECT_EQ(events.back().done, std::int64_t(frames) * 2);
    EXPECT_EQ(events.back().total, std::int64_t(frames) * 2);
    EXPECT_FALSE(mp3Frames(readFile(dir / "out.mp3")).empty());
}

TEST_F(LameEncoderTest, ACancelStopsTheJobAndLeavesNoOutput) {
    aim(source(20 * 1152), (dir / "out.mp3").string());
    std::vector<Event> events;
    enc.EncodeProgress = [&](std::int64_t done, std::int64_t total, bool& cancel) {
        events.push_back({done, total});
        if (events.size() == 3) cancel = true;
    };
    enc.Encode();
    EXPECT_EQ(events.size(), 3u);
    EXPECT_EQ(filesIn(dir.path()), std::vector<std::string>{"in.wav"});

    // The stream was let go: the same object runs the next job whole.
    EXPECT_EQ(run().back().done, 20 * 1152 * 2);
    EXPECT_TRUE(std::filesystem::exists(dir / "out.mp3"));
}

TEST_F(LameEncoderTest, ACancelAtTheFinalEventTakesTheFinishedFileAway) {
    aim(source(3 * 1152), (dir / "out.mp3").string());
    enc.EncodeProgress = [&](std::int64_t done, std::int64_t total, bool& cancel) { cancel = done == total; };
    enc.Encode();
    EXPECT_FALSE(std::filesystem::exists(dir / "out.mp3"));
}

TEST_F(LameEncoderTest, AFileShorterThanOneBlockGivesOnlyTheClosingData) {
    aim(source(1000), (dir / "short.mp3").string());
    const std::vector<Event> events = run();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].done, 2000);
    const Bytes mp3 = readFile(dir / "short.mp3");
    EXPECT_GT(mp3.size(), 0u);
    // The encoder's own delay and flush: a couple of frames, no more.
    EXPECT_LE(mp3Frames(mp3).size(), 3u);
}

TEST_F(LameEncoderTest, ASecondJobWithTheSameNamesMakesTheTargetAnew) {
    aim(source(5 * 1152), (dir / "out.mp3").string());
    run();
    const Bytes first = readFile(dir / "out.mp3");
    writeFile(dir / "out.mp3", Bytes(100000, 0x55));
    run();
    EXPECT_EQ(readFile(dir / "out.mp3"), first);
}

TEST_F(LameEncoderTest, JobFailuresComeFromTheConversionAndLeaveNoOutput) {
    const std::string good = source(4 * 1152);
    // No target name: the writer cannot make "".
    enc.WavFile(good);
    expectRaised(29872, "velvora.lameConvert", "Unable to open file for writing", [&] { enc.Encode(); });
    // No source name: the reader is never opened.
    cLameEncoder fresh("velvora");
    fresh.Mp3File((dir / "a.mp3").string());
    expectRaised(29676, "velvora.lameConvert", "No Wave File Open", [&] { fresh.Encode(); });
    // A source that is not stereo 16-bit.
    writeFile(dir / "mono.wav", wav(Format{1, 1, 44100, 16}, Bytes(8000, 0)));
    fresh.WavFile((dir / "mono.wav").string());
    expectRaised(29671, "velvora.lameConvert", "Only stereo 16 bit wave files supported.",
                 [&] { fresh.Encode(); });
    EXPECT_EQ(filesIn(dir.path()).size(), 2u); // in.wav, mono.wav

    // The source cut while the job runs: the reader runs short.
    aim(good, (dir / "b.mp3").string());
    enc.EncodeProgress = [&](std::int64_t, std::int64_t, bool&) { std::filesystem::resize_file(good, 1000); };
    expectRaised(29676, "velvora.lameConvert", "No Wave File Open", [&] { enc.Encode(); });
    EXPECT_FALSE(std::filesystem::exists(dir / "b.mp3"));

    // A handler that raises an error of its own.
    const std::string wav2 = source(4 * 1152, "in2.wav");
    aim(wav2, (dir / "c.mp3").string());
    enc.EncodeProgress = [&](std::int64_t, std::int64_t, bool&) { throw RaisedError(5, "handler", "stop"); };
    expectRaised(5, "velvora.lameConvert", "stop", [&] { enc.Encode(); });
    EXPECT_FALSE(std::filesystem::exists(dir / "c.mp3"));

    // After all that the object runs a job whole.
    enc.EncodeProgress = nullptr;
    enc.Encode();
    EXPECT_FALSE(mp3Frames(readFile(dir / "c.mp3")).empty());
}

TEST_F(LameEncoderTest, TheSourceIsNeverMadeTheTarget) {
    const std::string later = (dir / "later.wav").string();
    enc.Mp3File(later);
    source(3 * 1152, "later.wav");
    enc.WavFile(later);
    const Bytes before = readFile(later);
    expectRaised(29872, "velvora.lameConvert", "Unable to open file for writing", [&] { enc.Encode(); });
    EXPECT_EQ(readFile(later), before);
}

TEST_F(LameEncoderTest, ValuesTheEncoderCannotTakeFailAtItsStart) {
    aim(source(2 * 1152), (dir / "out.mp3").string());
    velvora::encoding::usePackageSettings(enc);
    for (auto set :
         std::vector<std::function<void()>>{[&] { enc.BitRate(255); }, [&] { enc.OutputMode(7); },
                                            [&] { enc.EncodingPreset(3); }, [&] { enc.SampleRate(0); }}) {
        velvora::encoding::usePackageSettings(enc);
        set();
        expectRaised(29772, "velvora.lameInit", "Invalid Format Parameters", [&] { enc.Encode(); });
        EXPECT_FALSE(std::filesystem::exists(dir / "out.mp3"));
    }
    velvora::encoding::usePackageSettings(enc);
    run();
    EXPECT_TRUE(std::filesystem::exists(dir / "out.mp3"));
}

TEST_F(LameEncoderTest, TheRecordAtCreationEncodesJointStereoVbrWithTheOriginalBit) {
    aim(source(200 * 1152), (dir / "default.mp3").string());
    EXPECT_EQ(enc.BitRate(), 128);
    EXPECT_EQ(enc.SampleRate(), 44100);
    EXPECT_EQ(enc.OutputMode(), 1);
    EXPECT_EQ(enc.EncodingPreset(), 4);
    EXPECT_EQ(enc.config().structSize, 331u);
    run();
    const auto fs = mp3Frames(readFile(dir / "default.mp3"));
    ASSERT_GT(fs.size(), 150u);
    const FrameValues v = valuesOf(fs);
    EXPECT_EQ(v.mpegVersion, std::set<int>{1});
    EXPECT_EQ(v.rate, std::set<int>{44100});
    EXPECT_EQ(v.mode, std::set<int>{1});
    EXPECT_EQ(v.original, std::set<bool>{true});
    EXPECT_EQ(v.crc, std::set<bool>{false});
    EXPECT_EQ(v.copyright, std::set<bool>{false});
    // The preset at creation is a variable-rate one.
    EXPECT_GT(v.kbps.size(), 1u);
}

TEST(LameEncoderVersion, ReadsTheLibraryRecord) {
    cLameEncoder enc("velvora");
    const auto& v = enc.Version();
    EXPECT_EQ(&v, &enc.Version());
    EXPECT_EQ(v.MajorVersion(), 3);
    EXPECT_GE(v.MinorVersion(), 99);
    EXPECT_EQ(v.DllMajorVersion(), 1);
    ASSERT_TRUE(v.ReleaseDate().has_value());
    EXPECT_GE(int(v.ReleaseDate()->year()), 2026);
    EXPECT_EQ(v.HomePage().rfind("http", 0), 0u) << v.HomePage();
}

TEST(LameEncoderVersion, DecodesDateAndHomePageFromTheRecord) {
    velvora::encoding::BeVersion r{};
    r.day = 31;
    r.month = 2; // no such day
    r.yearAndHomePage[0] = 2017 & 0xff;
    r.yearAndHomePage[1] = 2017 >> 8;
    for (std::size_t i = 2; i < 134; ++i) r.yearAndHomePage[i] = 'a';
    velvora::encoding::cLameEncoderVersion bad(r);
    EXPECT_FALSE(bad.ReleaseDate().has_value());
    EXPECT_EQ(bad.HomePage(), std::string(128, 'a'));

    r.day = 13;
    r.month = 10;
    r.yearAndHomePage[6] = 0;
    velvora::encoding::cLameEncoderVersion good(r);
    ASSERT_TRUE(good.ReleaseDate().has_value());
    EXPECT_EQ(*good.ReleaseDate(), std::chrono::year(2017) / std::chrono::October / 13);
    EXPECT_EQ(good.HomePage(), "aaaa");
}

TEST(EncodingErrors, EveryNumberSourceAndText) {
    using namespace velvora::encoding;
    const char* reader[] = {"Only stereo 16 bit wave files supported.",
                            "Unable to open file.",
                            "Not a Wave file.",
                            "Unable to retrieve format chunk",
                            "Error reading format",
                            "No Wave File Open",
                            "Insufficient memory",
                            "Position out of range",
                            "Cannot change buffer size whilst a file is open."};
    for (int code = 1; code <= 9; ++code) {
        const RaisedError e = wavReaderError("velvora", code);
        EXPECT_EQ(e.number(), 29670 + code);
        EXPECT_EQ(e.source(), "velvora.cWavePlayer");
        EXPECT_EQ(e.description(), reader[code - 1]);
        EXPECT_STREQ(e.what(), reader[code - 1]);
    }
    const char* writer[] = {"Unable to allocate output buffer for writing", "Unable to open file for writing",
                            "Cannot write more data than is available in the buffer",
                            "File not open for writing", "Failed to write buffer to file"};
    for (int code = 1; code <= 5; ++code) {
        const RaisedError e = mp3WriterError("mp3enc", "WriteBufferToFile", code);
        EXPECT_EQ(e.number(), 29870 + code);
        EXPECT_EQ(e.source(), "mp3enc.WriteBufferToFile");
        EXPECT_EQ(e.description(), writer[code - 1]);
    }
    const char* lame[] = {"Invalid Format", "Invalid Format Parameters", "Out of LAME handles",
                          "LAME handle is invalid", "Buffer is too small"};
    for (int code = 1; code <= 5; ++code) {
        const RaisedError e = lameError("velvora", "lameConvert", code, true);
        EXPECT_EQ(e.number(), 29770 + code);
        EXPECT_EQ(e.source(), "velvora.lameConvert");
        EXPECT_EQ(e.description(), lame[code - 1]);
    }
    EXPECT_EQ(lameError("velvora", "lameInit", 9, true).description(), "");
    EXPECT_EQ(lameError("velvora", "lameInit", 9, true).number(), 29779);
    const RaisedError notInit = lameError("velvora", "lameConvert", 1, false);
    EXPECT_EQ(notInit.number(), 29771);
    EXPECT_EQ(notInit.description(), "Lame engine not initialised");
}

} // namespace
