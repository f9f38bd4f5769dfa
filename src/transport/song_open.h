// Bringing a song from a file on disk to a Ready state: the Load button, the older menu road,
// and re-opening the song in hand.
#pragma once

#include "core/app.h"

namespace velvora::transport {

void CmdCarica_Click(App& app);
void MnuOpenSong_Click(App& app);
void Plmenu_Click(App& app);

// "m:ss" of whole seconds, as the time labels show it.
std::string minutesSeconds(long long seconds);
// The song's title: its file name without the folder and the last four characters.
std::string titleOf(const std::string& fileName);

} // namespace velvora::transport
