// DSP callbacks, effects and the encoder tap, measured on decoded and played audio.
#include "engine/api.h"
#include "engine/stream_fixtures.h"
#include "engine/testing.h"
#include "engine/virtual_device.h"

#include <gtest/gtest.h>

#include <optional>

#include <algorithm>
#include <cmath>
#include <fstream>

namespace {

using engine::testing::advance;

class FxTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(device_.emplace(fixtures::VirtualDevice::Options{.keepHeard = true}).opened());
    }
    void TearDown() override { device_.reset(); }
    std::optional<fixtures::VirtualDevice> device_;
    static HSTREAM decodeFloat(const std::string& path) {
        return BASS_StreamCreateFile(false, path.c_str(), 0, 0, BASS_STREAM_DECODE | BASS_SAMPLE_FLOAT);
    }
    static std::vector<float> readAll(HSTREAM h) {
        std::vector<float> out, buf(8192);
        for (;;) {
            const DWORD got = BASS_ChannelGetData(h, buf.data(), static_cast<DWORD>(buf.size() * 4));
            if (got == ~DWORD{0} || got == 0) break;
            out.insert(out.end(), buf.begin(), buf.begin() + got / 4);
        }
        return out;
    }
    // RMS of the left channel over frames [from, to).
    static double rms(const std::vector<float>& v, std::size_t from, std::size_t to) {
        double s = 0;
        for (std::size_t i = from; i < to; ++i) s += static_cast<double>(v[i * 2]) * v[i * 2];
        return std::sqrt(s / static_cast<double>(to - from));
    }
    static double peak(const std::vector<float>& v, std::size_t from, std::size_t to) {
        double p = 0;
        for (std::size_t i = from; i < to; ++i) p = std::max(p, static_cast<double>(std::abs(v[i * 2])));
        return p;
    }
    // Gain in dB that the EQ band gives a sine of `freq`.
    static double eqGainAt(double freq, const BASS_BFX_PEAKEQ& band) {
        const std::string path =
            fixtures::writeAudio("eq.wav", fixtures::sine(freq, 1.0, 44100, 0.25), 2, 44100);
        const HSTREAM dry = decodeFloat(path);
        const HSTREAM wet = decodeFloat(path);
        const HFX fx = BASS_ChannelSetFX(wet, BASS_FX_BFX_PEAKEQ, 0);
        EXPECT_NE(fx, 0u);
        EXPECT_TRUE(BASS_FXSetParameters(fx, &band));
        const auto a = readAll(dry), b = readAll(wet);
        BASS_StreamFree(dry);
        BASS_StreamFree(wet);
        return 20 * std::log10(rms(b, 11025, 44100) / rms(a, 11025, 44100));
    }
};

TEST_F(FxTest, PeakingEqGainsAtCentreAndNotTwoOctavesAway) {
    for (const float gain : {6.0f, -9.0f, 12.0f}) {
        const BASS_BFX_PEAKEQ band{0, 1.0f, 0.0f, 1000.0f, gain, BASS_BFX_CHANALL};
        EXPECT_NEAR(eqGainAt(1000, band), gain, 0.5) << gain;
        // An RBJ band one octave wide still gives about 4% of its gain two octaves away.
        EXPECT_NEAR(eqGainAt(250, band), 0.0, 0.06 * std::abs(gain)) << gain;
        EXPECT_NEAR(eqGainAt(4000, band), 0.0, 0.06 * std::abs(gain)) << gain;
    }
    // Q instead of a bandwidth, and a band of a seven-band effect addressed by lBand.
    const BASS_BFX_PEAKEQ q{3, 0.0f, 2.0f, 4000.0f, 10.0f, BASS_BFX_CHANALL};
    EXPECT_NEAR(eqGainAt(4000, q), 10.0, 0.5);
}

