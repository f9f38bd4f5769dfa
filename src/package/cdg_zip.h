// A CD+G song as singers keep them: an MP3 and its graphics file zipped together. Unpacked flat,
// with the archive's safety rules, into a work folder of the program's own.
#pragma once

#include <filesystem>
#include <string>

namespace velvora::package {

// Empties `folder` (the program's own) and unpacks into it the one MP3 and the one CD+G file that
// `zipPath` must hold; the MP3 takes the graphics file's name, so that the two are twins. Returns
// the graphics file's path, or "" with `problem` saying why nothing can be opened.
std::string UnpackCdgSong(const std::string& zipPath, const std::filesystem::path& folder,
                          std::string& problem);

} // namespace velvora::package
