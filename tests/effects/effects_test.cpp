#include "core/controls.h"
#include "effects/effects.h"
#include "engine/api.h"
#include "engine/testing.h"
#include "support/app_fixture.h"
#include "support/song_files.h"
#include "support/user_input.h"
#include "transport/song_open.h"
#include "transport/transport.h"

#include <QCheckBox>
#include <QPushButton>
#include <QSlider>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using testing::AppFixture;

TEST(VocalRemover, EachFrameBecomesHalfOfRightMinusLeftOnBothSides) {
    float frames[] = {0.5f, 0.5f, 0.5f, -0.5f, 1.0f, 0.0f, 0.0f, 1.0f, 0.25f};
    // The odd last sample pairs with silence; the length covers eight samples and a half.
    effects::RemoveVocals(0, 0, frames, 9 * sizeof(float), nullptr);
    const float expected[] = {0, 0, -0.5f, -0.5f, -0.5f, -0.5f, 0.5f, 0.5f, -0.125f};
    for (int i = 0; i < 9; ++i) EXPECT_FLOAT_EQ(frames[i], expected[i]) << "sample " << i;
    effects::RemoveVocals(0, 0, nullptr, 16, nullptr); // no buffer: nothing happens
}

TEST(ReverbMix, IsACubicInTheSlider) {
    EXPECT_FLOAT_EQ(effects::reverbMix(0), 0.0f);
    EXPECT_FLOAT_EQ(effects::reverbMix(3), -0.324f);
    EXPECT_FLOAT_EQ(effects::reverbMix(10), -12.0f);
    EXPECT_FLOAT_EQ(effects::reverbMix(20), -96.0f);
}

class EffectsTest : public AppFixture {
  protected:
    fs::path tone(const char* name, int channels, double seconds = 2.0) {
        const fs::path path = folder.path() / name;
        testing::writeToneWav(path, seconds, 440.0, channels);
        return path;
    }
    DWORD decoder(int channels = 2) {
        const std::string path = tone(channels == 2 ? "st.wav" : "mono.wav", channels).string();
        return BASS_StreamCreateFile(0, path.c_str(), 0, 0, BASS_STREAM_DECODE);
    }
    void play(const fs::path& path) {
        dialogs.answerFile(path.string());
        transport::CmdCarica_Click(*app);
        transport::CmdPlw_Click(*app);
    }
    static double rms(const std::vector<float>& s, std::size_t from) {
        double sum = 0;
        for (std::size_t i = from; i < s.size(); ++i) sum += double(s[i]) * s[i];
        return s.size() > from ? std::sqrt(sum / double(s.size() - from)) : 0.0;
    }
    BASS_BFX_PEAKEQ band(int b) {
        BASS_BFX_PEAKEQ p{};
        p.lBand = b;
        EXPECT_TRUE(BASS_FXGetParameters(app->s.effects.fxEq, &p));
        return p;
    }
};

TEST_F(EffectsTest, ReverbMixFollowsTheSliderAndOffParksItAtTheTop) {
    start();
    app->s.stems[1] = decoder();
    ASSERT_NE(app->s.stems[1], 0u);
    auto& ui = app->ui;
    ui.ChkRev->setChecked(true);
    EXPECT_TRUE(ui.Sldrev->isEnabled());
    EXPECT_EQ(caption(ui.LblRev), "On");
    BASS_DX8_REVERB r{};
    for (int level : {3, 0, 10}) {
        testing::userSets(ui.Sldrev, level);
        ASSERT_TRUE(BASS_FXGetParameters(app->s.effects.fxReverb, &r));
        EXPECT_FLOAT_EQ(r.fReverbMix, effects::reverbMix(static_cast<std::int16_t>(level)));
        EXPECT_EQ(app->s.effects.reverbLevel, level);
    }
    ui.Sldrev->setValue(3);
    ui.ChkRev->setChecked(false);
    EXPECT_FALSE(BASS_FXGetParameters(app->s.effects.fxReverb, &r)) << "removed";
    EXPECT_EQ(ui.Sldrev->value(), 10) << "20 clamped by the slider";
    EXPECT_FALSE(ui.Sldrev->isEnabled());
    EXPECT_EQ(caption(ui.LblRev), "Off");
    ui.ChkRev->setChecked(true); // back on at what the slider now reports
    ASSERT_TRUE(BASS_FXGetParameters(app->s.effects.fxReverb, &r));
    EXPECT_FLOAT_EQ(r.fReverbMix, -12.0f);
}

