// One song of the explorer's library: where it is, what the program's own scanners say of it,
// and whether it could be read.
#pragma once

#include <string>

namespace velvora::explorer {

struct SongRecord {
    // The path as the file system has it: bytes, in whatever encoding the name was written.
    std::string path;
    // UTF-8 texts. The title falls back to the file name when the file names none.
    std::string title;
    std::string artist;
    // "KAR", "MIDI", "MP3", "WAV", "NVK" or "CD+G" (a .cdg file, whose MP3 lies beside it, or a
    // ZIP file holding the two).
    std::string kind;
    // Whole seconds; -1 when the length is not known.
    int seconds = -1;
    // The file was not found at the last look; it stays listed, marked, until its folder goes.
    bool missing = false;
    // Why the file could not be read (empty when it was): shown beside the song.
    std::string problem;
};

// The kind of a song file from its extension (any case); empty for a file that is not a song.
// A ZIP file is a song only when it holds one (see isZipFile and package/cdg_zip.h).
std::string songKind(const std::string& path);
// A ".zip" file name, any case.
bool isZipFile(const std::string& path);
// The file name without its folder and extension, as UTF-8 whatever the name's encoding: a name
// that is not UTF-8 is read as Windows-1252, as the program reads all text from files.
std::string displayName(const std::string& path);
// A whole path as UTF-8 in the same way, for showing.
std::string readablePath(const std::string& path);

} // namespace velvora::explorer
