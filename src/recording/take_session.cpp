#include "recording/take_session.h"

#include "core/controls.h"
#include "core/files.h"
#include "core/staged_file.h"
#include "core/startup.h"
#include "core/vb_text.h"
#include "recording/capture.h"
#include "widgets/main_controls.h"

namespace velvora::recording {

namespace {

void songTimers(App& app, bool on) {
    app.tmr.TimTps->setEnabled(on);
    app.tmr.tmrMidiTest->setEnabled(on);
    app.tmr.Timer1->setEnabled(on);
    app.tmr.tmrSYLTmp3->setEnabled(on);
}

void blink(QWidget* w) {
    setShown(w, !shown(w));
}

} // namespace

void CmdRec_Click(App& app) {
    Session& s = app.s;
    auto& ui = app.ui;
    if (vb::UCase(vb::Ext3(s.FileName)) == "NVK") {
        app.sys.dialogs.msgBox("La Registrazione non è possibile con i file NVK ", platform::vbQuestion,
                               "Recorder");
        return;
    }
    if (s.explorerOpen) {
        app.sys.dialogs.msgBox("Operazione non possibile con EXPLORER Attivo ", platform::vbQuestion,
                               "Recorder");
        return;
    }
    setEnabled(ui.CmdRec, false);
    setEnabled(ui.CmdPause, false);
    const std::string kind = vb::LCase(vb::Ext3(s.FileName));
    // An audio song's take ends through CmdStw alone.
    if (kind != "mid" && kind != "kar") setEnabled(ui.Cmd_Stop, false);
    s.recordArmed = true;
    // A MIDI song's take carries its lyric into the package: the take's flow writes the LRC file.
    s.lrcBatch = kind == "mid" || kind == "kar";
    setShown(ui.LblTm[0], true);
    setShown(ui.LblTm[1], true);
    setEnabled(ui.cmdplaystop, true);
    call(app.hooks.showLiveSpec);
}

void Encode_Wave(App& app) {
    Session& s = app.s;
    auto& ui = app.ui;
    auto& clock = app.sys.clock;
    setShown(ui.LblTm[0], false);
    setShown(ui.LblTm[1], false);
    songTimers(app, false);
    // The count-in: four seconds of blinking, then half a second of stillness.
    app.tmr.TmrStart->setEnabled(true);
    for (int beat = 0; beat < 4; ++beat) {
        clock.doEvents();
        clock.sleep(1000);
    }
    clock.doEvents();
    app.tmr.TmrStart->setEnabled(false);
    clock.sleep(500);
    setShown(ui.PicStart, true);
    songTimers(app, true);
    const std::string backing = joinPath(takeFolder(app), "BackingTrack.WAV");
    if (!BASS_Encode_Start(s.chan, backing.c_str(), BASS_ENCODE_PCM | BASS_ENCODE_FP_16BIT, nullptr, nullptr))
        Error_(app, "Can't RECORDING");
    if (s.recordArmed) {
        app.tmr.Timer3->setEnabled(true);
        setEnabled(ui.Picture2, true);
        StartCapture(app);
    }
}

void Encode_Stop(App& app) {
    BASS_Encode_Stop(app.s.chan);
}

void Annulla_Rec(App& app) {
    Session& s = app.s;
    auto& ui = app.ui;
    app.tmr.TimTps->setEnabled(false);
    app.tmr.tmrMidiTest->setEnabled(false);
    s.recordArmed = false;
    setEnabled(ui.CmdRec, true);
    setShown(ui.LblTm[0], false);
    setShown(ui.LblTm[1], false);
    s.capture.recBuffer.clear();
    s.capture.recLength = 0;
    app.sys.dialogs.msgBox("Registrazione Annullata", platform::vbQuestion, "Velvora");
}

std::optional<std::string> askWaveFileName(App& app) {
    platform::FileDialogRequest request;
    request.title = "Save WAVE File As";
    request.filter = "File Wave (*.wav)|*.wav";
    request.flags = platform::ofnOverwritePrompt;
    const auto chosen = app.sys.dialogs.saveFile(request);
    app.s.dialogFileName = chosen.value_or(std::string());
    return chosen;
}

void SaveWave(App& app) {
    // A cancel leaves the dialog's name empty, and the copy fails.
    askWaveFileName(app);
    copyWhole(joinPath(app.appFolder, "LiveTrack.wav"), app.s.dialogFileName);
    setEnabled(app.ui.mnutil, true);
    app.sys.clock.sleep(1000);
}

void TmrStart_Timer(App& app) {
    blink(app.ui.PicStart);
}

void Timer3_Timer(App& app) {
    // While the song and the capture both run: where the take's voice stands against the
    // backing, as the engine sees it (the song is gone by the time the take is stopped).
    CaptureState& c = app.s.capture;
    double started = 0, heard = 0;
    if (c.recChan && BASS_RecordGetOffset(c.recChan, app.s.chan, &started, &heard))
        c.takeOffset = CaptureState::TakeOffset{started * 1000.0, heard * 1000.0};
    app.s.recordBlink = app.s.recordBlink ? 0 : 1;
    setShown(app.ui.Picture2, app.s.recordBlink != 0);
}

} // namespace velvora::recording
