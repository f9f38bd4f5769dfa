#include "engine/api.h"
#include "engine/stream_fixtures.h"
#include "engine/testing.h"
#include "engine/virtual_device.h"

#include <gtest/gtest.h>

#include <optional>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

namespace {

using engine::testing::advance;
using engine::testing::heard;

class StreamTest : public ::testing::Test {
  protected:
    void SetUp() override {
        device_.emplace(fixtures::VirtualDevice::Options{.keepHeard = true});
        ASSERT_TRUE(device_->opened());
        ASSERT_TRUE(BASS_SetVolume(1.0f));
    }
    void TearDown() override { device_.reset(); }
    std::optional<fixtures::VirtualDevice> device_;
    // Advances in small steps until the channel stops; returns the frames advanced.
    static unsigned playOut(DWORD h, unsigned step = 256, unsigned limit = 44100 * 20) {
        unsigned frames = 0;
        while (BASS_ChannelIsActive(h) != BASS_ACTIVE_STOPPED && frames < limit) {
            advance(step);
            frames += step;
        }
        return frames;
    }
    // Index of the last frame louder than `threshold` in what was heard.
    static std::size_t lastLoudFrame(float threshold = 0.05f) {
        const auto& h = heard();
        for (std::size_t i = h.size() / 2; i-- > 0;)
            if (std::abs(h[i * 2]) > threshold) return i;
        return 0;
    }
};

TEST_F(StreamTest, WavPlaysSampleExactIntoTheMix) {
    const auto samples = fixtures::pattern(20000);
    const std::string path = fixtures::writeAudio("exact.wav", samples, 2, 44100);
    const HSTREAM h = BASS_StreamCreateFile(false, path.c_str(), 0, 0, 0);
    ASSERT_NE(h, 0u);
    EXPECT_EQ(BASS_ChannelGetLength(h, BASS_POS_BYTE), 20000u * 4);
    ASSERT_TRUE(BASS_ChannelPlay(h, false));
    playOut(h, 512);
    const auto& out = heard();
    ASSERT_GE(out.size(), samples.size());
    for (std::size_t i = 0; i < samples.size(); ++i)
        ASSERT_EQ(out[i], samples[i] / 32768.0f) << "sample " << i;
    for (std::size_t i = samples.size(); i < out.size(); ++i) ASSERT_EQ(out[i], 0.0f);
    EXPECT_EQ(BASS_ChannelGetPosition(h, BASS_POS_BYTE), 20000u * 4);
}

TEST_F(StreamTest, VolumeAppliesAtOnceAndMasterToo) {
    const std::string path = fixtures::writeAudio("vol.wav", fixtures::pattern(8000), 2, 44100);
    const HSTREAM h = BASS_StreamCreateFile(false, path.c_str(), 0, 0, 0);
    ASSERT_TRUE(BASS_ChannelPlay(h, false));
    advance(1000);
    ASSERT_TRUE(BASS_ChannelSetAttribute(h, BASS_ATTRIB_VOL, 0.5f));
    float v = 0;
    ASSERT_TRUE(BASS_ChannelGetAttribute(h, BASS_ATTRIB_VOL, &v));
    EXPECT_FLOAT_EQ(v, 0.5f);
    advance(1000);
    const auto samples = fixtures::pattern(8000);
    const auto& out = heard();
    EXPECT_EQ(out[999 * 2], samples[999 * 2] / 32768.0f);
    EXPECT_EQ(out[1000 * 2], samples[1000 * 2] / 32768.0f * 0.5f);
    EXPECT_FALSE(BASS_ChannelSetAttribute(h, BASS_ATTRIB_TEMPO, 10));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_ILLTYPE);
}

