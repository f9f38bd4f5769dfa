#include "core/controls.h"
#include "effects/effects.h"
#include "widgets/main_controls.h"

#include <QCheckBox>
#include <QPushButton>
#include <QSlider>

#include <cmath>

namespace velvora::effects {

namespace {

int value(const QSlider* s) {
    return s ? s->value() : 0;
}
bool checked(const QAbstractButton* b) {
    return b && b->isChecked();
}

} // namespace

float reverbMix(std::int16_t level) {
    const double l = level;
    return static_cast<float>(l * -0.012 * l * l);
}

void Sldrev_Change(App& app) {
    auto& fx = app.s.effects;
    fx.reverbLevel = static_cast<std::int16_t>(std::lround(value(app.ui.Sldrev)));
    BASS_DX8_REVERB params{};
    BASS_FXGetParameters(fx.fxReverb, &params);
    params.fReverbMix = reverbMix(fx.reverbLevel);
    BASS_FXSetParameters(fx.fxReverb, &params);
}

void ChkRev_Click(App& app) {
    auto& ui = app.ui;
    auto& fx = app.s.effects;
    if (checked(ui.ChkRev)) {
        fx.fxReverb = BASS_ChannelSetFX(app.s.stems[1], BASS_FX_DX8_REVERB, 0);
        setEnabled(ui.Sldrev, true);
        Sldrev_Change(app);
        setCaption(ui.LblRev, "On");
    } else {
        BASS_ChannelRemoveFX(app.s.stems[1], fx.fxReverb);
        setEnabled(ui.Sldrev, false);
        // Above the slider's range: the widget clamps it to its top.
        if (ui.Sldrev) ui.Sldrev->setValue(20);
        setCaption(ui.LblRev, "Off");
    }
}

void Sldphaser_Change(App& app, int index) {
    const auto& sliders = app.ui.Sldphaser;
    // Only element 1 exists; other indices still write their field.
    const QSlider* slider = index >= 0 && index < static_cast<int>(sliders.size())
                                ? sliders[static_cast<std::size_t>(index)]
                                : nullptr;
    (void)slider;
    BASS_BFX_COMPRESSOR2 params{};
    BASS_FXGetParameters(app.s.effects.fxCompressor, &params);
    switch (index) {
    case 0:
        params.fAttack = 10.0f;
        break;
    case 1:
        params.fGain = static_cast<float>(value(sliders[1]));
        break;
    case 2:
        params.fRatio = 3.0f;
        break;
    case 3:
        params.fRelease = 200.0f;
        break;
    case 4:
        params.fThreshold = -15.0f;
        break;
    case 5:
        params.lChannel = BASS_BFX_CHANALL;
        break;
    default:
        break;
    }
    BASS_FXSetParameters(app.s.effects.fxCompressor, &params);
}

void Chkphaser_Click(App& app) {
    auto& ui = app.ui;
    auto& fx = app.s.effects;
    if (checked(ui.Chkphaser)) {
        setEnabled(ui.Sldphaser[1], true);
        fx.fxCompressor = BASS_ChannelSetFX(app.s.chan, BASS_FX_BFX_COMPRESSOR2, 1);
        // Up to the array's upper bound, 1: attack and gain only.
        for (int i = 0; i < static_cast<int>(ui.Sldphaser.size()); ++i) Sldphaser_Change(app, i);
        setCaption(ui.LblCompr, "On");
    } else {
        BASS_ChannelRemoveFX(app.s.chan, fx.fxCompressor);
        setEnabled(ui.Sldphaser[1], false);
        if (ui.Sldphaser[1]) ui.Sldphaser[1]->setValue(2);
        setCaption(ui.LblCompr, "Off");
    }
}

void SldEq_Change(App& app, int index) {
    if (index < 0 || index >= static_cast<int>(app.ui.SldEq.size())) return;
    BASS_BFX_PEAKEQ band{};
    band.lBand = index;
    BASS_FXGetParameters(app.s.effects.fxEq, &band);
    band.fGain = -1.0f * static_cast<float>(value(app.ui.SldEq[static_cast<std::size_t>(index)]));
    BASS_FXSetParameters(app.s.effects.fxEq, &band);
}

void Chkequalizer_Click(App& app) {
    static constexpr std::array<float, 7> centres{80, 200, 1500, 4000, 7500, 10000, 12000};
    auto& ui = app.ui;
    auto& fx = app.s.effects;
    if (fx.eqOn == vbFalse) {
        fx.eqOn = vbTrue;
        setShown(ui.PicEq, true);
        if (ui.Chkequalizer) ui.Chkequalizer->setText("EQ/OFF");
        fx.fxEq = BASS_ChannelSetFX(app.s.stems[1], BASS_FX_BFX_PEAKEQ, 0);
        for (int b = 0; b < 7; ++b) {
            BASS_BFX_PEAKEQ band{};
            band.lBand = b;
            band.fBandwidth = 2.5f;
            band.fQ = 1.0f;
            band.fCenter = centres[static_cast<std::size_t>(b)];
            band.fGain = 0.0f;
            band.lChannel = BASS_BFX_CHANALL;
            BASS_FXSetParameters(fx.fxEq, &band);
        }
        for (int b = 0; b < 7; ++b) SldEq_Change(app, b);
    } else {
        BASS_ChannelRemoveFX(app.s.stems[1], fx.fxEq);
        fx.eqOn = vbFalse;
        setShown(ui.PicEq, false);
        if (ui.Chkequalizer) ui.Chkequalizer->setText("EQ/ON");
    }
}

void vcompr_Change(App& app, int /*index*/) {
    auto& fx = app.s.effects;
    fx.fxGain = BASS_ChannelSetFX(app.s.chan2, BASS_FX_BFX_VOLUME, 0);
    const auto level = static_cast<std::int16_t>(10 - value(app.ui.vcompr[1]));
    BASS_BFX_VOLUME params{};
    BASS_FXGetParameters(fx.fxGain, &params);
    params.lChannel = 0;
    params.fVolume = level;
    BASS_FXSetParameters(fx.fxGain, &params);
}

void Chkcmp_Click(App& app) {
    (void)checked(app.ui.Chkcmp);
}

int Slider3_Change(App& app, int /*index*/) {
    return 10 - value(app.ui.Slider3[0]);
}

void Chklow_Click(App& app) {
    if (!checked(app.ui.Chklow)) return;
    Slider3_Change(app, 0);
    Slider3_Change(app, 1);
}

void Veq1_Change(App&) {}

void equal1(App&) {}

void UpdateFX(App& app, int level) {
    // The handle this reads is never set by any routine.
    constexpr HFX unsetHandle = 0;
    (void)app;
    std::array<float, 17> params{};
    BASS_FXGetParameters(unsetHandle, params.data());
    params[2] = static_cast<float>(level);
    BASS_FXSetParameters(unsetHandle, params.data());
}

void Default(App& app) {
    auto& ui = app.ui;
    if (ui.Chkrem) ui.Chkrem->setChecked(false);
    setEnabled(ui.Slider3[0], false);
    if (ui.Slider3[0]) ui.Slider3[0]->setValue(10);
    if (ui.vcompr[0]) ui.vcompr[0]->setValue(10);
}

} // namespace velvora::effects
