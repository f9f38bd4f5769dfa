#include "transport/midi_path.h"

#include "core/controller.h"
#include "core/controls.h"
#include "core/mod_bass.h"
#include "core/song_state.h"
#include "core/startup.h"
#include "karaoke/word_extraction.h"
#include "transport/song_open.h"
#include "widgets/lyricpicture.h"
#include "widgets/main_controls.h"

#include <cmath>

namespace velvora::transport {

namespace {

// Engine callbacks. They touch only the single values they may: the tick of the last mark, the
// file's tempo, the end flag; anything for the window is posted to the UI thread.
void LyricSync(HSYNC, DWORD channel, DWORD, void* user) {
    auto* app = static_cast<App*>(user);
    app->s.lyricTick = static_cast<std::int32_t>(BASS_ChannelGetPosition(channel, BASS_POS_MIDI_TICK));
}

void TempoSync(HSYNC, DWORD, DWORD, void* user) {
    SetTempo(*static_cast<App*>(user), true);
}

void EndSync(HSYNC, DWORD channel, DWORD, void* user) {
    auto* app = static_cast<App*>(user);
    app->sys.clock.post([app] {
        app->s.lyrics.clear();
        app->ui.Picture3->cls();
    });
    BASS_StreamFree(channel);
    BASS_MusicFree(channel);
    // The flag comes a second after the stream is gone.
    app->sys.clock.waitThen(1000, [app] {
        app->s.songEnded = true;
        app->s.endMarker = 1;
    });
}

} // namespace

void SetTempo(App& app, bool reset) {
    Session& s = app.s;
    const DWORD chan = s.chan;
    if (reset) s.miditempo = static_cast<std::int32_t>(BASS_MIDI_StreamGetEvent(chan, 0, MIDI_EVENT_TEMPO));
    const double scaled = std::trunc(static_cast<double>(s.miditempo.load()) * s.temposcale.load());
    BASS_MIDI_StreamEvent(chan, 0, MIDI_EVENT_TEMPO, static_cast<DWORD>(std::max(0.0, scaled)));
}

void setMidiSyncs(App& app) {
    const DWORD chan = app.s.chan;
    // The lyric and text syncs carry the user values 2 and 3; both store the tick.
    BASS_ChannelSetSync(chan, BASS_SYNC_MIDI_LYRIC, 0, &LyricSync, &app);
    BASS_ChannelSetSync(chan, BASS_SYNC_MIDI_TEXT, 0, &LyricSync, &app);
    BASS_ChannelSetSync(chan, BASS_SYNC_END, 0, &EndSync, &app);
    BASS_ChannelSetSync(chan, BASS_SYNC_MIDI_EVENT, MIDI_EVENT_TEMPO, &TempoSync, &app);
}

void setMixTimeTempoSyncs(App& app) {
    const DWORD chan = app.s.chan;
    BASS_ChannelSetSync(chan, BASS_SYNC_MIDI_EVENT | BASS_SYNC_MIXTIME, MIDI_EVENT_TEMPO, &TempoSync, &app);
    BASS_ChannelSetSync(chan, BASS_SYNC_SETPOS | BASS_SYNC_MIXTIME, 0, &TempoSync, &app);
}

void setEndSync(App& app) {
    BASS_ChannelSetSync(app.s.chan, BASS_SYNC_END, 0, &EndSync, &app);
}

void showMidiLength(App& app) {
    Session& s = app.s;
    const DWORD chan = s.chan;
    const double seconds = BASS_ChannelBytes2Seconds(chan, BASS_ChannelGetLength(chan, BASS_POS_BYTE));
    s.songSeconds = seconds > 0 ? static_cast<std::int32_t>(seconds) : 0;
    const QWORD ticks = BASS_ChannelGetLength(chan, BASS_POS_MIDI_TICK);
    const int bar = ticks == static_cast<QWORD>(-1) ? 0 : static_cast<int>(ticks / 120);
    app.ui.Sldposition->setMaximum(bar);
    app.ui.Sldposition->setValue(0);
    app.ui.Picture3->cls();
    setCaption(app.ui.lblTime, minutesSeconds(s.songSeconds));
}

void MidiRepeat(App& app) {
    Session& s = app.s;
    s.midiActive = true;
    // The stream of an open that was not played (after an audio song) goes before its successor.
    BASS_StreamFree(s.chan);
    karaoke::GetKaraoke(app);
    s.chan = modBass::MIDI_StreamCreateFile(s.FileName, BASS_STREAM_AUTOFREE, 44100);
    // The handle is not tested: a file that has gone away leaves the song silent until Stop.
    showMidiLength(app);
    s.lyrics.clear();
    setMidiSyncs(app);
}

void resetTouchedLevels(App& app) {
    if (!app.s.levelsTouched) return;
    app.s.levelsTouched = false;
    neutralKeyAndTempo(app);
    setEnabled(app.ui.CmdRec, true);
    app.s.midiActive = false;
}

void leaveMidiPlay(App& app) {
    Session& s = app.s;
    auto& ui = app.ui;
    resetTouchedLevels(app);
    ui.Picture3->cls();
    app.tmr.TimTps->setEnabled(false);
    app.tmr.Timer1->setEnabled(false);
    app.tmr.tmrSpectrum->setEnabled(false);
    BASS_StreamFree(s.chan);
    s.songFresh = false;
    for (QAction* a : {ui.MnuExit, ui.MnuOpenSong, ui.wavp3}) setEnabled(a, true);
    for (QMenu* m : {ui.MnuFile, ui.mnutil, ui.cvmenu}) setEnabled(m, true);
    // An ended song has nothing to pause: Pause goes off with Stop.
    showSongState(app, SongState::MidiReadyAgain);
    Clear(app);
}

void MidiEnd(App& app) {
    Session& s = app.s;
    if (s.recordArmed) return; // a take is ended by the user's Stop
    s.songEnded = false;
    leaveMidiPlay(app);
    setEnabled(app.ui.CmdRec, true);
    s.midiActive = false;
}

void stopAudioSong(App& app) {
    auto& ui = app.ui;
    setEnabled(ui.CmdPause, false);
    setEnabled(ui.CmdStw, false);
    setEnabled(ui.CmdRec, true);
    app.tmr.Timer1->setEnabled(false);
    Clear(app);
    ui.Picture3->cls();
    app.tmr.tmrSYLTmp3->setEnabled(false);
    app.tmr.tmrSpectrum->setEnabled(false);
    app.tmr.tmrPlaybackPosition->setEnabled(false);
    BASS_StreamFree(app.s.chan);
}

SongState audioReadyAgain(const std::string& fileName) {
    return isPackageSong(fileName) ? SongState::PackageReadyAgain : SongState::AudioReadyAgain;
}

void Mp3End(App& app) {
    Session& s = app.s;
    auto& ui = app.ui;
    if (s.recordArmed) return;
    stopAudioSong(app);
    showSongState(app, audioReadyAgain(s.FileName));
    enamenu(app);
    if (s.levelsTouched && s.midiActive) {
        setShown(ui.Cmd_play, false);
        s.levelsTouched = false;
    }
}

} // namespace velvora::transport