TEST_F(StreamTest, TempoPlusThirtyPercentShortensTheSongByTheRatio) {
    const std::string path = fixtures::writeAudio("tempo.wav", fixtures::sine(440, 2.0), 2, 44100);
    const HSTREAM src = BASS_StreamCreateFile(false, path.c_str(), 0, 0, BASS_STREAM_DECODE);
    ASSERT_NE(src, 0u);
    const HSTREAM h = BASS_FX_TempoCreate(src, BASS_FX_FREESOURCE | BASS_SAMPLE_LOOP * 0);
    ASSERT_NE(h, 0u);
    EXPECT_FLOAT_EQ(BASS_FX_TempoGetRateRatio(h), 1.0f);
    ASSERT_TRUE(BASS_ChannelSetAttribute(h, BASS_ATTRIB_TEMPO, 30));
    EXPECT_FLOAT_EQ(BASS_FX_TempoGetRateRatio(h), 1.3f);
    EXPECT_EQ(BASS_ChannelGetLength(h, BASS_POS_BYTE), BASS_ChannelGetLength(src, BASS_POS_BYTE));
    ASSERT_TRUE(BASS_ChannelPlay(h, false));
    playOut(h);
    const double expected = 2.0 * 44100 / 1.3;
    EXPECT_NEAR(static_cast<double>(lastLoudFrame()), expected, expected * 0.01);
    // The position ends at the source's length.
    EXPECT_EQ(BASS_ChannelGetPosition(h, BASS_POS_BYTE), BASS_ChannelGetLength(h, BASS_POS_BYTE));
    // Freeing the tempo stream frees its source.
    ASSERT_TRUE(BASS_StreamFree(h));
    EXPECT_FALSE(BASS_ChannelIsActive(src));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_HANDLE);
    EXPECT_EQ(BASS_FX_TempoGetRateRatio(src), 0.0f);
}

TEST_F(StreamTest, PitchUpAnOctaveDoublesTheFrequencyAndKeepsTheDuration) {
    const std::string path = fixtures::writeAudio("pitch.wav", fixtures::sine(440, 1.5), 2, 44100);
    const HSTREAM src = BASS_StreamCreateFile(false, path.c_str(), 0, 0, BASS_STREAM_DECODE);
    const HSTREAM h = BASS_FX_TempoCreate(src, BASS_FX_FREESOURCE);
    ASSERT_TRUE(BASS_ChannelSetAttribute(h, BASS_ATTRIB_TEMPO_PITCH, 12));
    float pitch = 0;
    ASSERT_TRUE(BASS_ChannelGetAttribute(h, BASS_ATTRIB_TEMPO_PITCH, &pitch));
    EXPECT_FLOAT_EQ(pitch, 12.0f);
    ASSERT_TRUE(BASS_ChannelPlay(h, false));
    playOut(h);
    const double f = fixtures::zeroCrossingFrequency(heard(), 10000, 50000, 44100);
    EXPECT_NEAR(f, 880.0, 8.8);
    EXPECT_NEAR(static_cast<double>(lastLoudFrame()), 1.5 * 44100, 1.5 * 44100 * 0.01);
}

