#pragma once
// Opening a song package: unpacking it into TMPK as the three tracks of one mixer, the title block
// read from its information text, and the clearing of the package's controls and work files.
#include "core/app.h"

#include <array>
#include <string>

namespace velvora::package {

class ZipArchive;

// A package is known by its extension alone: the last three characters, any case, are "NVK".
bool isPackageName(const std::string& path);

// The eight items of an information text read the way the text "input" statement reads them: an
// item ends at a comma or at a line's end, leading blanks are skipped and surrounding double quotes
// stripped. Items past the end of the text are empty. Index 0 is unused.
std::array<std::string, 9> readInfoItems(const std::string& text);

// Unpacks the package at FileName into TMPK and builds the mixer (chan) and its tracks (stems).
void Decrypt(App& app);
// Shows the five title-block labels, blank.
void NVKTag(App& app);
// Reads TMPK/<package name without its extension>.txt into nvkInfo and fills the labels.
void NVKLEGGO_FILE(App& app);
// Hides the five title-block labels and blanks them.
void NVKTagClear(App& app);
// Puts the package's controls back to their neutral values.
void ClearNVK(App& app);
// Deletes the loose work files and the contents of TKKK and TMPK.
void KillTemp(App& app);
// Opens FileName in the archive with the program's password and tests its members; the last
// member's test decides. A failing package is announced and the controls are put back; the
// archive is left open on success.
bool CntrNVK(App& app, ZipArchive& archive);

} // namespace velvora::package
