#include "transport/level_controls.h"

#include "core/controller.h"
#include "core/controls.h"
#include "transport/midi_path.h"
#include "transport/song_open.h"
#include "widgets/main_controls.h"

#include <cmath>

namespace velvora::transport {

namespace {

std::string whole(double v) {
    return std::to_string(static_cast<long long>(std::trunc(v)));
}

void letEventsRun(App& app) {
    app.sys.clock.doEvents();
}

} // namespace

void SldTempo_Change(App& app) {
    auto* slider = app.ui.SldTempo;
    const double value = slider->value();
    const double maximum = slider->maximum();
    // 20 / (30 - value): 0.6667 at 0, 1 at 10, 2 at 20. A larger value is a longer beat.
    app.s.temposcale = static_cast<float>(1.0 / ((30.0 - value) / maximum));
    SetTempo(app, false);
    setCaption(app.ui.LblTempo, whole((value - maximum / 2) * -1 * 5) + "%");
    app.s.levelsTouched = true;
}

void LblTempo_Click(App& app) {
    app.ui.SldTempo->setValue(10);
    SldTempo_Change(app);
}

void Vscroll1_Change(App& app) {
    const int n = -app.ui.Vscroll1->value();
    for (DWORD channel = 0; channel < 16; ++channel)
        if (channel != 9)
            BASS_MIDI_StreamEvent(app.s.chan, channel, MIDI_EVENT_TRANSPOSE, static_cast<DWORD>(n + 100));
    setCaption(app.ui.LblPitch, std::to_string(n));
    app.s.levelsTouched = true;
}

void LblPitch_Click(App& app) {
    setCaption(app.ui.LblPitch, "0");
    app.ui.Vscroll1->setValue(0);
    Vscroll1_Change(app);
}

void Sldvol_Change(App& app) {
    const float v = static_cast<float>(10 - app.ui.Sldvol->value()) / 10.0f;
    BASS_MIDI_FontSetVolume(app.s.font, v);
    app.ui.TextR->setText(QString::number(static_cast<double>(v) * 10));
}

void SldMidi_Change(App& app) {
    Session& s = app.s;
    s.midiChannelVolume = static_cast<std::int16_t>(127 - app.ui.SldMidi->value());
    BASS_MIDI_StreamEvent(s.chan, static_cast<DWORD>(s.midiChannel), MIDI_EVENT_VOLUME,
                          static_cast<DWORD>(s.midiChannelVolume));
    letEventsRun(app);
}

void Slider2_Change(App& app, int index) {
    if (index < 0 || index > 15) return;
    Session& s = app.s;
    const auto level =
        static_cast<std::uint8_t>(127 - app.ui.Slider2[static_cast<std::size_t>(index)]->value());
    s.midiChannel = static_cast<std::int16_t>(index);
    if (isPackageSong(s.FileName)) {
        if (index < 3)
            BASS_ChannelSetAttribute(s.stems[static_cast<std::size_t>(index)], BASS_ATTRIB_VOL,
                                     level / 127.0f);
    } else {
        // The stored channel level is sent, not the slider's: that is how the strip behaves.
        BASS_MIDI_StreamEvent(s.chan, static_cast<DWORD>(s.midiChannel), MIDI_EVENT_VOLUME,
                              static_cast<DWORD>(s.midiChannelVolume));
        s.channelStrip[static_cast<std::size_t>(index)].Touched = vbTrue;
    }
    letEventsRun(app);
}

void SldMp3_Change(App& app, int index) {
    auto& ui = app.ui;
    if (index == 1) {
        const int value = ui.SldMp3[1]->value();
        BASS_ChannelSetAttribute(app.s.chan, BASS_ATTRIB_TEMPO, static_cast<float>(value));
        setCaption(ui.Lbltmp, std::to_string(value) + "%");
    } else if (index == 0) {
        const int value = ui.SldMp3[0]->value();
        BASS_ChannelSetAttribute(app.s.chan, BASS_ATTRIB_TEMPO_PITCH, static_cast<float>(value));
        setCaption(ui.LblTone, std::to_string(value));
    } else {
        return;
    }
    UpdatePositionLabel(app);
    app.s.levelsTouched = true;
}

void Lbltmp_Click(App& app) {
    setCaption(app.ui.Lbltmp, "0%");
    app.ui.SldMp3[1]->setValue(0);
    SldMp3_Change(app, 1);
}

void LblTone_Click(App& app) {
    setCaption(app.ui.LblTone, "0");
    app.ui.SldMp3[0]->setValue(0);
    SldMp3_Change(app, 0);
}

void HscrollTempo_Change(App& app) {
    const int value = app.ui.HscrollTempo->value();
    for (DWORD stem : app.s.stems)
        BASS_ChannelSetAttribute(stem, BASS_ATTRIB_TEMPO_PITCH, static_cast<float>(value));
    setCaption(app.ui.LblToneM, std::to_string(value));
}

void LblToneM_Click(App& app) {
    app.ui.HscrollTempo->setValue(0);
    const int value = app.ui.HscrollTempo->value();
    for (DWORD stem : app.s.stems)
        BASS_ChannelSetAttribute(stem, BASS_ATTRIB_TEMPO_PITCH, static_cast<float>(value));
    setCaption(app.ui.LblToneM, std::to_string(value * -1));
}

void Hstempo_Change(App& app) {
    Session& s = app.s;
    const int value = app.ui.Hstempo->value();
    for (DWORD stem : s.stems) BASS_ChannelSetAttribute(stem, BASS_ATTRIB_TEMPO, static_cast<float>(value));
    setCaption(app.ui.LbltKTM, std::to_string(value) + "%");
    const double total =
        BASS_ChannelBytes2Seconds(s.stems[0], BASS_ChannelGetLength(s.stems[0], BASS_POS_BYTE));
    if (total < 0) return;
    const long long shown =
        static_cast<long long>(total) - static_cast<long long>(std::trunc(value * total / 100.0));
    setCaption(app.ui.lblTime, minutesSeconds(shown));
}

void LbltKTM_Click(App& app) {
    app.ui.Hstempo->setValue(0);
    Hstempo_Change(app);
}

void SldVolume_Change(App& app) {
    if (isMidiSong(app.s.FileName)) return;
    BASS_ChannelSetAttribute(app.s.chan, BASS_ATTRIB_VOL,
                             static_cast<float>(100 - app.ui.SldVolume->value()) / 100.0f);
}

void Slider1_Change(App& app) {
    applyMasterLevel(app);
}

void UpdatePositionLabel(App& app) {
    const float r = BASS_FX_TempoGetRateRatio(app.s.chan);
    if (r == 0) return;
    app.s.stretchedSeconds = static_cast<float>(app.ui.Sldposition->maximum()) / r;
    setCaption(app.ui.lblTime, minutesSeconds(static_cast<long long>(app.s.stretchedSeconds)));
}

void UpdatePosNVK(App& app) {
    const float r = BASS_FX_TempoGetRateRatio(app.s.stems[0]);
    if (r == 0) return;
    app.s.stretchedSeconds = static_cast<float>(app.ui.Sldposition->maximum()) / r;
    setCaption(app.ui.lblTime, minutesSeconds(static_cast<long long>(app.s.stretchedSeconds)));
}

} // namespace velvora::transport
