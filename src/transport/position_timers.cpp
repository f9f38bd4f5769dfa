#include "transport/position_timers.h"

#include "core/controller.h"
#include "core/controls.h"
#include "core/vb_text.h"
#include "transport/level_controls.h"
#include "transport/midi_path.h"
#include "widgets/main_controls.h"

#include <cmath>

namespace velvora::transport {

namespace {

constexpr QWORD kNoPosition = static_cast<QWORD>(-1);

double positionSeconds(DWORD handle) {
    const QWORD bytes = BASS_ChannelGetPosition(handle, BASS_POS_BYTE);
    if (bytes == kNoPosition) return -1;
    return BASS_ChannelBytes2Seconds(handle, bytes);
}

} // namespace

void TimTps_Timer(App& app) {
    Session& s = app.s;
    const DWORD handle = isPackageSong(s.FileName) ? s.stems[0] : s.chan.load();
    const double seconds = positionSeconds(handle);
    if (seconds < 0) return; // no channel: the labels stay
    s.posSeconds = static_cast<std::int16_t>(seconds);
    s.posMin = static_cast<std::int16_t>(s.posSeconds / 60);
    s.posSec = static_cast<std::int16_t>(s.posSeconds % 60);
    setCaption(app.ui.lblS, vb::Format(s.posSec, "00"));
    setCaption(app.ui.lblM, vb::Format(s.posMin, "00"));
}

void tmrMidiTest_Timer(App& app) {
    Session& s = app.s;
    auto& ui = app.ui;
    const bool midi = isMidiSong(s.FileName);
    if (s.chan) {
        if (!midi) {
            const double seconds = positionSeconds(s.chan);
            if (seconds >= 0) ui.Sldposition->setValue(static_cast<int>(seconds));
        } else {
            const QWORD tick = BASS_ChannelGetPosition(s.chan, BASS_POS_MIDI_TICK);
            if (tick != kNoPosition) ui.Sldposition->setValue(static_cast<int>(tick / 120));
            const double beat = static_cast<double>(s.temposcale.load()) * s.miditempo.load();
            if (beat > 0) setCaption(ui.lblBPM, "Bpm: " + vb::Format(60000000.0 / beat, ".0"));
        }
    }
    // Repeated on every pass so that the melody channel's level holds against the song's own.
    BASS_MIDI_StreamEvent(s.chan, 3, MIDI_EVENT_VOLUME, static_cast<DWORD>(s.midiChannelVolume));
    if (++s.fontInfoCounter & 1) {
        BASS_MIDI_FONTINFO info{};
        if (BASS_MIDI_FontGetInfo(s.font, &info)) {
            // Read as the original did, and shown nowhere.
            const std::string text = std::string("name: ") + (info.name ? info.name : "") +
                                     "\nloaded: " + std::to_string(info.samload) + " / " +
                                     std::to_string(info.samsize);
            (void)text;
        }
        s.fontInfoCounter = 0;
    }
    if (s.songEnded && !midi) {
        s.songEnded = false;
        Mp3End(app);
    } else if (s.songEnded) {
        MidiEnd(app);
    }
    if (isPackageSong(s.FileName)) {
        const int last = std::clamp<int>(s.stemCount - 1, 0, 2);
        const double seconds = positionSeconds(s.stems[static_cast<std::size_t>(last)]);
        if (seconds >= 0) ui.Sldposition->setValue(static_cast<int>(seconds));
    } else {
        Slider1_Change(app);
    }
}

void tmrPlaybackPosition_Timer(App& app) {
    if (BASS_ChannelIsActive(app.s.chan) == 0) {
        app.ui.SliderPosition->setValue(0);
        setCaption(app.ui.lblTrackPosition, "");
    } else {
        BASS_ChannelGetLevel(app.s.chan);
    }
}

} // namespace velvora::transport
