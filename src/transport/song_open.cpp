#include "transport/song_open.h"

#include "core/controller.h"
#include "core/controls.h"
#include "core/files.h"
#include "core/mod_bass.h"
#include "core/song_state.h"
#include "core/startup.h"
#include "core/vb_text.h"
#include "karaoke/word_extraction.h"
#include "package/cdg_zip.h"
#include "settings/app_settings.h"
#include "transport/audio_path.h"
#include "transport/midi_path.h"
#include "widgets/lyricpicture.h"
#include "widgets/main_controls.h"

#include <filesystem>

namespace velvora::transport {

namespace {

// Queued re-opens as Reopen does, with the song in hand replaced by the explorer's queued one; it
// has no entry guard, and since the song before may be of another kind, it lays the controls out
// for the kind and shows the whole ready state, as Load does.
enum class Road { Load, Menu, Reopen, Queued };

// The roads that keep the song in hand instead of asking for a file.
bool reopens(Road road) {
    return road == Road::Reopen || road == Road::Queued;
}

const char* const kLoadFilter = "Files (mid/midi/kar/mp3/NVK/wav)|*.mid;*.midi;*.kar;*.mp3;*.NVK;*.wav"
                                "|CD+G songs (cdg/zip)|*.cdg;*.zip";
const char* const kMenuFilter = "MIDI files (mid/midi/kar/mp3/wav)|*.mid;*.midi;*.kar;*.mp3;*.wav";

void neutralControls(App& app, Road road) {
    if (road != Road::Load) {
        neutralKeyAndTempo(app);
        return;
    }
    neutralTonesAndTempos(app);
    app.ui.Chkrem->setChecked(false);
}

// The MIDI branch of an open: scan the file, build the play stream with its syncs.
void openMidi(App& app, Road road) {
    Session& s = app.s;
    auto& ui = app.ui;
    if (road == Road::Load) call(app.hooks.NVKTagClear);
    if (road == Road::Load) setEnabled(ui.CmdMidi, false);
    setEnabled(ui.CmdRec, true);
    BASS_StreamFree(s.chan);
    setEnabled(ui.Chkrem, false);
    karaoke::GetKaraoke(app);
    s.chan = modBass::MIDI_StreamCreateFile(s.FileName, BASS_STREAM_AUTOFREE, 44100);
    if (!s.chan) {
        Error_(app, "Can't play the file");
        return;
    }
    showMidiLength(app);
    s.lyrics.clear();
    setMidiSyncs(app);
    if (road == Road::Reopen) {
        // The song in hand again: Load stays as it stands.
        setEnabled(ui.Cmd_play, true);
        setShown(ui.Cmd_play, true);
    } else {
        showSongState(app, SongState::MidiReady);
    }
    s.songTitle = titleOf(s.FileName);
    setCaption(ui.LabelSongLength, s.songTitle);
    for (ChannelInfo& c : s.channelStrip) c.first = 0;
    ui.Slider2[3]->setValue(0);
    setEnabled(ui.Slider2[3], false);
    setEnabled(ui.SldMidi, false);
    ui.SldMidi->setValue(0);
    if (road == Road::Load || road == Road::Queued) {
        LayoutMidi(app);
        setShown(ui.Hstempo, false);
        setShown(ui.SldTempo, true);
        setEnabled(ui.SldTempo, true);
    }
    if (s.FileName.empty()) return;
    s.midiLoaded = true;
    setShown(ui.LblMidi, true);
    setShown(ui.CmdOn, true);
    setShown(ui.CmdOff, false);
}

bool isZipArchive(const std::string& path) {
    return vb::LCase(vb::Ext3(path)) == "zip";
}

// The dialog's road when nothing is opened; a queued song that cannot be opened leaves the window
// as Load does.
void leaveUnopened(App& app, Road road) {
    auto& ui = app.ui;
    if (road == Road::Load || road == Road::Queued) {
        showSongState(app, SongState::Empty);
        setEnabled(ui.BtnMix, false);
        setEnabled(ui.MnuOpenSong, true);
    } else {
        // The menu road leaves Load as it stands: off, so only the menu can try again.
        setEnabled(ui.Cmd_play, false);
    }
}

// A CD+G song is its graphics file with the MP3 of the same name beside it; the song is named by
// the graphics file, so either of the two chosen gives the same song. A ZIP file holding the two
// is unpacked into the program's own CDGZIP folder and the song is the graphics file there; the
// archive is kept as `songArchive`. A graphics file alone, or a ZIP file that holds no such pair,
// is refused with a box; the chosen file becomes "".
std::string songOfChosen(App& app, const std::string& chosen) {
    if (isZipArchive(chosen)) {
        std::string problem;
        const std::string graphics =
            package::UnpackCdgSong(chosen, std::filesystem::path(app.appFolder) / "CDGZIP", problem);
        if (graphics.empty())
            app.sys.dialogs.msgBox("The ZIP file " + GetFileName(chosen) +
                                       " holds no CD+G song to open: it " + problem + ".",
                                   platform::vbExclamation, "Velvora");
        else
            app.s.songArchive = chosen;
        return graphics;
    }
    if (isCdgSong(chosen)) {
        if (!songAudioFile(chosen).empty()) return chosen;
        app.sys.dialogs.msgBox("The CD+G file " + GetFileName(chosen) +
                                   " has no MP3 of the same name beside it: the song cannot be opened.",
                               platform::vbExclamation, "Velvora");
        return {};
    }
    if (vb::LCase(vb::Ext3(chosen)) == "mp3") {
        const std::string graphics = twinBeside(chosen, ".cdg");
        if (!graphics.empty()) return graphics;
    }
    return chosen;
}

// `given`, when there is one, stands for the dialog's answer and the dialog is not shown.
void open(App& app, Road road, const std::string* given = nullptr) {
    Session& s = app.s;
    auto& ui = app.ui;
    if (road == Road::Reopen && !s.recordArmed) {
        call(app.hooks.showExplorer);
        return;
    }
    if (road == Road::Load) setEnabled(ui.MnuOpenSong, false);
    if (!reopens(road)) setEnabled(ui.CmdCarica, false);
    if (road == Road::Load) setCaption(ui.LblPrenota, "");
    if (road != Road::Menu) settings::visionLoad(app);
    if (road == Road::Load) s.levelsTouched = false;
    s.songFresh = true;
    ui.Picture3->cls();
    // The lyric text read for the song before goes with it.
    s.timing.lyricFileText.clear();
    s.timing.lyricFileLines.clear();
    neutralControls(app, road);
    if (road == Road::Load) call(app.hooks.NVKTagClear);
    Clear(app);
    s.cdgGraphics.reset();
    s.midiLoaded = false;
    setEnabled(ui.CmdPlw, false);
    setEnabled(ui.CmdStw, false);
    setEnabled(ui.CmdRec, false);
    setEnabled(ui.Chkrem, false);
    s.recordArmed = false;
    s.songEnded = false;
    s.playStarted = false;
    s.songStartedMark = false;
    s.songFresh = true;
    if (!reopens(road)) s.FileName.clear();
    if (road != Road::Reopen) s.songArchive.clear();
    if (!reopens(road)) settings::visionLoad(app); // the menu road's one, at each open
    setEnabled(ui.Cmd_play, false);

    // From here a failing step is passed over and the next one runs.
    call(app.hooks.KillTemp);
    if (s.pauseUsed) {
        s.pauseUsed = false;
        BASS_Free();
        PerPausa(app);
        if (app.sys.process.ended()) return;
    }
    app.sys.process.setCurrentFolder(app.appFolder);
    ui.Vscroll1->setValue(0);
    if (road == Road::Load) s.packageFile.clear();

    if (!reopens(road)) {
        s.FileName.clear();
        platform::FileDialogRequest request;
        request.title = road == Road::Load ? "Load File" : "Load Midifile";
        request.filter = road == Road::Load ? kLoadFilter : kMenuFilter;
        request.flags = platform::ofnExplorer | platform::ofnFileMustExist | platform::ofnHideReadOnly;
        request.initialFolder = s.dialogFolder;
        const std::optional<std::string> chosen = given ? *given : app.sys.dialogs.openFile(request);
        const std::string song = chosen ? songOfChosen(app, *chosen) : std::string();
        if (song.empty()) {
            leaveUnopened(app, road);
            return;
        }
        // The next dialog opens where the chosen file lies, not in the program's own folder.
        s.dialogFolder = std::filesystem::path(*chosen).parent_path().string();
        s.dialogFileName = song;
        ui.LyricsRef->clear();
        s.hasTagLyrics = false;
        s.FileName = song;
    } else if (road == Road::Queued && isZipArchive(s.FileName)) {
        // A queued ZIP file is unpacked as the Load dialog's choice would be.
        s.FileName = songOfChosen(app, s.FileName);
        if (s.FileName.empty()) {
            leaveUnopened(app, road);
            return;
        }
    }

    if (!isMidiSong(s.FileName)) {
        if (road == Road::Reopen) {
            // The song in hand is not prepared again: only its Play button comes back.
            setEnabled(ui.CmdPlw, true);
            return;
        }
        PlayAudio(app);
        showSongState(app, isPackageSong(s.FileName) ? SongState::PackageReady : SongState::AudioReady);
        if (road == Road::Load) s.midiStreamStale = true;
        return;
    }
    openMidi(app, road);
}

} // namespace

std::string minutesSeconds(long long seconds) {
    if (seconds < 0) seconds = 0;
    return std::to_string(seconds / 60) + ":" + vb::Format(static_cast<double>(seconds % 60), "00");
}

std::string titleOf(const std::string& fileName) {
    const std::string name = GetFileName(fileName);
    return name.size() > 4 ? name.substr(0, name.size() - 4) : std::string();
}

void CmdCarica_Click(App& app) {
    open(app, Road::Load);
}
void MnuOpenSong_Click(App& app) {
    open(app, Road::Menu);
}
void Plmenu_Click(App& app) {
    open(app, Road::Reopen);
}
void openChosenSong(App& app, const std::string& path) {
    open(app, Road::Load, &path);
}

bool OpenQueued(App& app, const std::string& fileName) {
    Session& s = app.s;
    if (s.midiActive || app.ui.CmdStw->isEnabled()) {
        app.sys.dialogs.msgBox("PREMI STOP", platform::vbQuestion, "Velvora");
        return false;
    }
    s.FileName = fileName;
    open(app, Road::Queued);
    return true;
}

} // namespace velvora::transport
