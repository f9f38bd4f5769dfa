#include "core/controls.h"
#include "effects/effects.h"
#include "widgets/main_controls.h"

#include <QCheckBox>

#include <cstring>

namespace velvora::effects {

void RemoveVocals(HDSP, DWORD, void* buffer, DWORD length, void*) {
    if (!buffer) return;
    auto* bytes = static_cast<unsigned char*>(buffer);
    const std::size_t samples = length / sizeof(float);
    const auto at = [bytes](std::size_t i) {
        float f;
        std::memcpy(&f, bytes + i * sizeof(float), sizeof f);
        return f;
    };
    const auto put = [bytes](std::size_t i, float f) {
        std::memcpy(bytes + i * sizeof(float), &f, sizeof f);
    };
    std::size_t i = 0;
    for (; i + 1 < samples; i += 2) {
        const float side = static_cast<float>((static_cast<double>(at(i + 1)) - at(i)) / 2.0);
        put(i, side);
        put(i + 1, side);
    }
    // An odd last sample pairs with silence on its right.
    if (i < samples) put(i, static_cast<float>((0.0 - at(i)) / 2.0));
}

void RemDefault(App& app) {
    auto& ui = app.ui;
    auto& fx = app.s.effects;
    // Clearing a ticked box runs its click, which comes back here with the box clear.
    if (ui.Chkrem) ui.Chkrem->setChecked(false);
    if (ui.vcompr[0]) ui.vcompr[0]->setValue(10);
    if (ui.chkAmp) ui.chkAmp->setChecked(false);
    const DWORD chan = app.s.chan;
    BASS_ChannelRemoveDSP(chan, fx.fxRemoverDSP);
    BASS_ChannelRemoveFX(chan, fx.fxEq);
    // The type in place of a handle: the level stage stays on the channel.
    BASS_ChannelRemoveFX(chan, BASS_FX_BFX_VOLUME);
    BASS_ChannelRemoveDSP(chan, fx.fxRemoverDSP);
}

void Chkrem_Click(App& app) {
    auto& ui = app.ui;
    auto& fx = app.s.effects;
    const DWORD chan = app.s.chan;
    BASS_ChannelGetInfo(chan, &fx.chanInfo);
    if (fx.chanInfo.chans == 1) {
        app.sys.dialogs.msgBox("Only Stereo ", platform::vbCritical, "Velvora");
        return;
    }
    setShown(ui.LblRem, true);
    setShown(ui.Picture6, true);
    BASS_ChannelRemoveFX(chan, fx.fxEq);
    if (ui.Chkrem && ui.Chkrem->isChecked()) {
        if (ui.chkAmp) ui.chkAmp->setChecked(true);
        // One remover a channel: run twice on one stream (a song's saved settings tick the box,
        // then play runs the click of a ticked box), a second pass would cancel what the first
        // left, which is the same in both channels, into silence.
        BASS_ChannelRemoveDSP(chan, fx.fxRemoverDSP);
        fx.fxRemoverDSP = BASS_ChannelSetDSP(chan, &RemoveVocals, nullptr, 0);
        Chkequalizer_Click(app);
        BASS_ChannelSetFX(chan, BASS_FX_BFX_VOLUME, 1);
    } else {
        RemDefault(app);
        setShown(ui.Picture6, false);
        setShown(ui.LblRem, false);
    }
}

} // namespace velvora::effects