TEST_F(FxTest, EqBandsAreReadBackByBandAndBadRecordsAreRefused) {
    const std::string path = fixtures::writeAudio("eqp.wav", fixtures::sine(440, 0.2), 2, 44100);
    const HSTREAM h = decodeFloat(path);
    const HFX fx = BASS_ChannelSetFX(h, BASS_FX_BFX_PEAKEQ, 0);
    ASSERT_NE(fx, 0u);
    BASS_BFX_PEAKEQ p{};
    ASSERT_TRUE(BASS_FXGetParameters(fx, &p)); // band 0, defaults
    EXPECT_EQ(p.lBand, 0);
    EXPECT_FLOAT_EQ(p.fBandwidth, 1.0f);
    EXPECT_FLOAT_EQ(p.fCenter, 1000.0f);
    EXPECT_FLOAT_EQ(p.fGain, 0.0f);
    EXPECT_EQ(p.lChannel, BASS_BFX_CHANALL);
    const float centres[7] = {80, 200, 1500, 4000, 7500, 10000, 12000};
    for (int b = 0; b < 7; ++b) {
        const BASS_BFX_PEAKEQ band{b, 2.5f, 1.0f, centres[b], static_cast<float>(b - 3), BASS_BFX_CHANALL};
        ASSERT_TRUE(BASS_FXSetParameters(fx, &band));
    }
    BASS_BFX_PEAKEQ r{};
    r.lBand = 5;
    ASSERT_TRUE(BASS_FXGetParameters(fx, &r));
    EXPECT_FLOAT_EQ(r.fCenter, 10000.0f);
    EXPECT_FLOAT_EQ(r.fGain, 2.0f);
    // Out of range: refused, the band stays as it was.
    const BASS_BFX_PEAKEQ bad{5, 2.5f, 1.0f, 30000.0f, 1.0f, BASS_BFX_CHANALL};
    EXPECT_FALSE(BASS_FXSetParameters(fx, &bad));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_ILLPARAM);
    const BASS_BFX_PEAKEQ noQ{5, 0.0f, 0.0f, 1000.0f, 1.0f, BASS_BFX_CHANALL};
    EXPECT_FALSE(BASS_FXSetParameters(fx, &noQ));
    const BASS_BFX_PEAKEQ nan{5, 1.0f, 0.0f, std::nanf(""), 1.0f, BASS_BFX_CHANALL};
    EXPECT_FALSE(BASS_FXSetParameters(fx, &nan));
    ASSERT_TRUE(BASS_FXGetParameters(fx, &r));
    EXPECT_FLOAT_EQ(r.fCenter, 10000.0f);
}

TEST_F(FxTest, CompressorStaticCurveFollowsTheRatio) {
    for (const double inDb : {-30.0, -12.0, -6.0, -2.0}) {
        const double amp = std::pow(10.0, inDb / 20);
        const std::string path =
            fixtures::writeAudio("comp.wav", fixtures::sine(1000, 1.5, 44100, amp), 2, 44100);
        const HSTREAM h = decodeFloat(path);
        const HFX fx = BASS_ChannelSetFX(h, BASS_FX_BFX_COMPRESSOR2, 0);
        BASS_BFX_COMPRESSOR2 p{};
        ASSERT_TRUE(BASS_FXGetParameters(fx, &p));
        EXPECT_FLOAT_EQ(p.fThreshold, -15.0f);
        EXPECT_FLOAT_EQ(p.fRatio, 3.0f);
        EXPECT_FLOAT_EQ(p.fAttack, 10.0f);
        EXPECT_FLOAT_EQ(p.fRelease, 200.0f);
        p.fThreshold = -20;
        p.fRatio = 4;
        p.fGain = 3; // make-up
        ASSERT_TRUE(BASS_FXSetParameters(fx, &p));
        const auto out = readAll(h);
        BASS_StreamFree(h);
        const double outDb = 20 * std::log10(peak(out, 44100, 66000));
        const double expected = (inDb > -20 ? -20 + (inDb + 20) / 4 : inDb) + 3;
        EXPECT_NEAR(outDb, expected, 1.0) << "input " << inDb << " dB";
    }
}