TEST_F(StreamTest, PackageMixOfThreeTempoStreamsRendersTheirSum) {
    const std::vector<std::vector<std::int16_t>> tracks = {fixtures::sine(220, 0.7, 44100, 0.3),
                                                           fixtures::sine(330, 0.5, 44100, 0.3),
                                                           fixtures::pattern(44100 * 6 / 10)};
    const HSTREAM mixer = BASS_Mixer_StreamCreate(44100, 2, 0x210000);
    ASSERT_NE(mixer, 0u);
    for (std::size_t i = 0; i < tracks.size(); ++i) {
        const std::string path =
            fixtures::writeAudio("stem" + std::to_string(i) + ".wav", tracks[i], 2, 44100);
        const HSTREAM file = BASS_StreamCreateFile(false, path.c_str(), 0, 0, 0x200100);
        ASSERT_NE(file, 0u);
        const HSTREAM tempo = BASS_FX_TempoCreate(file, 0x210000);
        ASSERT_NE(tempo, 0u);
        ASSERT_TRUE(BASS_ChannelSetAttribute(tempo, BASS_ATTRIB_TEMPO, 0));
        ASSERT_TRUE(BASS_Mixer_StreamAddChannel(mixer, tempo, 0));
        if (i == 2) {
            ASSERT_TRUE(BASS_ChannelSetAttribute(tempo, BASS_ATTRIB_VOL, 0.5f));
        }
    }
    // A playing channel is refused as a source; so is a stale one.
    const HSTREAM playing = BASS_StreamCreateFile(
        false, fixtures::writeAudio("p.wav", fixtures::pattern(10), 2, 44100).c_str(), 0, 0, 0);
    EXPECT_FALSE(BASS_Mixer_StreamAddChannel(mixer, playing, 0));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_DECODE);
    EXPECT_FALSE(BASS_Mixer_StreamAddChannel(mixer, 0, 0));
    EXPECT_FALSE(BASS_ChannelPlay(mixer, false));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_DECODE);

    BASS_CHANNELINFO info{};
    ASSERT_TRUE(BASS_ChannelGetInfo(mixer, &info));
    EXPECT_EQ(info.freq, 44100u);
    EXPECT_EQ(info.flags & BASS_SAMPLE_FLOAT, 0u);

    std::vector<std::int16_t> out;
    std::vector<char> block(20000);
    int rounds = 0;
    while (BASS_ChannelIsActive(mixer) && rounds++ < 1000) {
        const DWORD got = BASS_ChannelGetData(mixer, block.data(), 20000);
        if (got == 0xFFFFFFFF) break;
        const auto* s = reinterpret_cast<const std::int16_t*>(block.data());
        out.insert(out.end(), s, s + got / 2);
    }
    EXPECT_EQ(BASS_ChannelIsActive(mixer), BASS_ACTIVE_STOPPED);
    EXPECT_EQ(BASS_ChannelGetData(mixer, block.data(), 20000), 0xFFFFFFFF);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_ENDED);
    ASSERT_EQ(out.size(), tracks[0].size());
    EXPECT_EQ(BASS_ChannelGetPosition(mixer, BASS_POS_BYTE), out.size() * 2);
    for (std::size_t i = 0; i < out.size(); ++i) {
        double sum = tracks[0][i] / 32768.0;
        if (i < tracks[1].size()) sum += tracks[1][i] / 32768.0;
        if (i < tracks[2].size()) sum += 0.5 * tracks[2][i] / 32768.0;
        const double expected = std::clamp(sum * 32768.0, -32768.0, 32767.0);
        ASSERT_NEAR(out[i], expected, 1.0) << "sample " << i;
    }
}

TEST_F(StreamTest, DecodeMixerWithoutSourcesEndsAtOnce) {
    const HSTREAM mixer = BASS_Mixer_StreamCreate(44100, 2, 0x210000);
    EXPECT_EQ(BASS_ChannelIsActive(mixer), BASS_ACTIVE_PLAYING);
    char buf[100];
    EXPECT_EQ(BASS_ChannelGetData(mixer, buf, 100), 0xFFFFFFFF);
    EXPECT_EQ(BASS_ChannelIsActive(mixer), BASS_ACTIVE_STOPPED);
}

TEST_F(StreamTest, SeekLandsWhereAskedAndRaisesTheSetPositionSync) {
    const auto samples = fixtures::pattern(44100 * 2);
    const std::string path = fixtures::writeAudio("seek.wav", samples, 2, 44100);
    const HSTREAM h = BASS_StreamCreateFile(false, path.c_str(), 0, 0, 0);
    static std::atomic<int> setposCalls{0};
    setposCalls = 0;
    ASSERT_NE(BASS_ChannelSetSync(
                  h, BASS_SYNC_SETPOS, 0, [](HSYNC, DWORD, DWORD, void*) { ++setposCalls; }, nullptr),
              0u);
    ASSERT_TRUE(BASS_ChannelPlay(h, false));
    advance(3000);
    const QWORD target = BASS_ChannelSeconds2Bytes(h, 1.0);
    EXPECT_EQ(target, 44100u * 4);
    ASSERT_TRUE(BASS_ChannelSetPosition(h, target, BASS_POS_BYTE));
    EXPECT_EQ(BASS_ChannelGetPosition(h, BASS_POS_BYTE), target);
    engine::testing::clearHeard();
    advance(1000);
    EXPECT_EQ(setposCalls.load(), 1);
    EXPECT_EQ(BASS_ChannelGetPosition(h, BASS_POS_BYTE), target + 1000 * 4);
    const auto& out = heard();
    for (std::size_t i = 0; i < 2000; ++i) ASSERT_EQ(out[i], samples[44100 * 2 + i] / 32768.0f) << i;
    EXPECT_DOUBLE_EQ(BASS_ChannelBytes2Seconds(h, target), 1.0);
    // Past the end is refused.
    EXPECT_FALSE(BASS_ChannelSetPosition(h, target * 3, BASS_POS_BYTE));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_POSITION);
}

