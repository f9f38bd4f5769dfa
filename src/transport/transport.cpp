#include "transport/transport.h"

#include "core/controller.h"
#include "core/controls.h"
#include "core/files.h"
#include "core/mod_bass.h"
#include "core/song_state.h"
#include "core/startup.h"
#include "core/vb_text.h"
#include "effects/effects.h"
#include "metering/bpm.h"
#include "recording/capture.h"
#include "recording/mixdown.h"
#include "recording/take_recovery.h"
#include "recording/take_session.h"
#include "settings/song_settings.h"
#include "transport/audio_path.h"
#include "transport/level_controls.h"
#include "transport/midi_path.h"
#include "transport/song_open.h"
#include "transport/song_settings.h"
#include "widgets/lyricpicture.h"
#include "widgets/main_controls.h"

#include <QApplication>
#include <cmath>

namespace velvora::transport {

namespace {

bool settingsFileExists(const App& app, const std::string& name) {
    return FileExists(settings::songSettingsPath(app, name));
}

// The end of a take, after the song was stopped: both writers end, then the user chooses.
void finishTake(App& app, bool midiDoor) {
    Session& s = app.s;
    auto& ui = app.ui;
    QApplication::setOverrideCursor(Qt::WaitCursor);
    setShown(ui.PicStart, false);
    setShown(ui.Picture2, false);
    app.tmr.Timer3->setEnabled(false);
    if (midiDoor) setEnabled(ui.Cmd_play, false);
    recording::Encode_Stop(app);
    BASS_StreamFree(s.chan);
    recording::StopCapture(app);
    recording::WriteCapture(app);
    setShown(ui.Pbregg, true);
    for (int value : {20, 40, 60, 100}) {
        app.sys.clock.sleep(1000);
        ui.Pbregg->setValue(value);
    }
    setShown(ui.Pbregg, false);
    QApplication::restoreOverrideCursor();
    askTakeFate(app, midiDoor);
}

} // namespace

void askTakeFate(App& app, bool midiDoor) {
    Session& s = app.s;
    auto& ui = app.ui;
    s.answer = static_cast<std::int16_t>(app.sys.dialogs.msgBox(
        "Crea NVK(SI)  Crea Wave(NO) ", platform::vbYesNoCancel | platform::vbInformation,
        midiDoor ? "RECORDER" : "Recorder"));
    if (s.answer == platform::vbCancel) {
        recording::Annulla_Rec(app);
        return;
    }
    if (s.answer == platform::vbYes) {
        s.recordArmed = false;
        setEnabled(ui.BtnMix, true);
        setShown(ui.LblTm[0], false);
        setShown(ui.LblTm[1], false);
        s.capture.recBuffer.clear();
        s.capture.recLength = 0;
        const bool encoded = ask(app.hooks.Mp3Enc, true);
        if (midiDoor && encoded) app.sys.dialogs.msgBox("Done!", platform::vbQuestion, "Velvora");
        return;
    }
    recording::AudioMixer(app);
    s.capture.recBuffer.clear();
    s.capture.recLength = 0;
    // A mixed WAV makes no package: the LRC creator's batch waits for the next take (MIDI door).
    if (midiDoor) s.lrcBatch = false;
    if (!midiDoor) {
        setEnabled(ui.CmdPlw, false);
        setShown(ui.LblTm[0], false);
        setShown(ui.LblTm[1], false);
        setEnabled(ui.CmdRec, false);
        setEnabled(ui.cmdplaystop, false);
    }
}

namespace {

// A take armed before Play starts its recording here. When the recorder refuses, the song does
// not start: its stream goes, the menus come back and the song stands as after a stop, its Play
// button enabled and nothing to pause; the next MIDI play builds its stream anew.
bool recordingRefused(App& app, QPushButton* play, bool audioDoor) {
    Session& s = app.s;
    if (!s.recordArmed) return false;
    recording::Encode_Wave(app);
    if (s.recordArmed) return false;
    if (audioDoor) app.tmr.tmrSYLTmp3->setEnabled(false);
    app.tmr.tmrSpectrum->setEnabled(false);
    app.tmr.tmrPlaybackPosition->setEnabled(false);
    BASS_StreamFree(s.chan);
    setEnabled(play, true);
    enamenu(app);
    if (!audioDoor) s.songFresh = false;
    showSongState(app, audioDoor ? audioReadyAgain(s.FileName) : SongState::MidiReadyAgain);
    return true;
}

} // namespace

void Cmd_play_Click(App& app) {
    Session& s = app.s;
    auto& ui = app.ui;
    if (s.FileName.empty()) return;
    if (!s.packageFile.empty() && s.packageFile != s.FileName) {
        s.FileName = s.packageFile;
        s.songTitle = titleOf(s.FileName);
        setCaption(ui.LabelSongLength, s.songTitle);
    }
    setEnabled(ui.CmdPause, true);
    setEnabled(ui.CmdCarica, false);
    setEnabled(ui.Cmd_play, false);
    setEnabled(ui.Chkrem, false);
    dismenu(app);
    setEnabled(ui.CmdOn, true);
    setShown(ui.LblNVK, false);
    setShown(ui.LblMp3, false);
    setShown(ui.LblMidi, true);
    setEnabled(ui.CmdRec, false);
    dmenu(app);
    setEnabled(ui.Check1[3], true);
    setEnabled(ui.Slider2[3], true);
    setEnabled(ui.SldMidi, true);
    s.midiActive = true;
    setShown({ui.Vscroll1, ui.LblPitch, ui.Sldvol}, true);
    setShown({ui.SldMp3[1], ui.LblTone, ui.HscrollTempo, ui.LblToneM, ui.SldVolume}, false);
    s.lyricTick = 0;
    setShown(ui.CmdPlw, false);
    app.tmr.Timer1->setEnabled(true);
    call(app.hooks.NVKTagClear);
    setShown(ui.CmdOff, true);
    setEnabled(ui.CmdMidi, true);
    if (shown(ui.CmdOn)) s.midiChannelVolume = 0;
    if (!s.songFresh || s.midiStreamStale) {
        s.midiStreamStale = false;
        MidiRepeat(app);
    }
    setEnabled(ui.MnuExit, false);
    app.tmr.TimTps->setEnabled(true);
    s.lyricPos = 0;
    s.customName = GetFileName(s.FileName);
    if (settingsFileExists(app, s.customName)) modMidi(app);
    if (!s.tempoPresetApplied) {
        SetTempo(app, true);
        setMixTimeTempoSyncs(app);
    }
    s.tempoPresetApplied = false;
    app.tmr.TimTps->setEnabled(true);
    s.lyricPos = 0;
    app.tmr.tmrSpectrum->setEnabled(true);
    if (recordingRefused(app, ui.Cmd_play, false)) return;
    app.tmr.tmrMidiTest->setEnabled(true);
    Sldvol_Change(app);
    Vscroll1_Change(app);
    SldTempo_Change(app);
    if (shown(ui.CmdOn)) {
        s.midiChannelVolume = 0;
        s.midiChannel = 3;
        setShown(ui.CmdOff, false);
    }
    BASS_ChannelPlay(s.chan, 0);
    BASS_MIDI_FontSetVolume(s.font, 0.5f);
    ui.TextR->setText("5");
    setEnabled(ui.cmdstop, true);
    s.songStartedMark = true;
    s.playStarted = true;
    showSongState(app, SongState::MidiPlaying);
}

void CmdPlw_Click(App& app) {
    Session& s = app.s;
    auto& ui = app.ui;
    if (s.midiActive) {
        app.sys.dialogs.msgBox("PREMI STOP", platform::vbQuestion, "Velvora");
        return;
    }
    setEnabled(ui.Chkrem, true);
    setEnabled(ui.CmdPlw, false);
    setEnabled(ui.CmdCarica, false);
    if (s.levelsTouched) {
        setEnabled(ui.CmdPause, true);
        ui.SldMp3[1]->setValue(0);
        setCaption(ui.LblTone, "0");
        ui.Vscroll1->setValue(0);
        setCaption(ui.LblPitch, "0");
        setShown({ui.SldMp3[1], ui.LblTone, ui.SldVolume}, true);
        setShown({ui.Vscroll1, ui.LblPitch, ui.Sldvol}, false);
        ui.Chkrem->setChecked(false);
        ui.SldTempo->setValue(10);
        setCaption(ui.LblTempo, "0%");
        setEnabled(ui.CmdRec, true);
    }
    PlayAudio(app);
    if (isPackageSong(s.FileName)) return; // PlayAudio has started it
    if (s.syltPending) {
        s.syltPending = false;
        app.tmr.Timer1->setEnabled(true);
        app.tmr.tmrSYLTmp3->setEnabled(true);
    }
    // A CD+G song's frames follow the same clock as the words of a tag.
    if (s.cdgGraphics) app.tmr.tmrSYLTmp3->setEnabled(true);
    setEnabled(ui.CmdPlw, false);
    setEnabled(ui.CmdStw, true);
    setEnabled(ui.CmdRec, false);
    LayoutAudio(app);
    app.tmr.tmrPlaybackPosition->setEnabled(true);

    BASS_SetConfig(BASS_CONFIG_FLOATDSP, 1);
    const HSTREAM decoder =
        modBass::StreamCreateFile(songAudioFile(s.FileName), BASS_STREAM_DECODE | s.floatFlag);
    s.chan = BASS_FX_TempoCreate(decoder, BASS_FX_FREESOURCE | BASS_SAMPLE_LOOP);
    setEndSync(app);
    const double seconds = BASS_ChannelBytes2Seconds(s.chan, BASS_ChannelGetLength(s.chan, BASS_POS_BYTE));
    s.songSeconds = seconds < 0 ? -1 : static_cast<std::int32_t>(seconds);
    setCaption(ui.lblTime, minutesSeconds(s.songSeconds));
    if (s.songSeconds < 0) {
        app.sys.dialogs.msgBox("File non Valido, PREMI STOP", platform::vbOKOnly, "Velvora");
        return;
    }
    setEnabled(ui.CmdMidi, true);
    ui.Sldposition->setMaximum(s.songSeconds);
    ui.Sldposition->setValue(0);
    app.tmr.tmrMidiTest->setEnabled(true);
    app.tmr.TimTps->setEnabled(true);
    s.customName = GetFileName(settings::audioSettingsSong(app));
    if (settingsFileExists(app, s.customName))
        ModAudio(app);
    else
        DefAudio(app);
    if (!s.chan) {
        // A tracker module would be the last try; the path is the dialog's.
        s.chan = modBass::MusicLoad(s.dialogFileName, s.floatFlag | 0x204, 0);
        if (!s.chan) {
            Error_(app, "Selected file couldn't be loaded!");
            return;
        }
    }
    SldVolume_Change(app);
    if (recordingRefused(app, ui.CmdPlw, true)) return;
    if (ui.Chkrem->isChecked()) effects::Chkrem_Click(app);
    BASS_ChannelSetAttribute(s.chan, BASS_ATTRIB_TEMPO_PITCH, static_cast<float>(-ui.SldMp3[1]->value()));
    BASS_ChannelSetAttribute(s.chan, BASS_ATTRIB_TEMPO_PITCH, static_cast<float>(ui.SldMp3[0]->value()));
    BASS_ChannelPlay(s.chan, 0);
    showSongState(app, SongState::AudioPlaying);
    app.tmr.tmrSpectrum->setEnabled(true);
    setEnabled(ui.Slider3[0], false);
    metering::GetBPM(app, -1, 0, 30, 0);
    effects::Slider3_Change(app, 0);
    effects::Slider3_Change(app, 1);
}

void CmdPause_Click(App& app) {
    Session& s = app.s;
    if (s.recordArmed) return;
    s.pauseUsed = true;
    if (!s.pausedNow) {
        BASS_ChannelPause(s.chan);
        s.pausedNow = true;
    } else {
        BASS_ChannelPlay(s.chan, 0);
        s.pausedNow = false;
    }
}

void Cmd_Stop_Click(App& app) {
    Session& s = app.s;
    auto& ui = app.ui;
    leaveMidiPlay(app);
    ui.Sldposition->setValue(0);
    if (s.recordArmed) finishTake(app, true);
    setEnabled(ui.CmdRec, true);
    s.midiActive = false;
    s.pausedNow = false;
}

void CmdStw_Click(App& app) {
    Session& s = app.s;
    auto& ui = app.ui;
    stopAudioSong(app);
    for (DWORD stem : s.stems) BASS_StreamFree(stem);
    ui.Sldposition->setValue(0);
    s.songFresh = false;
    if (isPackageSong(s.FileName)) {
        app.tmr.TimTps->setEnabled(false);
        app.tmr.tmrMidiTest->setEnabled(false);
        setEnabled(ui.CmdMidi, false);
        setEnabled(ui.BtnMix, true);
        ui.Chkphaser->setChecked(false);
        ui.ChkRev->setChecked(false);
    }
    if (!s.recordArmed) showSongState(app, audioReadyAgain(s.FileName));
    enamenu(app);
    if (s.recordArmed) finishTake(app, false);
    if (s.levelsTouched && s.midiActive) {
        setShown(ui.Cmd_play, false);
        s.levelsTouched = false;
    }
    s.pausedNow = false;
}

void cmdstop_Click(App& app) {
    auto& ui = app.ui;
    app.tmr.Timer1->setEnabled(false);
    app.tmr.tmrPlaybackPosition->setEnabled(false);
    enamenu(app);
    setEnabled(ui.dlsbank, true);
    setEnabled(ui.cmdstop, false);
    app.s.songEnded = false;
    setEnabled(ui.Picture2, false);
    app.tmr.Timer1->setEnabled(false);
    app.tmr.Timer3->setEnabled(false);
}

void Form_KeyDown(App& app, int keyCode) {
    if (keyCode != 83 || app.s.FileName.empty()) return;
    const std::string& name = app.s.FileName;
    const std::string upper = vb::UCase(vb::Ext3(name));
    const std::string lower = vb::LCase(vb::Ext3(name));
    if (upper == "NVK" || vb::UCase(vb::Right(name, 2)) == "XT") CmdStw_Click(app);
    if (lower == "mp3" || lower == "wav") CmdStw_Click(app);
    if (lower == "mid" || lower == "kar") Cmd_Stop_Click(app);
}

void Sldposition_Press(App& app) {
    if (app.s.recordArmed) return;
    app.tmr.tmrMidiTest->setEnabled(false);
    if (isPackageSong(app.s.FileName)) UpdatePosNVK(app);
}

void Sldposition_Release(App& app) {
    Session& s = app.s;
    const int value = app.ui.Sldposition->value();
    if (isPackageSong(s.FileName)) {
        app.tmr.tmrMidiTest->setEnabled(true);
        for (int i = 0; i < s.stemCount && i < 3; ++i) {
            const DWORD stem = s.stems[static_cast<std::size_t>(i)];
            BASS_ChannelSetPosition(stem, BASS_ChannelSeconds2Bytes(stem, value), BASS_POS_BYTE);
        }
        UpdatePosNVK(app);
    } else if (!isMidiSong(s.FileName)) {
        BASS_ChannelSetPosition(s.chan, BASS_ChannelSeconds2Bytes(s.chan, value), BASS_POS_BYTE);
        app.tmr.tmrMidiTest->setEnabled(true);
    } else {
        BASS_ChannelSetPosition(s.chan, static_cast<QWORD>(value) * 120, BASS_POS_MIDI_TICK);
        s.lyrics.clear();
        app.tmr.tmrMidiTest->setEnabled(true);
    }
}

} // namespace velvora::transport

namespace velvora::transport {

void recoverTake(App& app) {
    if (!recording::offerRecovery(app)) return;
    // The recovered take goes on as after a Stop; no song is armed once it is decided.
    app.s.recordArmed = true;
    askTakeFate(app, false);
    app.s.recordArmed = false;
}

} // namespace velvora::transport