TEST_F(EffectsTest, EqualiserBandsTakeTheSliderNegatedAndResetSavesSevenZeroes) {
    start();
    app->s.stems[1] = decoder();
    auto& ui = app->ui;
    ui.SldEq[0]->setValue(4); // held before the equaliser goes on
    ui.Chkequalizer->click();
    EXPECT_EQ(app->s.effects.eqOn, vbTrue);
    EXPECT_EQ(ui.Chkequalizer->text(), "EQ/OFF");
    EXPECT_TRUE(shown(ui.PicEq));
    EXPECT_FLOAT_EQ(band(0).fGain, -4.0f);
    EXPECT_FLOAT_EQ(band(0).fCenter, 80.0f);
    testing::userSets(ui.SldEq[3], -10);
    EXPECT_FLOAT_EQ(band(3).fGain, 10.0f);
    EXPECT_FLOAT_EQ(band(3).fCenter, 4000.0f);
    EXPECT_FLOAT_EQ(band(3).fBandwidth, 2.5f);
    testing::userSets(ui.SldEq[3], 10);
    EXPECT_FLOAT_EQ(band(3).fGain, -10.0f);
    app->hooks.SldEq_Change(3);
    EXPECT_FLOAT_EQ(band(3).fGain, -10.0f);

    ui.CmdReset->click();
    for (int b = 0; b < 7; ++b) EXPECT_FLOAT_EQ(band(b).fGain, 0.0f) << "band " << b;
    std::ifstream in(fs::path(app->appFolder) / "Equalizer.txt", std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(in), {}};
    std::string seven;
    for (int i = 0; i < 7; ++i) seven += " 0 \r\n";
    EXPECT_EQ(text, seven);

    // The preset reader takes the seven back; the two values behind them are absent.
    EffectsState& panel = app->s.effects;
    panel.eqSaved.fill(5);
    panel.eqPreset1 = 7;
    effects::LoadEq(*app);
    for (auto v : panel.eqSaved) EXPECT_EQ(v, 0);
    EXPECT_EQ(panel.eqPreset1, 7);

    ui.Chkequalizer->click();
    EXPECT_EQ(app->s.effects.eqOn, vbFalse);
    EXPECT_EQ(ui.Chkequalizer->text(), "EQ/ON");
    EXPECT_FALSE(shown(ui.PicEq));
}

TEST_F(EffectsTest, CompressorWritesAttackAndGainOnlyAndGainStacksOnTheSecondStream) {
    start();
    app->s.chan = decoder();
    auto& ui = app->ui;
    ui.Chkphaser->setChecked(true);
    EXPECT_EQ(caption(ui.LblCompr), "On");
    BASS_BFX_COMPRESSOR2 c{};
    ASSERT_TRUE(BASS_FXGetParameters(app->s.effects.fxCompressor, &c));
    EXPECT_FLOAT_EQ(c.fAttack, 10.0f);
    EXPECT_FLOAT_EQ(c.fGain, 2.0f);
    testing::userSets(ui.Sldphaser[1], 6);
    ASSERT_TRUE(BASS_FXGetParameters(app->s.effects.fxCompressor, &c));
    EXPECT_FLOAT_EQ(c.fGain, 6.0f);
    EXPECT_FLOAT_EQ(c.fAttack, 10.0f);
    ui.Chkphaser->setChecked(false);
    EXPECT_EQ(ui.Sldphaser[1]->value(), 2);
    EXPECT_EQ(caption(ui.LblCompr), "Off");

    app->s.chan2 = decoder();
    BASS_BFX_VOLUME v{};
    testing::userSets(ui.vcompr[1], 9);
    const DWORD first = app->s.effects.fxGain;
    ASSERT_TRUE(BASS_FXGetParameters(first, &v));
    EXPECT_FLOAT_EQ(v.fVolume, 1.0f);
    testing::userSets(ui.vcompr[0], 3); // fires the same routine, reads vcompr(1)
    EXPECT_NE(app->s.effects.fxGain, first);
    EXPECT_TRUE(BASS_FXGetParameters(first, &v)) << "the earlier effect stays";
    testing::userSets(ui.vcompr[1], 10);
    ASSERT_TRUE(BASS_FXGetParameters(app->s.effects.fxGain, &v));
    EXPECT_FLOAT_EQ(v.fVolume, 0.0f);
}

TEST_F(EffectsTest, TickingTheRemoverTakesACentredToneOutOfWhatIsHeard) {
    start();
    engine::testing::keepHeard(true);
    play(tone("centre.wav", 2, 6.0));
    ASSERT_NE(app->s.chan.load(), 0u);
    auto& ui = app->ui;
    clock.advance(500);
    engine::testing::clearHeard();
    clock.advance(500);
    const double before = rms(engine::testing::heard(), 0);
    ASSERT_GT(before, 0.05);

    ui.Chkrem->setChecked(true);
    EXPECT_TRUE(ui.chkAmp->isChecked());
    EXPECT_TRUE(shown(ui.LblRem));
    EXPECT_TRUE(shown(ui.Picture6));
    EXPECT_EQ(app->s.effects.eqOn, vbTrue) << "each tick toggles the voice equaliser";
    clock.advance(500); // what was buffered before the tick plays out
    engine::testing::clearHeard();
    clock.advance(500);
    EXPECT_LT(rms(engine::testing::heard(), 0), before * 0.01);

    ui.Chkrem->setChecked(false);
    EXPECT_FALSE(ui.chkAmp->isChecked());
    EXPECT_FALSE(shown(ui.Picture6));
    EXPECT_EQ(ui.vcompr[0]->value(), 10);
    clock.advance(500);
    engine::testing::clearHeard();
    clock.advance(500);
    EXPECT_NEAR(rms(engine::testing::heard(), 0), before, before * 0.05);
    engine::testing::keepHeard(false);
    engine::testing::clearHeard();
}

TEST_F(EffectsTest, AMonoSongSaysOnlyStereoAndKeepsTheTick) {
    start();
    play(tone("mono.wav", 1));
    dialogs.answer(platform::vbOK);
    app->ui.Chkrem->setChecked(true);
    ASSERT_FALSE(dialogs.shown().empty());
    const auto& box = dialogs.shown().back();
    EXPECT_EQ(box.text, "Only Stereo ");
    EXPECT_EQ(box.style, 16);
    EXPECT_EQ(box.caption, "Velvora");
    EXPECT_TRUE(app->ui.Chkrem->isChecked());
    EXPECT_FALSE(shown(app->ui.LblRem));
    EXPECT_FALSE(app->ui.chkAmp->isChecked());
}

} // namespace
} // namespace velvora