TEST_F(StreamTest, EndSyncFiresOncePerLoopAndOnceAtTheEnd) {
    const std::string path = fixtures::writeAudio("loop.wav", fixtures::pattern(4410), 2, 44100);
    const HSTREAM h = BASS_StreamCreateFile(false, path.c_str(), 0, 0, BASS_SAMPLE_LOOP);
    struct Seen {
        int calls = 0;
        QWORD heardAt[16]{};
    } seen;
    ASSERT_NE(BASS_ChannelSetSync(
                  h, BASS_SYNC_END, 0,
                  [](HSYNC, DWORD, DWORD, void* user) {
                      auto* s = static_cast<Seen*>(user);
                      if (s->calls < 16) s->heardAt[s->calls] = engine::testing::heard().size() / 2;
                      ++s->calls;
                  },
                  &seen),
              0u);
    ASSERT_TRUE(BASS_ChannelPlay(h, false));
    advance(4410 * 3 + 100);
    EXPECT_EQ(seen.calls, 3);
    // Each fired in the block in which its loop point was heard.
    for (int i = 0; i < 3; ++i) {
        EXPECT_GE(seen.heardAt[i], 4410u * (i + 1));
        EXPECT_LT(seen.heardAt[i], 4410u * (i + 1) + 512);
    }
    EXPECT_EQ(BASS_ChannelIsActive(h), BASS_ACTIVE_PLAYING);

    // Without looping: once, then the channel is inactive.
    const std::string once = fixtures::writeAudio("once.wav", fixtures::pattern(3000), 2, 44100);
    const HSTREAM o = BASS_StreamCreateFile(false, once.c_str(), 0, 0, 0);
    Seen onceSeen;
    BASS_ChannelSetSync(
        o, BASS_SYNC_END, 0, [](HSYNC, DWORD, DWORD, void* u) { ++static_cast<Seen*>(u)->calls; }, &onceSeen);
    BASS_ChannelPlay(o, false);
    advance(10000);
    EXPECT_EQ(onceSeen.calls, 1);
    EXPECT_EQ(BASS_ChannelIsActive(o), BASS_ACTIVE_STOPPED);
}

TEST_F(StreamTest, MixTimeSyncRunsBeforeTheAudioAfterIt) {
    // A mix-time end sync on a looping stream moves it: the next loop starts there, seamlessly,
    // while the delayed sync of the same event comes only when the loop point is heard.
    const auto samples = fixtures::pattern(2205);
    const std::string path = fixtures::writeAudio("mixtime.wav", samples, 2, 44100);
    const HSTREAM h = BASS_StreamCreateFile(false, path.c_str(), 0, 0, BASS_SAMPLE_LOOP);
    static std::atomic<std::size_t> mixtimeAt{0}, delayedAt{0};
    mixtimeAt = delayedAt = 0;
    ASSERT_NE(BASS_ChannelSetSync(
                  h, BASS_SYNC_END | BASS_SYNC_MIXTIME | BASS_SYNC_ONETIME, 0,
                  [](HSYNC, DWORD ch, DWORD, void*) {
                      mixtimeAt = engine::testing::heard().size() / 2 + 1;
                      BASS_ChannelSetPosition(ch, 1000 * 4, BASS_POS_BYTE);
                  },
                  nullptr),
              0u);
    ASSERT_NE(BASS_ChannelSetSync(
                  h, BASS_SYNC_END | BASS_SYNC_ONETIME, 0,
                  [](HSYNC, DWORD, DWORD, void*) { delayedAt = engine::testing::heard().size() / 2; },
                  nullptr),
              0u);
    ASSERT_TRUE(BASS_ChannelPlay(h, false));
    advance(2205 * 3);
    // Called while decoding ahead, before the loop point was heard.
    EXPECT_LT(mixtimeAt.load(), 2205u);
    EXPECT_GE(delayedAt.load(), 2205u);
    const auto& out = heard();
    for (std::size_t i = 0; i < 2205 * 2; ++i) ASSERT_EQ(out[i], samples[i] / 32768.0f) << i;
    for (std::size_t i = 0; i < 1205 * 2; ++i)
        ASSERT_EQ(out[2205 * 2 + i], samples[2000 + i] / 32768.0f) << i;
    for (std::size_t i = 0; i < 1000 * 2; ++i) ASSERT_EQ(out[3410 * 2 + i], samples[i] / 32768.0f) << i;
}

