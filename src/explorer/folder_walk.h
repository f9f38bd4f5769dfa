// The song files below a folder. Sub-folders are entered, links to folders too, but a folder
// already seen (by its real path) is not entered twice, so links in a loop end. What cannot be
// entered or read is reported and passed over.
#pragma once

#include <atomic>
#include <string>
#include <vector>

namespace velvora::explorer {

struct FolderListing {
    // Paths of the song files found, in the file system's bytes, sorted.
    std::vector<std::string> songs;
    // One line for each thing that could not be read: "<path>: <why>".
    std::vector<std::string> problems;
};

// Walks `folder`. `stop` is read between entries: when it turns true the walk ends with what it
// has found.
FolderListing listSongs(const std::string& folder, const std::atomic<bool>& stop);

} // namespace velvora::explorer