TEST_F(FxTest, ReverbDecayFollowsTheReverbTime) {
    // An impulse, then silence: the energy decay of the tail gives the RT60 (Schroeder).
    for (const float ms : {400.0f, 1200.0f}) {
        std::vector<std::int16_t> click(44100 * 4 * 2, 0);
        click[0] = click[1] = 30000;
        const HSTREAM h = decodeFloat(fixtures::writeAudio("click.wav", click, 2, 44100));
        const HFX fx = BASS_ChannelSetFX(h, BASS_FX_DX8_REVERB, 0);
        const BASS_DX8_REVERB p{0.0f, 0.0f, ms, 0.999f};
        ASSERT_TRUE(BASS_FXSetParameters(fx, &p));
        const auto out = readAll(h);
        BASS_StreamFree(h);
        std::vector<double> energy(out.size() / 2 + 1, 0.0);
        for (std::size_t i = out.size() / 2; i-- > 0;)
            energy[i] = energy[i + 1] + out[i * 2] * out[i * 2] + out[i * 2 + 1] * out[i * 2 + 1];
        const std::size_t start = 4410; // past the first echoes
        const auto levelAt = [&](std::size_t i) { return 10 * std::log10(energy[i] / energy[start]); };
        std::size_t t5 = start, t25 = start;
        while (t5 < energy.size() - 1 && levelAt(t5) > -5) ++t5;
        while (t25 < energy.size() - 1 && levelAt(t25) > -25) ++t25;
        const double rt60 = 3.0 * static_cast<double>(t25 - t5) / 44100 * 1000;
        EXPECT_NEAR(rt60, ms, ms * 0.2) << "reverb time " << ms;
    }
}

TEST_F(FxTest, ReverbHighsDecayFasterAndNoMixLeavesTheDrySignal) {
    const auto samples = fixtures::pattern(44100);
    const std::string path = fixtures::writeAudio("rev.wav", samples, 2, 44100);
    const HSTREAM h = decodeFloat(path);
    const HFX fx = BASS_ChannelSetFX(h, BASS_FX_DX8_REVERB, 0);
    BASS_DX8_REVERB p{};
    ASSERT_TRUE(BASS_FXGetParameters(fx, &p));
    EXPECT_FLOAT_EQ(p.fReverbTime, 1000.0f);
    EXPECT_FLOAT_EQ(p.fHighFreqRTRatio, 0.001f);
    p.fReverbMix = -96;
    ASSERT_TRUE(BASS_FXSetParameters(fx, &p));
    const auto out = readAll(h);
    ASSERT_EQ(out.size(), samples.size());
    for (std::size_t i = 0; i < samples.size(); ++i) ASSERT_EQ(out[i], samples[i] / 32768.0f) << i;
    BASS_StreamFree(h);

    // With a low ratio the tail of noise is much darker than with one near 1.
    const auto tailBrightness = [&](float ratio) {
        std::vector<std::int16_t> burst = fixtures::pattern(4410);
        burst.resize(44100 * 2 * 2, 0);
        const HSTREAM s = decodeFloat(fixtures::writeAudio("burst.wav", burst, 2, 44100));
        const HFX r = BASS_ChannelSetFX(s, BASS_FX_DX8_REVERB, 0);
        const BASS_DX8_REVERB q{0.0f, 0.0f, 1500.0f, ratio};
        EXPECT_TRUE(BASS_FXSetParameters(r, &q));
        const auto o = readAll(s);
        BASS_StreamFree(s);
        double diff = 0, level = 0; // first difference: the highs
        for (std::size_t i = 22050; i < 44100; ++i) {
            diff += std::pow(o[i * 2] - o[(i - 1) * 2], 2.0);
            level += std::pow(o[i * 2], 2.0);
        }
        return diff / level;
    };
    EXPECT_LT(tailBrightness(0.05f), tailBrightness(0.999f) * 0.5);

    // Out of range: refused and left alone.
    const HSTREAM k = decodeFloat(path);
    const HFX f2 = BASS_ChannelSetFX(k, BASS_FX_DX8_REVERB, 0);
    const BASS_DX8_REVERB bad{0.0f, 1.0f, 1000.0f, 0.5f};
    EXPECT_FALSE(BASS_FXSetParameters(f2, &bad));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_ILLPARAM);
    const BASS_DX8_REVERB badTime{0.0f, 0.0f, 3001.0f, 0.5f};
    EXPECT_FALSE(BASS_FXSetParameters(f2, &badTime));
    ASSERT_TRUE(BASS_FXGetParameters(f2, &p));
    EXPECT_FLOAT_EQ(p.fReverbMix, 0.0f);
    EXPECT_FLOAT_EQ(p.fReverbTime, 1000.0f);
}