TEST_F(StreamTest, PositionsNeverRunBackwardsWhilePlaying) {
    const std::string path =
        fixtures::writeAudio("mono.wav", fixtures::sine(300, 2.0, 44100, 0.5, 1), 1, 44100);
    const HSTREAM src = BASS_StreamCreateFile(false, path.c_str(), 0, 0, BASS_STREAM_DECODE);
    const HSTREAM h = BASS_FX_TempoCreate(src, BASS_FX_FREESOURCE);
    BASS_ChannelSetAttribute(h, BASS_ATTRIB_TEMPO, -20);
    ASSERT_TRUE(BASS_ChannelPlay(h, false));
    QWORD last = 0;
    unsigned steps = 0;
    while (BASS_ChannelIsActive(h) == BASS_ACTIVE_PLAYING && steps++ < 2000) {
        advance(97);
        const QWORD pos = BASS_ChannelGetPosition(h, BASS_POS_BYTE);
        ASSERT_GE(pos, last) << "step " << steps;
        last = pos;
    }
    EXPECT_EQ(last, BASS_ChannelGetLength(h, BASS_POS_BYTE));
    // Paused: the position holds.
    ASSERT_TRUE(BASS_ChannelPlay(h, true));
    advance(5000);
    ASSERT_TRUE(BASS_ChannelPause(h));
    EXPECT_EQ(BASS_ChannelIsActive(h), BASS_ACTIVE_PAUSED);
    const QWORD paused = BASS_ChannelGetPosition(h, BASS_POS_BYTE);
    EXPECT_NEAR(static_cast<double>(paused) / 2, 5000 * 0.8, 5000 * 0.8 * 0.05);
    advance(5000);
    EXPECT_EQ(BASS_ChannelGetPosition(h, BASS_POS_BYTE), paused);
    ASSERT_TRUE(BASS_ChannelPlay(h, false));
    advance(1000);
    EXPECT_GT(BASS_ChannelGetPosition(h, BASS_POS_BYTE), paused);
}

TEST_F(StreamTest, ResamplesToTheDeviceRate) {
    const std::string path = fixtures::writeAudio("22k.wav", fixtures::sine(500, 1.0, 22050), 2, 22050);
    const HSTREAM h = BASS_StreamCreateFile(false, path.c_str(), 0, 0, 0);
    BASS_CHANNELINFO info{};
    ASSERT_TRUE(BASS_ChannelGetInfo(h, &info));
    EXPECT_EQ(info.freq, 22050u);
    ASSERT_TRUE(BASS_ChannelPlay(h, false));
    advance(22050);
    EXPECT_NEAR(static_cast<double>(BASS_ChannelGetPosition(h, BASS_POS_BYTE)), 11025.0 * 4, 8);
    playOut(h);
    EXPECT_NEAR(static_cast<double>(lastLoudFrame()), 44100, 44);
    EXPECT_NEAR(fixtures::zeroCrossingFrequency(heard(), 1000, 40000, 44100), 500.0, 1.0);
}

