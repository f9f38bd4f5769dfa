// An MP3 made with the package's settings, decoded again by the engine, is the signal that went in.
#include "encoding/encoding_flows.h"
#include "encoding/lame_encoder.h"
#include "encoding/mp3_frames.h"
#include "encoding/wav_bytes.h"
#include "engine/api.h"
#include "engine/testing.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace enctest;

constexpr std::size_t kRate = 44100, kFrame = 1152;

std::vector<float> decodeWithTheEngine(const std::string& path, BASS_CHANNELINFO& info) {
    std::vector<float> out;
    const HSTREAM h =
        BASS_StreamCreateFile(false, path.c_str(), 0, 0, BASS_STREAM_DECODE | BASS_SAMPLE_FLOAT);
    if (!h) return out;
    BASS_ChannelGetInfo(h, &info);
    std::vector<float> block(8192);
    for (;;) {
        const DWORD got =
            BASS_ChannelGetData(h, block.data(), static_cast<DWORD>(block.size() * sizeof(float)));
        if (got == 0xFFFFFFFF || got == 0) break;
        out.insert(out.end(), block.begin(), block.begin() + got / sizeof(float));
    }
    BASS_StreamFree(h);
    return out;
}

// Normalised correlation of channel `ch` of the input against the decoded signal shifted by `lag`
// frames, over input frames [from, to).
double correlation(const std::vector<std::int16_t>& in, const std::vector<float>& out, std::size_t lag,
                   int ch, std::size_t from, std::size_t to) {
    double xy = 0, xx = 0, yy = 0;
    for (std::size_t i = from; i < to && 2 * (i + lag) + 1 < out.size(); ++i) {
        const double x = in[2 * i + ch] / 32768.0, y = out[2 * (i + lag) + ch];
        xy += x * y;
        xx += x * x;
        yy += y * y;
    }
    return xx > 0 && yy > 0 ? xy / std::sqrt(xx * yy) : 0.0;
}

class RoundTrip : public ::testing::Test {
  protected:
    void SetUp() override {
        engine::testing::useVirtualDevice(true);
        ASSERT_TRUE(BASS_Init(-1, 44100, 0, nullptr, nullptr));
    }
    void TearDown() override {
        BASS_Free();
        engine::testing::useVirtualDevice(false);
    }
    Folder dir;
};

TEST_F(RoundTrip, TenSecondsOfTwoTonesComeBackAsTheyWentIn) {
    const std::size_t frames = 10 * kRate;
    const auto input = twoTone(frames);
    velvora::encoding::cLameEncoder enc("velvora");
    velvora::encoding::usePackageSettings(enc);
    enc.WavFile(writeStereoWav(dir / "tones.wav", input));
    enc.Mp3File((dir / "tones.mp3").string());
    enc.Encode();

    // Every frame: MPEG-1 layer III, 256 kbit/s, 44100 Hz, plain stereo.
    const Bytes mp3 = readFile(dir / "tones.mp3");
    const std::vector<FrameHeader> fs = mp3Frames(mp3);
    ASSERT_FALSE(fs.empty());
    const FrameValues v = valuesOf(fs);
    EXPECT_EQ(v.mpegVersion, std::set<int>{1});
    EXPECT_EQ(v.kbps, std::set<int>{256});
    EXPECT_EQ(v.rate, std::set<int>{44100});
    EXPECT_EQ(v.mode, std::set<int>{0});

    BASS_CHANNELINFO info{};
    const std::vector<float> output = decodeWithTheEngine((dir / "tones.mp3").string(), info);
    ASSERT_FALSE(output.empty());
    EXPECT_EQ(info.freq, 44100u);
    EXPECT_EQ(info.chans, 2u);

    // The encoder's delay: the lag at which the left channel matches best.
    std::size_t lag = 0;
    double best = -1;
    for (std::size_t l = 0; l < 4 * kFrame; ++l) {
        const double c = correlation(input, output, l, 0, kRate, kRate + 8192);
        if (c > best) best = c, lag = l;
    }
    // Only whole blocks of 1152 frames are encoded; the last, shorter block is not.
    const std::size_t encoded = (frames + kFrame - 1) / kFrame * kFrame - kFrame;
    EXPECT_GT(correlation(input, output, lag, 0, 0, encoded), 0.99);
    EXPECT_GT(correlation(input, output, lag, 1, 0, encoded), 0.99);
    // A swapped pair of channels would not match.
    EXPECT_LT(std::abs(correlation(std::vector<std::int16_t>(input.begin() + 1, input.end()), output, lag, 0,
                                   0, encoded - 1)),
              0.5);

    // The sound ends where the encoded input ends, within one frame.
    std::size_t last = 0;
    for (std::size_t i = output.size() / 2; i-- > 0;)
        if (std::abs(output[2 * i]) > 0.05f) {
            last = i + 1;
            break;
        }
    EXPECT_NEAR(double(last), double(lag + encoded), double(kFrame));
    // And the frames hold that length, within one frame.
    EXPECT_NEAR(double(fs.size() * kFrame), double(lag + encoded), double(kFrame));
}

} // namespace
