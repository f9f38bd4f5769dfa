// File and path helpers shared by every routine.
#pragma once

#include <string>

namespace velvora {

// The path with exactly one separator at its end.
std::string RPP(const std::string& path);
// True when a directory look-up of the path yields a name (file or folder).
bool FileExists(const std::string& path);
// The text behind the last separator.
std::string GetFileName(const std::string& path);
// True when the path names something that is not a folder.
bool EsisteFile(const std::string& path);

// `relative` below `folder`, each part matched without regard to case when the exact name is
// absent (the program names some of its work files and folders in more than one case).
std::string resolveCaseInsensitive(const std::string& folder, const std::string& relative);

// The file beside `path` with the same name and the extension `extension` (given with its dot,
// matched in any case), or "" when there is none. The stem itself is matched exactly.
std::string twinBeside(const std::string& path, const std::string& extension);

// Joins with the platform separator; `relative` may use "\" or "/".
std::string joinPath(const std::string& folder, const std::string& relative);

// Deletes the files matched by a "*.*"-style mask in a folder; errors are ignored.
void deleteFiles(const std::string& folder, const std::string& mask);

} // namespace velvora
