// Reading the program's small settings files: only their head, so that a file of any size costs
// the same.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace velvora::settings {

struct FileHead {
    std::string text;
    bool cut = false; // the file goes on beyond `text`
};

// Up to `limit` bytes from the start of the file; nothing when it cannot be opened.
std::optional<FileHead> readFileHead(const std::string& path, std::size_t limit);

// Writes `text` as the whole file, replacing it. Returns the system's words when the file cannot
// be written, empty on success.
std::string replaceFile(const std::string& path, const std::string& text);

} // namespace velvora::settings
