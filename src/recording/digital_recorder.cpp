#include "recording/digital_recorder.h"

#include "core/controller.h"
#include "core/controls.h"
#include "core/files.h"
#include "core/staged_file.h"
#include "core/vb_text.h"
#include "recording/capture.h"
#include "recording/take_session.h"
#include "widgets/main_controls.h"

#include <QApplication>

#include <limits>

namespace velvora::recording {

void mnew_Click(App& app) {
    // Timer3 off, Picture2, Cmd_play and Cmd_Stop disabled, the take's flag cleared and any
    // earlier LiveTrack.wav deleted.
    abilita(app);
    setEnabled(app.ui.Start_Dig, true);
    setEnabled(app.ui.CmdCarica, false);
}

void Start_Dig_Click(App& app) {
    auto& ui = app.ui;
    setCaption(ui.lblTime, "00:00");
    setCaption(ui.lblS, vb::Format(0, "00"));
    setCaption(ui.lblM, vb::Format(0, "00"));
    app.tmr.Timer3->setEnabled(true);
    setEnabled(ui.Picture2, true);
    setEnabled(ui.Start_Dig, false);
    setEnabled(ui.Stop_dig, true);
    app.tmr.TmrDigit->setEnabled(true);
    StartCapture(app);
}

void TmrDigit_Timer(App& app) {
    DigitalRecorderState& d = app.s.digital;
    // The count stops at the largest second it can hold (more than nine hours).
    if (d.digSeconds < std::numeric_limits<std::int16_t>::max()) ++d.digSeconds;
    d.digMinutes = static_cast<std::int16_t>(d.digSeconds / 60);
    d.digRemainder = static_cast<std::int16_t>(d.digSeconds % 60);
    setCaption(app.ui.lblS, vb::Format(d.digRemainder, "00"));
    setCaption(app.ui.lblM, vb::Format(d.digMinutes, "00"));
}

void Stop_dig_Click(App& app) {
    auto& ui = app.ui;
    app.tmr.Timer3->setEnabled(false);
    setEnabled(ui.Picture2, false);
    setEnabled(ui.Stop_dig, false);
    setEnabled(ui.Save_Digit, true);
    app.tmr.TmrDigit->setEnabled(false);
    StopCapture(app);
    WriteCapture(app);
}

void Save_Digit_Click(App& app) {
    setEnabled(app.ui.Save_Digit, false);
    savemicro(app);
}

void savemicro(App& app) {
    const auto chosen = askWaveFileName(app);
    if (!chosen) {
        setEnabled(app.ui.CmdCarica, true);
        QApplication::restoreOverrideCursor();
        return;
    }
    copyWhole(vocalTrackPath(app), *chosen);
    QApplication::restoreOverrideCursor();
    app.s.songEnded = false;
    setEnabled(app.ui.CmdCarica, true);
    app.sys.dialogs.msgBox("Done!", platform::vbOKOnly, "Velvora");
}

} // namespace velvora::recording
