// What the explorer lists of a song file, read with the program's own scanners: the
// identification fields of a MIDI or KAR file, the end tags of an MP3, and the length the engine
// gives. Safe on any thread: it touches no window and no session, only the file and a decoding
// stream of its own.
#pragma once

#include "explorer/song_record.h"

#include <string>

namespace velvora::explorer {

// Reads the song at `path`. A file that cannot be read gives a record with its problem set and
// the file name as its title; nothing is thrown.
SongRecord readSong(const std::string& path);

// The title and artist of a song package from its information text. Packages are not read yet:
// this gives false, and the package is listed by its file name.
bool readPackageInfo(const std::string& path, SongRecord& record);

} // namespace velvora::explorer
