// A CD+G song as singers keep them: an MP3 and its graphics file zipped together. Found from the
// archive's central directory, read into memory for a look at its MP3, or unpacked flat, with the
// archive's safety rules, into a work folder of the program's own.
#pragma once

#include "package/zip_archive.h"

#include <filesystem>
#include <string>

namespace velvora::package {

// The two members that make the song.
struct CdgZipPair {
    ZipMember graphics;
    ZipMember audio;
};

// True when the archive at `zipPath` names a CD+G graphics member: a ZIP file worth reading as a
// song. Only its central directory is read, under the archive's member-count limit.
bool namesCdgGraphics(const std::string& zipPath);

// The one MP3 and the one graphics member of an open archive. False, with `problem` saying why
// (a phrase without a subject, "holds 2 MP3 and 0 CD+G ..."), when there is not exactly one of
// each or either may not be read under the archive's limits.
bool findCdgPair(ZipArchive& zip, CdgZipPair& pair, std::string& problem);

// The MP3 of the song in `zipPath`, decompressed into memory; nothing is written to disk. False
// with `problem` as above when there is no such song or its MP3 is larger than `maxBytes`.
bool readCdgZipAudio(const std::string& zipPath, std::uint64_t maxBytes, std::string& mp3,
                     std::string& problem);

// Empties `folder` (the program's own) and unpacks into it the one MP3 and the one CD+G file that
// `zipPath` must hold; the MP3 takes the graphics file's name, so that the two are twins. Returns
// the graphics file's path, or "" with `problem` saying why nothing can be opened.
std::string UnpackCdgSong(const std::string& zipPath, const std::filesystem::path& folder,
                          std::string& problem);

} // namespace velvora::package
