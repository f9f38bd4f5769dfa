#include "core/startup.h"

#include "core/controller.h"
#include "core/controls.h"
#include "core/files.h"
#include "widgets/barpicture.h"
#include "widgets/lyricpicture.h"
#include "widgets/main_controls.h"

#include <QGuiApplication>
#include <QMainWindow>
#include <QScreen>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <vector>

namespace velvora {

namespace {

constexpr DWORD kEngineVersion = 0x0204;

// The engine is built into the program; what stands for a missing library is an engine part
// that does not answer for its version.
bool engineComponentPresent(DWORD (*version)()) {
    return version() != 0;
}

void toAppFolder(App& app) {
    app.sys.process.setCurrentFolder(app.appFolder);
}

int boxStyle(int buttons, int icon) {
    return buttons | icon;
}

} // namespace

DWORD FloatProbe() {
    const HSTREAM probe = BASS_StreamCreate(44100, 2, BASS_SAMPLE_FLOAT, nullptr, nullptr);
    if (!probe) return 0;
    BASS_StreamFree(probe);
    return 256;
}

void Error_(App& app, const std::string& message) {
    const std::string text =
        message + "\n\nBASS Error Code: " + std::to_string(BASS_ErrorGetCode()) + "\nBASS_FX Error Code: ";
    app.sys.dialogs.msgBox(text, platform::vbExclamation, "Error");
}

bool Form_Initialize(App& app) {
    toAppFolder(app);
    if (!engineComponentPresent(&BASS_GetVersion)) {
        app.sys.dialogs.msgBox("BASS.DLL does not exists", platform::vbCritical, "BASS.DLL");
        app.sys.process.end();
        return false;
    }
    if (!engineComponentPresent(&BASS_FX_GetVersion)) {
        app.sys.dialogs.msgBox("BASS_FX.DLL does not exists!", platform::vbCritical, "BASS_FX.DLL");
        app.sys.process.end();
        return false;
    }
    BASS_SetConfig(BASS_CONFIG_FLOATDSP, 1);
    app.s.floatFlag = FloatProbe();
    app.s.effects.fxRemoverDSP = 0;
    app.s.sampleRate = 44100;
    return true;
}

void Clear(App& app) {
    if (app.ui.Picture5) app.ui.Picture5->cls();
    if (app.ui.Picture1) app.ui.Picture1->cls();
    if (app.ui.Picture3) app.ui.Picture3->cls();
    app.tmr.Timer3->setEnabled(false);
    setShown(app.ui.Picture6, false);
    setShown(app.ui.LblRem, false);
}

void MakeDir(App& app) {
    // The first folder that cannot be made (on every start after the first: it is there) ends the
    // routine; later folders are not tried.
    for (const char* folder : {"PLAY", "TKKK", "TMPK", "SONGCUSTOM"}) {
        std::error_code ec;
        if (!std::filesystem::create_directory(joinPath(app.appFolder, folder), ec) || ec) return;
    }
}

namespace {

// The soundfonts to try, in order: "chorium.SF2" in any case beside the executable, then in the
// per-user data folder, each twice (a first load that fails gets one more go), then the system's
// General MIDI font.
std::vector<std::string> soundFontChoices(App& app) {
    std::vector<std::string> paths;
    for (const std::string& folder : {app.sys.process.programFolder(), app.sys.process.dataFolder()}) {
        const std::string own = resolveCaseInsensitive(folder, "chorium.SF2");
        if (std::find(paths.begin(), paths.end(), own) == paths.end()) paths.insert(paths.end(), {own, own});
    }
    paths.push_back(app.systemSoundFont);
    return paths;
}

} // namespace

void LoadSoundFont(App& app) {
    Session& s = app.s;
    if (s.font) BASS_MIDI_FontFree(s.font);
    s.font = 0;
    for (const std::string& path : soundFontChoices(app)) {
        s.font = BASS_MIDI_FontInit(path.c_str(), 0);
        if (s.font) {
            s.soundFontPath = path;
            break;
        }
    }
    if (!s.font) return; // MIDI then plays silent; no message
    const BASS_MIDI_FONT entry{s.font, -1, 0};
    BASS_MIDI_StreamSetFonts(0, &entry, 1);
    BASS_MIDI_StreamSetFonts(s.chan, &entry, 1);
}

void BASSDLL(App& app) {
    toAppFolder(app);
    BASS_Free();
    BASS_SetConfig(BASS_CONFIG_FLOATDSP, 1);
    const BOOL recordOk = BASS_RecordInit(0);
    // Device 1 is the first sound card; a machine without one plays on the default, which is then
    // the no-sound device, so that songs still play and their lyrics still run.
    BOOL outputOk = BASS_Init(1, 44100, 0, app.ui.window, nullptr);
    if (!outputOk && BASS_ErrorGetCode() == BASS_ERROR_DEVICE)
        outputOk = BASS_Init(-1, 44100, 0, app.ui.window, nullptr);
    if (outputOk) applyMasterLevel(app);
    if (recordOk && outputOk) {
        app.s.floatFlag = FloatProbe();
        app.s.inputIndex = -1;
        app.ui.cmbInput->clear();
        for (int n = 0; const char* name = BASS_RecordGetInputName(n); ++n) {
            app.ui.cmbInput->addItem(QString::fromUtf8(name));
            if (!(BASS_RecordGetInput(n, nullptr) & BASS_INPUT_OFF)) {
                app.ui.cmbInput->setCurrentIndex(n);
                app.s.inputIndex = n;
            }
        }
    }
    app.s.capture.recBufStep = 200000;
    app.s.capture.recBuffer.clear();
    app.s.capture.recLength = 0;
}

void PerPausa(App& app) {
    if (!BASS_Init(-1, 44100, 0, app.ui.window, nullptr)) {
        Error_(app, "Can't initialize device");
        app.sys.process.end();
        return;
    }
    applyMasterLevel(app);
}

namespace {

void centreOnScreen(QWidget* window) {
    const QScreen* screen = window->screen() ? window->screen() : QGuiApplication::primaryScreen();
    if (!screen) return;
    const QRect area = screen->availableGeometry();
    const QSize size = window->frameSize().isValid() ? window->frameSize() : window->sizeHint();
    window->move(area.x() + (area.width() - size.width()) / 2,
                 area.y() + (area.height() - size.height()) / 2);
}

bool versionOk(DWORD version) {
    return (version >> 16) == kEngineVersion;
}

} // namespace

void Form_Load(App& app) {
    Session& s = app.s;
    auto& ui = app.ui;
    app.tmr.tmrPlaybackPosition->setEnabled(false);
    app.tmr.tmrMidiTest->setEnabled(false);
    call(app.hooks.createLameEncoder);
    centreOnScreen(ui.window);
    Clear(app);
    MakeDir(app);
    call(app.hooks.confload);
    call(app.hooks.lyricSurfaceInit);
    call(app.hooks.painterFontStage);
    if (!versionOk(BASS_GetVersion())) {
        app.sys.dialogs.msgBox("An incorrect version of BASS.DLL was loaded", platform::vbCritical,
                               "Velvora");
        app.sys.process.end();
        return;
    }
    if (!versionOk(BASS_FX_GetVersion())) {
        app.sys.dialogs.msgBox("An incorrect version of BASS_FX.DLL was loaded (2.4 is required)",
                               platform::vbCritical, "Velvora");
        app.sys.process.end();
        return;
    }
    BASS_SetConfig(BASS_CONFIG_FLOATDSP, 1);
    s.temposcale = 1.0f;
    BASSDLL(app);
    s.floatFlag = FloatProbe();
    s.sampleRate = 44100;
    s.effects.eqOn = vbFalse;
    call(app.hooks.spectrumInit);
    LoadSoundFont(app);
    BASS_MIDI_FontSetVolume(s.font, 0.5f);
    ZeroVariables(app);
    ui.Check1[3]->setChecked(false);
    setEnabled(ui.Check1[3], false);
    setEnabled(ui.Slider2[3], false);
    setEnabled(ui.SldMidi, false);
    app.tmr.Timer3->setEnabled(false);
    setEnabled(ui.Picture2, false);
    s.songEnded = false;
    setEnabled(ui.cmdplaystop, false);
    s.songStartedMark = false;
    s.endMarker = 0;
    s.capture.captureRate = 44100;
    s.capture.captureChannels = 2;
    s.capture.captureBits = 16;
    // A configuration saved earlier is read once more at the end of the start.
    if (s.config.configState == "OK") call(app.hooks.confload);
}

bool Form_Unload(App& app) {
    app.s.cancelFlag = 1;
    if (app.sys.dialogs.msgBox("Exit ?", boxStyle(platform::vbYesNo, platform::vbInformation),
                               "Velvora Synth") == platform::vbNo)
        return false;
    BASS_RecordFree();
    call(app.hooks.releaseCaptureBuffer);
    app.s.capture.recBuffer.clear();
    BASS_Free();
    call(app.hooks.KillTemp);
    app.sys.clock.sleep(2000);
    call(app.hooks.unloadOtherWindows);
    app.sys.process.end();
    return true;
}

void MnuExit_Click(App& app) {
    if (app.sys.dialogs.msgBox("Exit ?", boxStyle(platform::vbYesNo, platform::vbInformation), "Velvora") ==
        platform::vbNo)
        return;
    call(app.hooks.releaseCaptureBuffer);
    app.s.capture.recBuffer.clear();
    BASS_RecordFree();
    BASS_Free();
    app.tmr.Timer1->setEnabled(false);
    call(app.hooks.unloadOtherWindows);
    app.sys.process.end();
}

} // namespace velvora
