#include "recording/take_recovery.h"

#include "core/files.h"
#include "core/startup.h"
#include "recording/capture.h"
#include "recording/take_journal.h"

#include <cstdio>

namespace velvora::recording {

std::string recoveryQuestion(const std::string& song, const std::string& date, std::uint64_t seconds) {
    char length[32];
    std::snprintf(length, sizeof length, "%llu:%02llu", static_cast<unsigned long long>(seconds / 60),
                  static_cast<unsigned long long>(seconds % 60));
    return "a take of " + song + " from " + date + ", " + length + " long, was not saved: recover it?";
}

bool offerRecovery(App& app) {
    if (!journalLeft(app)) return false;
    JournalFound found;
    // A file under the journal's name that is no journal is left alone and not asked about.
    if (!readJournal(journalVoicePath(app), journalBackingPath(app), found)) return false;
    const auto frameBytes = static_cast<std::uint64_t>(found.voice.rate) * found.voice.channels * 2;
    const std::string question =
        recoveryQuestion(found.voice.song, found.voice.date, found.voiceBytes / frameBytes);
    if (app.sys.dialogs.msgBox(question, platform::vbYesNo | platform::vbQuestion, "Velvora") !=
        platform::vbYes)
        return false;
    MakeDir(app);
    if (!writeRecoveredTake(journalVoicePath(app), journalBackingPath(app), found, vocalTrackPath(app),
                            backingTrackPath(app))) {
        Error_(app, "Can't create the file");
        return false;
    }
    removeJournal(app);
    return true;
}

void discardRecovery(App& app) {
    removeJournal(app);
}

} // namespace velvora::recording