TEST_F(StreamTest, LevelAndSpectrumFollowWhatIsHeard) {
    const std::string path =
        fixtures::writeAudio("fft.wav", fixtures::sine(44100.0 / 2048 * 100, 1.0, 44100, 1.0), 2, 44100);
    const HSTREAM h = BASS_StreamCreateFile(false, path.c_str(), 0, 0, 0);
    EXPECT_EQ(BASS_ChannelGetLevel(h), 0xFFFFFFFFu); // not playing
    ASSERT_TRUE(BASS_ChannelPlay(h, false));
    advance(8192);
    const DWORD level = BASS_ChannelGetLevel(h);
    EXPECT_NEAR(static_cast<double>(level & 0xffff), 32767, 40);
    EXPECT_NEAR(static_cast<double>(level >> 16), 32767, 40);
    std::vector<float> bins(1024);
    ASSERT_EQ(BASS_ChannelGetData(h, bins.data(), BASS_DATA_FFT2048), 4096u);
    const auto peak = std::max_element(bins.begin(), bins.end());
    EXPECT_EQ(peak - bins.begin(), 100);
    EXPECT_NEAR(*peak, 1.0f, 0.05f);
    EXPECT_LT(bins[300], 0.01f);
}

TEST_F(StreamTest, StaleHandlesFailWithTheHandleError) {
    const std::string path = fixtures::writeAudio("stale.wav", fixtures::pattern(1000), 2, 44100);
    const HSTREAM h = BASS_StreamCreateFile(false, path.c_str(), 0, 0, 0);
    ASSERT_TRUE(BASS_ChannelPlay(h, false));
    ASSERT_TRUE(BASS_StreamFree(h));
    EXPECT_FALSE(BASS_StreamFree(h));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_HANDLE);
    EXPECT_FALSE(BASS_ChannelPlay(h, false));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_HANDLE);
    EXPECT_EQ(BASS_ChannelGetPosition(h, BASS_POS_BYTE), ~QWORD{0});
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_HANDLE);
    EXPECT_EQ(BASS_ChannelIsActive(h), 0u);
    EXPECT_EQ(BASS_ChannelSetSync(
                  h, BASS_SYNC_END, 0, [](HSYNC, DWORD, DWORD, void*) {}, nullptr),
              0u);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_HANDLE);
    EXPECT_FALSE(BASS_MusicFree(h));
    advance(2000); // nothing of it plays any more
    for (float s : heard()) ASSERT_EQ(s, 0.0f);
}

TEST_F(StreamTest, AnEndSyncMayFreeItsOwnChannelAndAutoFreeFreesAfterIt) {
    const std::string path = fixtures::writeAudio("free.wav", fixtures::pattern(2000), 2, 44100);
    const HSTREAM h = BASS_StreamCreateFile(false, path.c_str(), 0, 0, 0);
    static std::atomic<int> freed{0};
    freed = 0;
    BASS_ChannelSetSync(
        h, BASS_SYNC_END, 0, [](HSYNC, DWORD ch, DWORD, void*) { freed += BASS_StreamFree(ch); }, nullptr);
    BASS_ChannelPlay(h, false);
    advance(5000);
    EXPECT_EQ(freed.load(), 1);
    EXPECT_FALSE(BASS_ChannelIsActive(h));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_HANDLE);

    const HSTREAM a = BASS_StreamCreateFile(false, path.c_str(), 0, 0, BASS_STREAM_AUTOFREE);
    BASS_ChannelPlay(a, false);
    advance(1000);
    BASS_CHANNELINFO info{};
    EXPECT_TRUE(BASS_ChannelGetInfo(a, &info));
    advance(2000);
    EXPECT_FALSE(BASS_ChannelGetInfo(a, &info));
}

