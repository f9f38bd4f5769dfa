#include "metering/bpm.h"

#include "core/controller.h"
#include "core/controls.h"
#include "core/mod_bass.h"
#include "core/vb_text.h"
#include "widgets/main_controls.h"

#include <QCheckBox>
#include <QLineEdit>

#include <cmath>

namespace velvora::metering {

namespace {

// The measure's own flags: free the decoding stream once measured, plus two the engine ignores.
constexpr DWORD kMeasureFlags = 0x10003;

void measureProgress(DWORD, float, void*) {}

// On the engine's sync thread: the figure goes to the window's thread with the display.
void runningMeasure(DWORD, float bpm, void* user) {
    App* app = static_cast<App*>(user);
    app->sys.clock.post([app, bpm] {
        app->s.bpm.bpmValue = bpm;
        showBPM(*app);
    });
}

} // namespace

void showBPM(App& app) {
    const double shown = std::trunc(static_cast<double>(app.s.bpm.bpmValue) *
                                    static_cast<double>(BASS_FX_TempoGetRateRatio(app.s.chan)));
    if (!std::isfinite(shown) || shown <= 0 || shown > 1e6) return;
    setCaption(app.ui.lblBPM, "Bpm: " + vb::CStr(shown));
}

void GetBPM(App& app, int reload, double startSec, double endSec, DWORD minMaxBPM) {
    BpmState& bpm = app.s.bpm;
    if (reload != 0) {
        bpm.bpmChan = modBass::StreamCreateFile(songAudioFile(app.s.FileName), BASS_STREAM_DECODE);
        if (!bpm.bpmChan) bpm.bpmChan = modBass::MusicLoad(app.s.FileName, 0x220000, 0);
    }
    if (!bpm.bpmChan) return;
    bpm.bpmValue = BASS_FX_BPM_DecodeGet(bpm.bpmChan, startSec, endSec, minMaxBPM, kMeasureFlags,
                                         &measureProgress, nullptr);
    // The measure freed the stream.
    bpm.bpmChan = 0;
    if (bpm.bpmValue != 0) showBPM(app);
}

void chkBPMCallback_Click(App& app) {
    const DWORD chan = app.s.chan;
    if (app.ui.chkBPMCallback->isChecked()) {
        const double period = vb::Val(app.ui.TxtBPMPeriod->text().toStdString());
        BASS_FX_BPM_CallbackSet(chan, &runningMeasure, period, 0, 2, &app);
    } else {
        BASS_FX_BPM_Free(chan);
    }
}

void BeatFree(App& app) {
    BASS_FX_BPM_BeatFree(app.s.chan);
}

} // namespace velvora::metering