TEST_F(FxTest, VolumeEffectsMultiplyAndTypesAndHandlesAreChecked) {
    const auto samples = fixtures::pattern(4000);
    const HSTREAM h = decodeFloat(fixtures::writeAudio("vol.wav", samples, 2, 44100));
    const HFX a = BASS_ChannelSetFX(h, BASS_FX_BFX_VOLUME, 0);
    const HFX b = BASS_ChannelSetFX(h, BASS_FX_BFX_VOLUME, 0);
    ASSERT_NE(a, 0u);
    ASSERT_NE(b, 0u);
    BASS_BFX_VOLUME v{};
    ASSERT_TRUE(BASS_FXGetParameters(a, &v));
    EXPECT_FLOAT_EQ(v.fVolume, 1.0f);
    v = {0, 0.5f};
    ASSERT_TRUE(BASS_FXSetParameters(a, &v));
    v = {0, 0.25f};
    ASSERT_TRUE(BASS_FXSetParameters(b, &v));
    v = {0, -1.0f};
    EXPECT_FALSE(BASS_FXSetParameters(b, &v));
    const auto out = readAll(h);
    ASSERT_EQ(out.size(), samples.size());
    for (std::size_t i = 0; i < samples.size(); i += 97)
        EXPECT_FLOAT_EQ(out[i], samples[i] / 32768.0f * 0.125f);

    EXPECT_EQ(BASS_ChannelSetFX(h, 0x12345, 0), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_ILLTYPE);
    EXPECT_EQ(BASS_ChannelSetFX(0, BASS_FX_BFX_VOLUME, 0), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_HANDLE);
    EXPECT_TRUE(BASS_ChannelRemoveFX(h, a));
    EXPECT_FALSE(BASS_ChannelRemoveFX(h, a));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_HANDLE);
    EXPECT_FALSE(BASS_ChannelRemoveFX(h, BASS_FX_BFX_VOLUME)); // a type is not a handle
    EXPECT_FALSE(BASS_FXGetParameters(a, &v));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_HANDLE);
    BASS_StreamFree(h);
    EXPECT_FALSE(BASS_FXSetParameters(b, &v)); // died with its channel
}

struct Seen {
    float first = 0;
    int calls = 0;
};
void negate(HDSP, DWORD, void* buffer, DWORD length, void*) {
    auto* s = static_cast<float*>(buffer);
    for (DWORD i = 0; i < length / 4; ++i) s[i] = -s[i];
}
void record(HDSP, DWORD, void* buffer, DWORD length, void* user) {
    auto* seen = static_cast<Seen*>(user);
    if (seen->calls++ == 0 && length >= 4) seen->first = static_cast<float*>(buffer)[0];
}

TEST_F(FxTest, DspAndEffectsRunByPriority) {
    std::vector<std::int16_t> samples(2000 * 2, 8192); // 0.25
    const HSTREAM h = decodeFloat(fixtures::writeAudio("dsp.wav", samples, 2, 44100));
    Seen before, between, after;
    ASSERT_NE(BASS_ChannelSetDSP(h, &record, &after, -5), 0u);
    const HDSP neg = BASS_ChannelSetDSP(h, &negate, nullptr, 3);
    ASSERT_NE(neg, 0u);
    ASSERT_NE(BASS_ChannelSetDSP(h, &record, &between, 3), 0u); // same priority: after the first
    const HFX vol = BASS_ChannelSetFX(h, BASS_FX_BFX_VOLUME, 1);
    const BASS_BFX_VOLUME half{0, 0.5f};
    ASSERT_TRUE(BASS_FXSetParameters(vol, &half));
    ASSERT_NE(BASS_ChannelSetDSP(h, &record, &before, 10), 0u);
    float buf[64];
    ASSERT_EQ(BASS_ChannelGetData(h, buf, sizeof buf), sizeof buf);
    EXPECT_FLOAT_EQ(before.first, 0.25f);
    EXPECT_FLOAT_EQ(between.first, -0.25f);
    EXPECT_FLOAT_EQ(after.first, -0.125f);
    EXPECT_FLOAT_EQ(buf[0], -0.125f);
    EXPECT_TRUE(BASS_ChannelRemoveDSP(h, neg));
    EXPECT_FALSE(BASS_ChannelRemoveDSP(h, neg));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_HANDLE);
    ASSERT_EQ(BASS_ChannelGetData(h, buf, sizeof buf), sizeof buf);
    EXPECT_FLOAT_EQ(buf[0], 0.125f);
    EXPECT_EQ(BASS_ChannelSetDSP(h, nullptr, nullptr, 0), 0u);
}

