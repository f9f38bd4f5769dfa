#include "transport/audio_path.h"

#include "core/controller.h"
#include "core/controls.h"
#include "core/files.h"
#include "core/song_state.h"
#include "core/startup.h"
#include "effects/effects.h"
#include "karaoke/cdg_graphics.h"
#include "karaoke/lrc_reader.h"
#include "karaoke/sylt_lyrics.h"
#include "settings/song_settings.h"
#include "transport/level_controls.h"
#include "transport/midi_path.h"
#include "transport/song_open.h"
#include "transport/song_settings.h"
#include "widgets/lyricpicture.h"
#include "widgets/main_controls.h"

namespace velvora::transport {

namespace {

void commonHead(App& app) {
    auto& ui = app.ui;
    call(app.pending.NVKTagClear);
    call(app.pending.ClearNVK);
    setShown(ui.LblMidi, false);
    setShown(ui.CmdOn, false);
    setShown(ui.CmdOff, false);
    ui.Check1[3]->setChecked(false);
    setEnabled(ui.Check1[3], false);
    setEnabled(ui.Slider2[3], false);
    setEnabled(ui.SldMidi, false);
    setShown({ui.Vscroll1, ui.HscrollTempo, ui.LblToneM, ui.LblPitch, ui.Sldvol, ui.Cmd_play}, false);
    setShown({ui.SldMp3[0], ui.SldMp3[1], ui.LblTone, ui.SldVolume, ui.CmdStw, ui.CmdPlw}, true);
    setEnabled(ui.SldTempo, false);
    ui.Picture3->cls();
    setEnabled(ui.Chkrem, true);
    setEnabled(ui.CmdStw, false);
    setEnabled(ui.CmdRec, true);
    setEnabled(ui.Cmd_play, false);
    dismenu(app);
}

void packageBranch(App& app) {
    Session& s = app.s;
    auto& ui = app.ui;
    setShown(ui.LblNVK, true);
    setShown(ui.LblMp3, false);
    setShown(ui.LblMidi, false);
    setEnabled(ui.Chkrem, false);
    ui.Picture3->cls();
    app.tmr.tmrSYLTmp3->setEnabled(false);

    // The lyric of the members left by the previous pass is looked for before they are deleted.
    const std::string lyric = joinPath(app.appFolder, "TMPK/LIRICA.LRC");
    if (EsisteFile(lyric)) {
        app.s.timing.lyricFilePath = lyric;
        // The text of this song alone: a replay or the next package reads its own lyric anew.
        app.s.timing.lyricFileText.clear();
        app.s.timing.lyricFileLines.clear();
        bool read = false;
        karaoke::Chargement_Paroles(app, read);
        karaoke::Show_Lyrics(app, app.s.timing.lyricFileText);
        app.tmr.PlayTimer->setEnabled(true);
    }
    effects::Sldphaser_Change(app, 1);
    setShown(ui.Chkphaser, true);
    setShown(ui.ChkRev, true);
    setShown(ui.LblComp, true);

    // From here a failing step is passed over.
    BASS_Free();
    deleteFiles(joinPath(app.appFolder, "TMPK"), "*.*");
    PerPausa(app);
    if (app.sys.process.ended()) return;
    call(app.pending.Decrypt);
    if (s.stemCount == 3) {
        ui.Slider2[2]->setValue(127);
        ui.Check1[2]->setChecked(true);
        karaoke::SyltContrM(app, joinPath(app.appFolder, "TMPK/" + s.trackFile[2]));
        if (s.syltPending) {
            karaoke::Mp3SyltM(app);
            app.tmr.Timer1->setEnabled(true);
            app.tmr.tmrSYLTmp3->setEnabled(true);
        }
    }
    setShown(ui.HscrollTempo, true);
    setShown(ui.LblToneM, true);
    setShown({ui.Vscroll1, ui.LblPitch, ui.SldMp3[1], ui.LblTone, ui.SldVolume, ui.Sldvol}, false);
    app.tmr.tmrSpectrum->setEnabled(true);
    LayoutPackage(app);

    setEndSync(app);
    const DWORD first = s.stems[0];
    const double seconds = BASS_ChannelBytes2Seconds(first, BASS_ChannelGetLength(first, BASS_POS_BYTE));
    s.songSeconds = seconds > 0 ? static_cast<std::int32_t>(seconds) : 0;
    ui.Sldposition->setMaximum(s.songSeconds);
    ui.Sldposition->setValue(0);
    app.tmr.tmrMidiTest->setEnabled(true);
    app.tmr.TimTps->setEnabled(true);
    setCaption(ui.lblTime, minutesSeconds(s.songSeconds));

    if (s.songFresh) {
        // First pass: armed, not started.
        s.songFresh = false;
        setEnabled(ui.CmdPlw, true);
        s.packageFile = s.FileName;
        return;
    }
    s.songTitle = titleOf(s.FileName);
    setCaption(ui.LabelSongLength, s.songTitle);
    // The effects left on hold on the new song: a ticked compressor goes onto the new mixer (before
    // the song's settings, whose tick of the box then changes nothing), and a pressed equaliser
    // onto the new voice track unless the settings have just put it there.
    effects::Chkphaser_Click(app);
    if (FileExists(settings::songSettingsPath(app, s.FileName))) ModMulti(app);
    if (ui.Chkequalizer->isChecked() && s.effects.eqOn == vbFalse) effects::Chkequalizer_Click(app);
    setEnabled(ui.CmdMidi, true);
    if (ui.Chkequalizer->isChecked()) effects::vcompr_Change(app, 0);
    SldVolume_Change(app);
    for (int i = 0; i < 3; ++i) Slider2_Change(app, i);
    s.lyricPos = 0;
    call(app.pending.NVKTag);
    call(app.pending.NVKLEGGO_FILE);
    BASS_ChannelPlay(s.chan, 0);
    showSongState(app, SongState::PackagePlaying);
}

void audioBranch(App& app) {
    Session& s = app.s;
    auto& ui = app.ui;
    setShown(ui.LblNVK, false);
    setShown(ui.LblMidi, false);
    setShown(ui.LblMp3, true);
    ui.Check1[3]->setChecked(false);
    setEnabled(ui.wavp3, false);
    setEnabled(ui.Slider2[3], false);
    setEnabled(ui.SldMidi, false);
    setEnabled(ui.Check1[3], false);
    ui.TextR->setText("5");
    ui.Picture3->cls();
    BASS_StreamFree(s.chan);
    s.songTitle = titleOf(s.FileName);
    setCaption(ui.LabelSongLength, s.songTitle);
    s.lyricPos = 0;
    if (isCdgSong(s.FileName)) {
        // The graphics are the song's lyrics: its MP3's tag is not read for words.
        app.tmr.Timer1->setEnabled(false);
        app.tmr.tmrSYLTmp3->setEnabled(false);
        karaoke::LoadCdgGraphics(app);
    } else {
        karaoke::Load_File_Tags(app);
    }
    if (!s.hasTagLyrics && !s.cdgGraphics) {
        karaoke::SyltContr(app);
        if (s.syltPending) karaoke::Mp3Sylt(app);
    }
    // Stop belongs to a playing song: the pass made by the open leaves it off, as the Ready
    // state has it.
    if (!s.songFresh) setEnabled(ui.CmdStw, true);
}

} // namespace

void PlayAudio(App& app) {
    commonHead(app);
    if (isPackageSong(app.s.FileName))
        packageBranch(app);
    else
        audioBranch(app);
}

} // namespace velvora::transport
