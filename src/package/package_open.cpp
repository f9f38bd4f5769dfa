#include "package/package_open.h"

#include "core/controls.h"
#include "core/files.h"
#include "core/mod_bass.h"
#include "core/vb_text.h"
#include "engine/api.h"
#include "package/zip_archive.h"
#include "widgets/main_controls.h"

#include <QApplication>
#include <QTimer>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace velvora::package {
namespace fs = std::filesystem;

namespace {

constexpr DWORD kMixerUntilEnd = 0x30000; // BASS_MIXER_END | BASS_MIXER_NONSTOP
constexpr DWORD kDecodeFloat = BASS_STREAM_DECODE | BASS_SAMPLE_FLOAT;
constexpr std::size_t kTitleWidths[] = {9, 18, 13, 15, 11};

std::array<QLabel*, 5> titleLabels(App& app) {
    auto& ui = app.ui;
    return {ui.NVKTitle, ui.NVKArtista, ui.NVKEditore, ui.NVKDisco, ui.NVKTono};
}

} // namespace

bool isPackageName(const std::string& path) {
    std::string tail = vb::Right(path, 3);
    std::transform(tail.begin(), tail.end(), tail.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return tail == "NVK";
}

std::array<std::string, 9> readInfoItems(const std::string& text) {
    std::array<std::string, 9> items{};
    std::size_t at = 0;
    auto lineEnd = [&](std::size_t i) { return text[i] == '\r' || text[i] == '\n'; };
    for (std::size_t item = 1; item <= 8 && at < text.size(); ++item) {
        while (at < text.size() && (text[at] == ' ' || text[at] == '\t')) ++at;
        std::string value;
        if (at < text.size() && text[at] == '"') {
            std::size_t close = text.find('"', at + 1);
            if (close == std::string::npos) close = text.size();
            value = text.substr(at + 1, close - at - 1);
            at = close + 1;
            while (at < text.size() && text[at] != ',' && !lineEnd(at)) ++at;
        } else {
            std::size_t end = at;
            while (end < text.size() && text[end] != ',' && !lineEnd(end)) ++end;
            value = text.substr(at, end - at);
            while (!value.empty() && (value.back() == ' ' || value.back() == '\t')) value.pop_back();
            at = end;
        }
        // The delimiter: a comma, or a line end with CR LF taken as one.
        if (at < text.size()) {
            if (text[at] == '\r' && at + 1 < text.size() && text[at + 1] == '\n') ++at;
            ++at;
        }
        items[item] = value;
    }
    return items;
}

void Decrypt(App& app) {
    Session& s = app.s;
    PackageState& p = s.package;
    auto& ui = app.ui;
    setEnabled(ui.wavp3, false);
    p.scanName.clear();
    s.stemCount = 0;
    p.scanStarted = false;
    setShown(ui.Hstempo, true);
    setShown(ui.SldTempo, false);
    app.tmr.tmrSpectrum->setEnabled(false);
    app.sys.process.setCurrentFolder(app.appFolder);

    // A file that is no archive, or whose members cannot all be unpacked, ends here with no tracks.
    QApplication::setOverrideCursor(Qt::WaitCursor);
    ZipArchive archive;
    bool unpacked = archive.openArchive(s.FileName);
    if (unpacked) {
        archive.setBaseFolder(joinPath(app.appFolder, "TMPK"));
        unpacked = archive.extractFiles("*.*");
        archive.closeArchive();
    }
    QApplication::restoreOverrideCursor();
    if (!unpacked) return;

    s.chan = BASS_Mixer_StreamCreate(44100, 2, kMixerUntilEnd);
    p.nvkFolder = joinPath(app.appFolder, "TMPK");
    std::vector<std::string> names;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(p.nvkFolder, ec))
        names.push_back(entry.path().filename().string());
    // In the order a folder listing gives on the system the packages come from: alphabetical, any case.
    std::sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
        return QString::fromStdString(a).compare(QString::fromStdString(b), Qt::CaseInsensitive) < 0;
    });
    for (const std::string& name : names) {
        p.scanName = name;
        p.scanStarted = true;
        const std::string ext = vb::Right(name, 3);
        if (ext == "txt" || ext == "LRC" || name.empty()) continue;
        // The mixer has three places; further tracks stay on disk, unplayed.
        if (s.stemCount >= static_cast<std::int16_t>(s.stems.size())) break;
        const auto i = static_cast<std::size_t>(s.stemCount);
        s.trackFile[i] = name;
        s.channelStrip[i].Volume = 27;
        ui.Slider2[i]->setValue(27);
        setEnabled(ui.Check1[i], true);
        ui.Check1[i]->setChecked(true);
        const HSTREAM file = modBass::StreamCreateFile(joinPath(p.nvkFolder, name), kDecodeFloat);
        s.stems[i] = BASS_FX_TempoCreate(file, BASS_STREAM_DECODE | BASS_FX_FREESOURCE);
        BASS_Mixer_StreamAddChannel(s.chan, s.stems[i], 0);
        ++s.stemCount;
    }
}