TEST_F(StreamTest, BadFilesFailWithTheRightError) {
    const std::string missing = (fixtures::tempDir() / "no-such-file.wav").string();
    EXPECT_EQ(BASS_StreamCreateFile(false, missing.c_str(), 0, 0, 0), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_FILEOPEN);
    const std::string empty = fixtures::writeBytes("empty.wav", "");
    EXPECT_EQ(BASS_StreamCreateFile(false, empty.c_str(), 0, 0, 0), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_FILEFORM);
    const std::string text = fixtures::writeBytes("notes.mp3", std::string(3000, 'x') + "just some text\n");
    EXPECT_EQ(BASS_StreamCreateFile(false, text.c_str(), 0, 0, BASS_STREAM_DECODE), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_FILEFORM);
    // A WAV cut inside its header.
    const std::string whole = fixtures::writeAudio("whole.wav", fixtures::pattern(100), 2, 44100);
    std::string bytes(30, '\0');
    FILE* f = std::fopen(whole.c_str(), "rb");
    ASSERT_EQ(std::fread(bytes.data(), 1, 30, f), 30u);
    std::fclose(f);
    const std::string cut = fixtures::writeBytes("cut.wav", bytes);
    EXPECT_EQ(BASS_StreamCreateFile(false, cut.c_str(), 0, 0, 0), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_FILEFORM);
    EXPECT_EQ(BASS_MusicLoad(false, whole.c_str(), 0, 0, 0x204, 0), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_FILEFORM);
    // A directory is no file.
    EXPECT_EQ(BASS_StreamCreateFile(false, fixtures::tempDir().c_str(), 0, 0, 0), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_FILEOPEN);
}

TEST_F(StreamTest, DataCutShortPlaysWhatIsThereAndWidePathsOpen) {
    const auto samples = fixtures::pattern(4000);
    const std::string whole = fixtures::writeAudio("short.wav", samples, 2, 44100);
    std::string bytes;
    {
        FILE* f = std::fopen(whole.c_str(), "rb");
        bytes.resize(44 + 1000 * 4);
        ASSERT_EQ(std::fread(bytes.data(), 1, bytes.size(), f), bytes.size());
        std::fclose(f);
    }
    const std::string cut = fixtures::writeBytes("short-cut.wav", bytes);
    const HSTREAM h = BASS_StreamCreateFile(false, cut.c_str(), 0, 0, BASS_STREAM_DECODE);
    ASSERT_NE(h, 0u);
    std::vector<std::int16_t> out(8000);
    const DWORD got = BASS_ChannelGetData(h, out.data(), 16000);
    EXPECT_EQ(got, 4000u);
    EXPECT_EQ(std::memcmp(out.data(), samples.data(), 4000), 0);
    EXPECT_EQ(BASS_ChannelGetData(h, out.data(), 16000), 0xFFFFFFFFu);
    EXPECT_EQ(BASS_ChannelIsActive(h), 0u);

    const std::string utf8 = fixtures::writeAudio("càntà.wav", samples, 2, 44100);
    std::wstring wide;
    for (char c : fixtures::tempDir().string()) wide += static_cast<wchar_t>(c);
    wide += L"/c\u00e0nt\u00e0.wav";
    const HSTREAM w = BASS_StreamCreateFile(false, wide.c_str(), 0, 0, BASS_UNICODE | BASS_STREAM_DECODE);
    ASSERT_NE(w, 0u);
    EXPECT_EQ(BASS_ChannelGetLength(w, BASS_POS_BYTE), 16000u);
    // From memory, float.
    std::string file;
    {
        FILE* f = std::fopen(utf8.c_str(), "rb");
        file.resize(44 + 16000);
        ASSERT_EQ(std::fread(file.data(), 1, file.size(), f), file.size());
        std::fclose(f);
    }
    const HSTREAM m =
        BASS_StreamCreateFile(true, file.data(), 0, file.size(), BASS_STREAM_DECODE | BASS_SAMPLE_FLOAT);
    ASSERT_NE(m, 0u);
    EXPECT_EQ(BASS_ChannelGetLength(m, BASS_POS_BYTE), 32000u);
    std::vector<float> fl(4);
    ASSERT_EQ(BASS_ChannelGetData(m, fl.data(), 16), 16u);
    EXPECT_EQ(fl[1], samples[1] / 32768.0f);
}

} // namespace
