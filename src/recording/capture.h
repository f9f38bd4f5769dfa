// The take's capture: the input that is on, recorded into one growing memory block that already
// has the shape of a WAV file, and written to TKKK/vocaltrack.wav in one go when the take ends.
// One capture at a time; its state is the session's CaptureState.
#pragma once

#include "core/app.h"

#include <string>

namespace velvora::recording {

// Begins a take. When the engine refuses the capture, recChan is 0 and no block is kept.
void StartCapture(App& app);
// The capture callback, on the engine's capture thread; `user` is the session's CaptureState.
// Appends the block, growing the memory by recBufStep each time a step boundary is crossed; a
// false result (memory gone) ends the capture.
BOOL CaptureProc(HRECORD handle, const void* buffer, DWORD length, void* user);
// Stops the device and writes the two sizes into the block's header.
void StopCapture(App& app);
// Writes the block to TKKK/vocaltrack.wav.
void WriteCapture(App& app);
// The name of the selected input's kind, from the type in the top eight bits of its flags.
std::string InputTypeName(DWORD inputFlags);
std::string InputTypeName(App& app);
// The input list: the chosen entry becomes the only input that is on, then the list goes away.
void cmbInput_Click(App& app);
// At exit: a running take's capture is stopped and its block freed.
void releaseCaptureBuffer(App& app);

// Where the take's files live.
std::string takeFolder(App& app);
std::string vocalTrackPath(App& app);
std::string backingTrackPath(App& app);

// The take's journal (see take_journal.h): its folder beside TKKK and its two files.
std::string journalFolder(App& app);
std::string journalVoicePath(App& app);
std::string journalBackingPath(App& app);
bool journalLeft(App& app);
void removeJournal(App& app);

// Told once when the journal cannot be written during a take, or cannot be made at its start.
inline constexpr char kJournalStoppedText[] =
    "The disk is full: the take goes on in memory, but it is no longer kept on disk as it is sung.";
// Told at the start of a take while an earlier unsaved take still waits in the Utility menu.
inline constexpr char kJournalWaitingText[] =
    "A take that was not saved still waits in the Utility menu: until it is recovered or discarded, "
    "new takes are kept in memory only.";

} // namespace velvora::recording
