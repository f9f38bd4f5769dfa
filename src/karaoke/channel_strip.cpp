#include "karaoke/channel_strip.h"

#include "core/controls.h"
#include "widgets/main_controls.h"

namespace velvora::karaoke {

namespace {

// The melody channel, by fixed choice the fourth.
constexpr int kMelodyChannel = 3;

} // namespace

void Check1_Click(App& app, int index) {
    if (index < 0 || index > 15) return;
    const auto i = static_cast<std::size_t>(index);
    auto* slider = app.ui.Slider2[i];
    const DWORD stem = index < 3 ? app.s.stems[i] : 0;
    if (!app.ui.Check1[i]->isChecked()) {
        // Muting leaves the MIDI channel's level as it was; only a track is silenced.
        slider->setValue(127);
        if (index < 3) BASS_ChannelSetAttribute(stem, BASS_ATTRIB_VOL, 0.0f);
        setEnabled(slider, false);
        return;
    }
    slider->setValue(app.s.channelStrip[i].Volume);
    if (index < 3) BASS_ChannelSetAttribute(stem, BASS_ATTRIB_VOL, 127.0f / 127.0f);
    setEnabled(slider, true);
    BASS_MIDI_StreamEvent(app.s.chan, static_cast<DWORD>(index), MIDI_EVENT_VOLUME,
                          static_cast<DWORD>(slider->value()));
    app.s.channelStrip[i].Touched = vbTrue;
}

void CmdOff_Click(App& app) {
    setShown(app.ui.CmdOff, false);
    setShown(app.ui.CmdOn, true);
    setEnabled(app.ui.CmdOn, true);
    app.s.midiChannel = kMelodyChannel;
    BASS_MIDI_StreamEvent(app.s.chan, kMelodyChannel, MIDI_EVENT_VOLUME,
                          static_cast<DWORD>(app.s.midiChannelVolume));
}

void CmdOn_Click(App& app) {
    setShown(app.ui.CmdOn, false);
    setShown(app.ui.CmdOff, true);
    setEnabled(app.ui.CmdOff, true);
    app.s.midiChannelVolume = 127;
    app.s.midiChannel = kMelodyChannel;
    BASS_MIDI_StreamEvent(app.s.chan, kMelodyChannel, MIDI_EVENT_VOLUME, 127);
}

} // namespace velvora::karaoke
