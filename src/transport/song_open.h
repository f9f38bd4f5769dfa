// Bringing a song from a file on disk to a Ready state: the Load button, the older menu road,
// and re-opening the song in hand.
#pragma once

#include "core/app.h"

namespace velvora::transport {

void CmdCarica_Click(App& app);
void MnuOpenSong_Click(App& app);
void Plmenu_Click(App& app);
// The Load button's road with `path` as the file chosen in its dialog, which is not shown.
void openChosenSong(App& app, const std::string& path);
// The explorer's "play next": `fileName` becomes the song in hand and is opened the way
// Plmenu_Click re-opens it. While a song plays it shows "PREMI STOP", changes nothing and returns
// false, as the Play button of the other kind does. A ZIP file is unpacked as the Load dialog's
// choice is; one that holds no CD+G song says why in a box and leaves the window empty.
bool OpenQueued(App& app, const std::string& fileName);

// "m:ss" of whole seconds, as the time labels show it.
std::string minutesSeconds(long long seconds);
// The song's title: its file name without the folder and the last four characters.
std::string titleOf(const std::string& fileName);

} // namespace velvora::transport
