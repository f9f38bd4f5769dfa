// A take's journal left behind by a crash, offered back: the question names the song, the date
// and the length; Yes writes TKKK/vocaltrack.wav and TKKK/BackingTrack.WAV from it, No keeps it
// until it is recovered or discarded from the Utility menu.
#pragma once

#include "core/app.h"

#include <string>

namespace velvora::recording {

// "a take of SONG from DATE, M:SS long, was not saved: recover it?"
std::string recoveryQuestion(const std::string& song, const std::string& date, std::uint64_t seconds);
// Asks about a journal left behind. True when the take's two files were written from it (the
// journal is gone then); false when there is none, the user said No, or the files could not be
// made (the journal stays).
bool offerRecovery(App& app);
// The Utility menu's discarding of a journal left behind, after the user confirmed it.
void discardRecovery(App& app);

} // namespace velvora::recording
