#include "core/controller.h"

#include "core/controls.h"
#include "core/files.h"
#include "core/vb_text.h"
#include "widgets/main_controls.h"

#include <filesystem>
#include <system_error>

namespace velvora {

bool isMidiSong(const std::string& fileName) {
    const std::string ext = vb::LCase(vb::Ext3(fileName));
    return ext == "mid" || ext == "kar";
}

bool isPackageSong(const std::string& fileName) {
    return vb::UCase(vb::Ext3(fileName)) == "NVK";
}

bool isCdgSong(const std::string& fileName) {
    return vb::LCase(vb::Ext3(fileName)) == "cdg";
}

std::string songAudioFile(const std::string& fileName) {
    return isCdgSong(fileName) ? twinBeside(fileName, ".mp3") : fileName;
}

void dmenu(App& app) {
    setEnabled(app.ui.MnuOpenSong, false);
    setEnabled(app.ui.CmdCarica, false);
    setEnabled(app.ui.mnew, false);
}

void dismenu(App& app) {
    setEnabled(app.ui.MnuFile, false);
    setEnabled(app.ui.mnutil, false);
    setEnabled(app.ui.cvmenu, false);
}

void enamenu(App& app) {
    setEnabled(app.ui.MnuFile, true);
    setEnabled(app.ui.mnutil, true);
    setEnabled(app.ui.cvmenu, true);
    setEnabled(app.ui.wavp3, true);
    setEnabled(app.ui.CmdCarica, true);
    setEnabled(app.ui.MnuOpenSong, true);
}

namespace {

enum class Kind { Midi, Package, Audio };

// The block the three layouts share: every tempo, key and tone control to neutral, the
// equaliser off and flat.
void neutralControls(App& app) {
    auto& ui = app.ui;
    neutralTonesAndTempos(app);
    app.s.effects.eqOn = vbFalse;
    setShown(ui.PicEq, false);
    for (int band = 0; band < 7; ++band) {
        ui.SldEq[static_cast<std::size_t>(band)]->setValue(0);
        if (app.hooks.SldEq_Change) app.hooks.SldEq_Change(band);
    }
}

void layout(App& app, Kind kind) {
    neutralControls(app);
    auto& ui = app.ui;
    const bool audio = kind == Kind::Audio, midi = kind == Kind::Midi, package = kind == Kind::Package;
    setShown(ui.SldMp3[0], audio);
    setShown(ui.LblTone, audio);
    setShown(ui.SldMp3[1], audio);
    setShown(ui.Lbltmp, audio);
    setShown(ui.Vscroll1, midi);
    setShown(ui.LblPitch, midi);
    setShown(ui.SldTempo, midi);
    setShown(ui.LblTempo, midi);
    setShown(ui.Hstempo, package);
    setShown(ui.LbltKTM, package);
    setShown(ui.HscrollTempo, package);
    setShown(ui.LblToneM, package);
}

} // namespace

void neutralTonesAndTempos(App& app) {
    auto& ui = app.ui;
    ui.SldMp3[0]->setValue(0);
    setCaption(ui.LblTone, "0");
    ui.SldMp3[1]->setValue(0);
    setCaption(ui.Lbltmp, "0%");
    ui.Vscroll1->setValue(0);
    setCaption(ui.LblPitch, "0");
    ui.SldTempo->setValue(10);
    setCaption(ui.LblTempo, "0%");
    ui.Hstempo->setValue(0);
    setCaption(ui.LbltKTM, "0%");
    ui.HscrollTempo->setValue(0);
    setCaption(ui.LblToneM, "0");
}

void neutralKeyAndTempo(App& app) {
    auto& ui = app.ui;
    ui.SldMp3[1]->setValue(0);
    setCaption(ui.LblTone, "0");
    ui.Chkrem->setChecked(false);
    ui.Vscroll1->setValue(0);
    setCaption(ui.LblPitch, "0");
    ui.SldTempo->setValue(10);
    setCaption(ui.LblTempo, "0%");
}

void LayoutMidi(App& app) {
    layout(app, Kind::Midi);
}
void LayoutPackage(App& app) {
    layout(app, Kind::Package);
}
void LayoutAudio(App& app) {
    layout(app, Kind::Audio);
}

void ZeroVariables(App& app) {
    Session& s = app.s;
    s.lyricPos = 0;
    s.words.wordList.assign(1, WordRec{});
    s.words.shownLines.assign(1, std::string());
    s.words.lyricLines.assign(1, std::string());
    for (ChannelInfo& c : s.channelStrip) c = ChannelInfo{};
    app.ui.Slider2[3]->setValue(0);
    setEnabled(app.ui.Slider2[3], false);
    app.ui.SldMidi->setValue(0);
    setEnabled(app.ui.SldMidi, false);
    setEnabled(app.ui.Check1[3], false);
}

void applyMasterLevel(App& app) {
    BASS_SetVolume(static_cast<float>(10 - app.ui.Slider1->value()) / 10.0f);
}

void abilita(App& app) {
    app.tmr.Timer3->setEnabled(false);
    app.s.recordBlink = 0;
    setEnabled(app.ui.Picture2, false);
    setEnabled(app.ui.Cmd_play, false);
    setEnabled(app.ui.Cmd_Stop, false);
    app.s.songEnded = false;
    std::error_code ec;
    std::filesystem::remove(joinPath(app.appFolder, "LiveTrack.wav"), ec);
}

} // namespace velvora
