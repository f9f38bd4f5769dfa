#include "transport/playlist.h"

#include "core/controller.h"
#include "core/controls.h"
#include "core/files.h"
#include "core/vb_text.h"
#include "transport/song_open.h"
#include "widgets/lyricpicture.h"
#include "widgets/main_controls.h"

namespace velvora::transport {

void CmdEx_Click(App& app) {
    Session& s = app.s;
    if (!s.explorerOpen) {
        Plmenu_Click(app);
        s.explorerOpen = true;
    } else {
        s.explorerOpen = false;
        setEnabled(app.ui.CmdCarica, true);
        call(app.hooks.hideExplorer);
    }
}

void menuwave_Click(App& app) {
    Session& s = app.s;
    auto& ui = app.ui;
    ui.Picture3->cls();
    s.dialogFileName.clear();
    setEnabled(ui.Chkrem, true);
    ui.Picture3->cls();
    platform::FileDialogRequest request;
    request.defaultExt = ".mpl";
    request.filter = "Wave Files (*.wav)|*.wav|Mp3 Files (*.mp3)|*.mp3";
    request.flags = platform::ofnOverwritePrompt;
    const std::optional<std::string> chosen = app.sys.dialogs.openFile(request);
    if (!chosen) return;
    // The choice only reaches the dialog's file name, which the audio road's last resort reads;
    // the song in hand stays what it was.
    s.dialogFileName = *chosen;
    setEnabled(ui.CmdPlw, true);
    setEnabled(ui.CmdStw, false);
    setEnabled(ui.CmdRec, false);
    setEnabled(ui.Cmd_play, false);
    setCaption(ui.LabelSongLength, GetFileName(s.FileName));
    dismenu(app);
    if (!s.FileName.empty() && vb::Right(s.FileName, 3) != "mpl") {
        abilita(app);
        s.recordArmed = false;
        setEnabled(ui.CmdPlw, true);
    }
}

} // namespace velvora::transport
