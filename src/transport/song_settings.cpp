#include "transport/song_settings.h"

#include "core/controls.h"
#include "core/files.h"
#include "core/vb_text.h"
#include "effects/effects.h"
#include "settings/song_settings.h"
#include "transport/level_controls.h"
#include "widgets/main_controls.h"

#include <QCheckBox>
#include <QLineEdit>
#include <QPushButton>
#include <QSlider>

#include <algorithm>

namespace velvora::transport {

namespace {

using settings::SongFileItems;

std::optional<SongFileItems> songFile(const App& app, const std::string& songPath) {
    return SongFileItems::open(settings::songSettingsPath(app, songPath));
}

// Sets a slider to a value read from a file, within the slider's range. No change routine runs.
int setFromFile(QSlider* slider, double value) {
    if (!slider) return 0;
    slider->setValue(settings::wholeWithin(value, slider->minimum(), slider->maximum()));
    return slider->value();
}

// Setting a box runs its click routine when its state changes.
void setBox(QCheckBox* box, bool on) {
    if (box) box->setChecked(on);
}

// Skips `count` values; false when the file ends first.
bool skip(SongFileItems& file, int count) {
    for (int i = 0; i < count; ++i)
        if (!file.text()) return false;
    return true;
}

bool equaliserFromFile(App& app, SongFileItems& file) {
    for (QSlider* band : app.ui.SldEq) {
        const auto v = file.number();
        if (!v) return false;
        setFromFile(band, *v);
    }
    return true;
}

// The count-in track: the last of the first `tracks` whose label begins with "COUNTIN"; with
// none, the index one past the last track.
int countInTrack(const App& app, int tracks) {
    int found = tracks;
    for (int i = 0; i < tracks; ++i)
        if (vb::Left(vb::UpperText(caption(app.ui.Label3[static_cast<std::size_t>(i)])), 7) == "COUNTIN")
            found = i;
    return found;
}

} // namespace

void ModMulti(App& app) {
    Session& s = app.s;
    auto& ui = app.ui;
    auto file = songFile(app, s.packageFile.empty() ? s.FileName : s.packageFile);
    if (!file || !skip(*file, 3)) return;
    const auto eqPressed = file->number();
    if (!eqPressed) return;
    if (ui.Chkequalizer) ui.Chkequalizer->setChecked(*eqPressed != 0);

    const int tracks = std::clamp<int>(s.stemCount, 0, static_cast<int>(ui.Slider2.size()));
    const int stems = std::min(tracks, static_cast<int>(s.stems.size()));
    // A package's tempo and key: a slider's value written to every track.
    auto toEveryTrack = [&](QSlider* slider, DWORD attribute) -> std::optional<int> {
        const auto line = file->number();
        if (!line) return std::nullopt;
        const int value = setFromFile(slider, *line);
        for (int i = 0; i < stems; ++i)
            BASS_ChannelSetAttribute(s.stems[static_cast<std::size_t>(i)], attribute,
                                     static_cast<float>(value));
        return value;
    };
    const auto tempo = toEveryTrack(ui.Hstempo, BASS_ATTRIB_TEMPO);
    if (!tempo) return;
    setCaption(ui.LbltKTM, std::to_string(*tempo) + "%");
    const auto pitch = toEveryTrack(ui.HscrollTempo, BASS_ATTRIB_TEMPO_PITCH);
    if (!pitch) return;
    setCaption(ui.LblToneM, std::to_string(*pitch));

    const auto master = file->number();
    if (!master) return;
    const int m = setFromFile(ui.Slider1, *master);
    BASS_ChannelSetAttribute(s.chan, BASS_ATTRIB_VOL, static_cast<float>(100 - m) / 100.0f);
    ui.TextR->setText(QString::number(m));

    if (!equaliserFromFile(app, *file)) return;
    // The equaliser comes on whatever the file says of it.
    s.effects.eqOn = vbFalse;
    effects::Chkequalizer_Click(app);

    for (int i = 0; i < tracks; ++i) {
        const auto at = static_cast<std::size_t>(i);
        const auto balance = file->number();
        if (!balance) return;
        const int b = setFromFile(ui.Slider2[at], *balance);
        if (i < stems) BASS_ChannelSetAttribute(s.stems[at], BASS_ATTRIB_VOL, static_cast<float>(b) / 127.0f);
        const auto mute = file->number();
        if (!mute) return;
        if (*mute == 0) setBox(ui.Check1[at], false);
    }
    const auto countIn = file->number();
    if (!countIn) return;
    const int track = countInTrack(app, tracks);
    if (track < static_cast<int>(ui.Check1.size()))
        setBox(ui.Check1[static_cast<std::size_t>(track)], *countIn == 1);

    app.sys.clock.sleep(1500);

    const auto compressor = file->number();
    const auto gain = file->number();
    if (!compressor || !gain) return;
    if (*compressor == 1) {
        setEnabled(ui.Sldphaser[1], true);
        setFromFile(ui.Sldphaser[1], *gain);
        setBox(ui.Chkphaser, true);
        setShown({ui.Chkphaser, ui.LblComp}, true);
    }

    const auto volume = file->number();
    if (!volume) return;
    const int v = setFromFile(ui.SldVolume, *volume);
    BASS_ChannelSetAttribute(s.chan, BASS_ATTRIB_VOL, static_cast<float>(100 - v) / 100.0f);

    const auto reverb = file->number();
    const auto level = file->number();
    if (!reverb || !level) return;
    if (*reverb == 1) {
        setEnabled(ui.Sldrev, true);
        setFromFile(ui.Sldrev, *level);
        setBox(ui.ChkRev, true);
        setShown({ui.ChkRev, ui.LblRev}, true);
    }
    file->text();
}

void ModAudio(App& app) {
    Session& s = app.s;
    auto& ui = app.ui;
    auto file = songFile(app, settings::audioSettingsSong(app));
    if (!file || !skip(*file, 1)) return;
    const auto remover = file->number();
    if (!remover) return;
    if (*remover == 1) setBox(ui.Chkrem, true);
    if (!skip(*file, 2)) return;

    const auto tempo = file->number();
    if (!tempo) return;
    setFromFile(ui.SldMp3[1], *tempo);
    SldMp3_Change(app, 1);

    const auto tone = file->number();
    if (!tone) return;
    if (vb::LCase(vb::Ext3(s.FileName)) != "cdg") {
        setFromFile(ui.SldMp3[0], *tone);
        SldMp3_Change(app, 0);
    }

    const auto volume = file->number();
    if (!volume) return;
    setFromFile(ui.SldVolume, *volume);
    SldVolume_Change(app);

    if (!skip(*file, 1) || !equaliserFromFile(app, *file)) return;
    skip(*file, 3);
}

void DefAudio(App& app) {
    const int tempo = app.ui.SldMp3[1]->value();
    BASS_ChannelSetAttribute(app.s.chan, BASS_ATTRIB_TEMPO, static_cast<float>(tempo));
    setCaption(app.ui.Lbltmp, std::to_string(tempo) + "%");
}

void modMidi(App& app) {
    Session& s = app.s;
    auto& ui = app.ui;
    auto file = songFile(app, s.FileName);
    if (!file) return;
    const auto fontPath = file->text();
    if (!fontPath) return;
    BASS_MIDI_FontFree(s.font);
    s.font = BASS_MIDI_FontInit(fontPath->c_str(), 0);
    s.soundFontPath = *fontPath;
    // A missing font falls back to the program's own, or the system's, without a word.
    for (const std::string& path :
         {resolveCaseInsensitive(app.appFolder, "chorium.SF2"), app.systemSoundFont})
        if (!s.font) s.font = BASS_MIDI_FontInit(path.c_str(), 0);
    const BASS_MIDI_FONT entry{s.font, -1, 0};
    BASS_MIDI_StreamSetFonts(0, &entry, 1);
    BASS_MIDI_StreamSetFonts(s.chan, &entry, 1);

    if (!skip(*file, 3)) return;
    const auto tempo = file->number();
    if (!tempo) return;
    setFromFile(ui.SldTempo, *tempo);
    s.tempoPresetApplied = true;

    const auto pitchLine = file->number();
    const auto levelLine = file->number();
    if (!pitchLine || !levelLine) return;
    const int pitch = settings::wholeWithin(*pitchLine, ui.Vscroll1->minimum(), ui.Vscroll1->maximum());
    // The level the sound font slider can give: 10 - Sldvol.
    const int level = 10 - settings::wholeWithin(10 - *levelLine, ui.Sldvol->minimum(), ui.Sldvol->maximum());
    BASS_MIDI_FontSetVolume(s.font, static_cast<float>(level) / 10.0f);
    ui.Sldvol->setValue(10 - level);
    ui.TextR->setText(QString::number(level));

    if (!equaliserFromFile(app, *file)) return;
    app.sys.clock.sleep(1000);

    for (DWORD channel = 0; channel < 16; ++channel)
        if (channel != 9) // the drums keep their key
            BASS_MIDI_StreamEvent(s.chan, channel, MIDI_EVENT_TRANSPOSE, static_cast<DWORD>(100 - pitch));
    ui.Vscroll1->setValue(pitch);
    setCaption(ui.LblPitch, std::to_string(pitch));

    const auto melody = file->number();
    if (!melody) return;
    // A silent melody channel offers CmdOn to bring it back, a sounding one CmdOff.
    const bool melodyOff = *melody == 0;
    setShown(ui.CmdOff, !melodyOff);
    setShown(ui.CmdOn, melodyOff);
    setEnabled(melodyOff ? ui.CmdOn : ui.CmdOff, true);
    s.midiChannelVolume = melodyOff ? 0 : 127;
    s.midiChannel = 3;
    BASS_MIDI_StreamEvent(s.chan, 3, MIDI_EVENT_VOLUME, static_cast<DWORD>(s.midiChannelVolume));
    skip(*file, 3);
}

} // namespace velvora::transport
