#include "metering/live_input_level.h"

#include "core/controls.h"
#include "widgets/live_input_controls.h"
#include "widgets/main_controls.h"

#include <QDialog>

namespace velvora::metering {

namespace {

constexpr DWORD kEngineVersion = 0x0204;
constexpr double kFullScale = 30000.0;

// The meter only reads the capture's level: the samples themselves are not wanted.
BOOL keepCapturing(HRECORD, const void*, DWORD, void*) {
    return 1;
}

void Error_(LiveSpec& live, const std::string& message) {
    live.app.sys.dialogs.msgBox(message + "\n\nerror code: " + std::to_string(BASS_ErrorGetCode()),
                                platform::vbExclamation, "Error");
}

} // namespace

LiveSpec::LiveSpec(App& a, widgets::LiveSpecControls& controls)
    : app(a), ui(controls), tmrLiveSpec(a.sys.clock.makeTimer(25, false)) {
    tmrLiveSpec->onTick = [this] { UpdateSpectrumMic(*this); };
}

LiveSpec::~LiveSpec() {
    Form_Unload(*this);
}

bool Form_Load(LiveSpec& live) {
    App& app = live.app;
    app.sys.process.setCurrentFolder(app.appFolder);
    if ((BASS_GetVersion() >> 16) != kEngineVersion) {
        app.sys.dialogs.msgBox("An incorrect version of BASS.DLL was loaded", platform::vbOKOnly, "Velvora");
        app.sys.process.end();
        return false;
    }
    live.liveChan = BASS_RecordStart(44100, 2, 0, &keepCapturing, nullptr);
    if (!live.liveChan) {
        Error_(live, "Can't start recording");
        app.sys.process.end();
        return false;
    }
    live.tmrLiveSpec->setEnabled(true);
    return true;
}

void Form_Unload(LiveSpec& live) {
    live.tmrLiveSpec->setEnabled(false);
    BASS_ChannelStop(live.liveChan);
    live.liveChan = 0;
}

void UpdateSpectrumMic(LiveSpec& live) {
    auto* meter = live.ui.picVUMeter[1];
    if (!meter) return;
    const DWORD v = BASS_ChannelGetLevel(live.liveChan);
    meter->cls();
    if (v == static_cast<DWORD>(-1)) return;
    const double leftPeak = v & 0xffff;
    meter->setLevel(leftPeak / kFullScale);
}

void sldEQR_Change(LiveSpec& live) {
    if (!live.ui.sldEQR) return;
    BASS_RecordSetInput(live.app.s.inputIndex, 0, static_cast<float>(100 - live.ui.sldEQR->value()) / 100.0f);
}

void inputmenu_Click(App& app) {
    if (app.sys.dialogs.msgBox("Funzione Disponibile solo per XP Confermi ?", platform::vbYesNo,
                               "REGISTRAZIONE") == platform::vbNo)
        return;
    setShown(app.ui.cmbInput, true);
}

void Cominput_Click(App& app) {
    app.sys.process.startProgram("pavucontrol", {"--tab=4"});
}

void Comout_Click(App& app) {
    app.sys.process.startProgram("pavucontrol", {"--tab=3"});
}

} // namespace velvora::metering