std::vector<std::int16_t> readWav16(const std::string& path, int& chans, int& rate) {
    SF_INFO info{};
    SNDFILE* f = sf_open(path.c_str(), SFM_READ, &info);
    if (!f) return {};
    chans = info.channels;
    rate = info.samplerate;
    std::vector<std::int16_t> out(static_cast<std::size_t>(info.frames) * info.channels);
    sf_readf_short(f, out.data(), info.frames);
    sf_close(f);
    return out;
}

TEST_F(FxTest, EncoderTapWritesWhatIsHeard) {
    const auto samples = fixtures::pattern(30000);
    const HSTREAM h =
        BASS_StreamCreateFile(false, fixtures::writeAudio("enc.wav", samples, 2, 44100).c_str(), 0, 0, 0);
    ASSERT_NE(h, 0u);
    const HFX vol = BASS_ChannelSetFX(h, BASS_FX_BFX_VOLUME, 0);
    const BASS_BFX_VOLUME v{0, 0.7f};
    ASSERT_TRUE(BASS_FXSetParameters(vol, &v));
    const std::string out = (fixtures::tempDir() / "BackingTrack.WAV").string();
    const HENCODE enc =
        BASS_Encode_Start(h, out.c_str(), BASS_ENCODE_PCM | BASS_ENCODE_FP_16BIT, nullptr, nullptr);
    ASSERT_NE(enc, 0u);
    EXPECT_EQ(BASS_Encode_Start(h, out.c_str(), BASS_ENCODE_PCM, nullptr, nullptr), 0u);
    ASSERT_TRUE(BASS_ChannelPlay(h, false));
    for (int i = 0; i < 200 && BASS_ChannelIsActive(h); ++i) advance(512);
    ASSERT_TRUE(BASS_Encode_Stop(h));
    EXPECT_FALSE(BASS_Encode_Stop(h));
    int chans = 0, rate = 0;
    const auto written = readWav16(out, chans, rate);
    EXPECT_EQ(chans, 2);
    EXPECT_EQ(rate, 44100);
    ASSERT_EQ(written.size(), samples.size());
    const auto& heard = engine::testing::heard();
    ASSERT_GE(heard.size(), written.size());
    for (std::size_t i = 0; i < written.size(); ++i) {
        const auto s =
            static_cast<std::int16_t>(std::clamp(std::nearbyint(heard[i] * 32768.0f), -32768.0f, 32767.0f));
        ASSERT_EQ(written[i], s) << "sample " << i;
    }
    EXPECT_NE(written[1], samples[1]); // the effect is in it

    // A tap left running is completed when its channel is freed; a bad path fails.
    const HSTREAM d = decodeFloat(fixtures::writeAudio("enc2.wav", samples, 2, 44100));
    const std::string out2 = (fixtures::tempDir() / "second.wav").string();
    ASSERT_NE(BASS_Encode_Start(d, out2.c_str(), BASS_ENCODE_PCM, nullptr, nullptr), 0u);
    std::vector<float> buf(2000);
    ASSERT_EQ(BASS_ChannelGetData(d, buf.data(), 8000), 8000u);
    BASS_StreamFree(d);
    const auto second = readWav16(out2, chans, rate);
    ASSERT_EQ(second.size(), 2000u);
    EXPECT_EQ(second[10], samples[10]);
    const HSTREAM e = decodeFloat(fixtures::writeAudio("enc3.wav", samples, 2, 44100));
    EXPECT_EQ(BASS_Encode_Start(e, "/nonexistent-dir/x.wav", BASS_ENCODE_PCM, nullptr, nullptr), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_FILEOPEN);
}

} // namespace