void NVKTag(App& app) {
    for (QLabel* label : titleLabels(app)) {
        setShown(label, true);
        setCaption(label, "");
    }
}

void NVKTagClear(App& app) {
    for (QLabel* label : titleLabels(app)) {
        setShown(label, false);
        setCaption(label, "");
    }
}

void NVKLEGGO_FILE(App& app) {
    Session& s = app.s;
    std::string name = GetFileName(s.FileName);
    name = name.size() > 4 ? name.substr(0, name.size() - 4) : std::string();
    s.songTitle = name;
    // A package saved under another name than its title has no such text: the labels stay blank.
    std::ifstream in(joinPath(app.appFolder, "TMPK/" + name + ".txt"), std::ios::binary);
    if (!in) return;
    const std::string text{std::istreambuf_iterator<char>(in), {}};
    s.package.nvkInfo = readInfoItems(text);
    const auto labels = titleLabels(app);
    for (std::size_t i = 0; i < labels.size(); ++i)
        setCaption(labels[i], s.package.nvkInfo[i + 1] + std::string(kTitleWidths[i], ' '));
}

void ClearNVK(App& app) {
    auto& ui = app.ui;
    for (QLineEdit* field : {ui.Title, ui.Artist, ui.Yizear, ui.GENERE}) field->setText(QString());
    setCaption(ui.LblTone, "0");
    ui.HscrollTempo->setValue(0);
    setShown(ui.LblNVK, false);
    setEnabled(ui.BtnMix, false);
    setShown({ui.Chkphaser, ui.ChkRev, ui.LblComp}, false);
    setEnabled(ui.Sldphaser[1], false);
    ui.Sldphaser[1]->setValue(0);
    setEnabled(ui.Sldrev, false);
    ui.Sldrev->setValue(20);
    for (std::size_t i = 0; i < 3; ++i) {
        ui.Slider2[i]->setValue(50);
        ui.Check1[i]->setChecked(false);
    }
}

void KillTemp(App& app) {
    for (const char* file : {"LiveTrack.wav", "BackingTrack.wav", "syncro.LRC."})
        deleteFiles(app.appFolder, file);
    deleteFiles(joinPath(app.appFolder, "TKKK"), "*.*");
    deleteFiles(joinPath(app.appFolder, "TMPK"), "*.*");
}

bool CntrNVK(App& app, ZipArchive& archive) {
    Session& s = app.s;
    auto& ui = app.ui;
    archive.setPassword("Marbello_47");
    archive.openArchive(s.FileName);
    const int n = archive.entryCount();
    for (int i = 0; i < n; ++i) s.package.nvkValid = archive.checkEntry(i);
    if (s.package.nvkValid) return true;
    QApplication::restoreOverrideCursor();
    app.sys.dialogs.msgBox("File NVK non Valido", platform::vbOKOnly, "");
    archive.closeArchive();
    setEnabled(ui.CmdPlw, false);
    setEnabled(ui.CmdCarica, true);
    ui.Slider2[1]->setValue(127);
    setEnabled(ui.CmdRec, false);
    return false;
}

} // namespace velvora::package
