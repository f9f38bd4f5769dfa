#include "settings/song_settings.h"

#include "core/controller.h"
#include "core/files.h"
#include "core/vb_text.h"
#include "settings/text_file.h"
#include "widgets/main_controls.h"

#include <QCheckBox>
#include <QPushButton>
#include <QSlider>

#include <algorithm>
#include <cmath>

namespace velvora::settings {

namespace {

// The longest layout is 27 short lines; a head this size holds any file of ours, a sound font
// path included, and bounds what a damaged file costs.
constexpr std::size_t kHeadBytes = 64 * 1024;

// Builds a file one line at a time, each line ended by CR LF.
class Lines {
  public:
    Lines& number(double v) { return put(vb::PrintNumber(v)); }
    Lines& zeros(int count) {
        for (int i = 0; i < count; ++i) number(0);
        return *this;
    }
    Lines& word(bool v) { return put(v ? "True" : "False"); }
    Lines& put(const std::string& line) {
        text_ += line + "\r\n";
        return *this;
    }
    Lines& slider(const QSlider* s) { return number(s ? s->value() : 0); }
    Lines& equaliser(const App& app) {
        for (const QSlider* band : app.ui.SldEq) slider(band);
        return *this;
    }
    const std::string& text() const { return text_; }

  private:
    std::string text_;
};

bool pressed(const QAbstractButton* b) {
    return b && b->isChecked();
}

std::string save(App& app, const std::string& songPath, const std::string& text) {
    return replaceFile(songSettingsPath(app, songPath), text);
}

} // namespace

std::string songSettingsPath(const App& app, const std::string& songPath) {
    return resolveCaseInsensitive(app.appFolder, "SongCustom/" + GetFileName(songPath) + ".txt");
}

std::string audioSettingsSong(const App& app) {
    return app.s.songArchive.empty() ? app.s.FileName : app.s.songArchive;
}

std::string multiText(const App& app) {
    const auto& ui = app.ui;
    const int tracks = std::clamp<int>(app.s.stemCount, 0, static_cast<int>(ui.Slider2.size()));
    Lines f;
    f.zeros(3).word(pressed(ui.Chkequalizer)).slider(ui.Hstempo).slider(ui.HscrollTempo).slider(ui.Slider1);
    f.equaliser(app);
    for (int i = 0; i < tracks; ++i) {
        const auto at = static_cast<std::size_t>(i);
        f.slider(ui.Slider2[at]).number(pressed(ui.Check1[at]) ? 1 : 0);
    }
    f.number(0); // the count-in track comes up muted
    f.number(pressed(ui.Chkphaser) ? 1 : 0).slider(ui.Sldphaser[1]).slider(ui.SldVolume);
    const int reverb = pressed(ui.ChkRev) ? 1 : 0;
    f.number(reverb).slider(ui.Sldrev).number(reverb);
    return f.text();
}

std::string audioText(const App& app) {
    const auto& ui = app.ui;
    Lines f;
    f.word(pressed(ui.Chkequalizer)).number(pressed(ui.Chkrem) ? 1 : 0).zeros(2);
    f.slider(ui.SldMp3[1]).slider(ui.SldMp3[0]).slider(ui.SldVolume).zeros(1);
    f.equaliser(app).zeros(3);
    return f.text();
}

std::string midiText(const App& app) {
    const auto& ui = app.ui;
    Lines f;
    f.put(app.s.soundFontPath).zeros(3);
    f.slider(ui.SldTempo).slider(ui.Vscroll1).number(10 - ui.Sldvol->value());
    f.equaliser(app).number(app.s.midiChannelVolume);
    for (int i = 0; i < 3; ++i) f.slider(ui.Vscroll1);
    return f.text();
}

std::string SaveMulti(App& app) {
    return save(app, app.s.packageFile, multiText(app));
}

std::string SaveAudio(App& app) {
    return save(app, audioSettingsSong(app), audioText(app));
}

std::string SaveMidi(App& app) {
    return save(app, app.s.FileName, midiText(app));
}

void CmdMidi_Click(App& app) {
    const Session& s = app.s;
    if (s.FileName.empty()) return;
    const bool package = vb::UCase(vb::Ext3(s.packageFile)) == "NVK";
    const bool midi = !package && isMidiSong(s.FileName);
    const std::string problem = package ? SaveMulti(app) : midi ? SaveMidi(app) : SaveAudio(app);
    if (!problem.empty())
        app.sys.dialogs.msgBox(problem, platform::vbExclamation, "Velvora");
    else if (!midi)
        app.sys.dialogs.msgBox("Done!", platform::vbInformation, "Velvora");
}

SongFileItems::SongFileItems(std::string_view text) {
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string_view::npos) end = text.size();
        std::string_view line = text.substr(start, end - start);
        start = end + 1;
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        if (vb::Trim(line).empty()) continue;
        for (std::string& item : vb::SplitWriteLine(line)) items_.push_back(std::move(item));
    }
}

std::optional<SongFileItems> SongFileItems::open(const std::string& path) {
    auto head = readFileHead(path, kHeadBytes);
    if (!head) return std::nullopt;
    if (head->cut) {
        // The last line may have been cut in two: only whole lines count.
        const std::size_t lastEnd = head->text.find_last_of('\n');
        head->text.resize(lastEnd == std::string::npos ? 0 : lastEnd + 1);
    }
    return SongFileItems(head->text);
}

std::optional<std::string> SongFileItems::text() {
    if (next_ >= items_.size()) return std::nullopt;
    return items_[next_++];
}

std::optional<double> SongFileItems::number() {
    const auto t = text();
    if (!t) return std::nullopt;
    return vb::Val(*t);
}

int wholeWithin(double value, int lo, int hi) {
    if (std::isnan(value)) value = 0;
    return static_cast<int>(
        std::nearbyint(std::clamp(value, static_cast<double>(lo), static_cast<double>(hi))));
}

} // namespace velvora::settings
