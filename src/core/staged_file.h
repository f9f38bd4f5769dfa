// A file written under a temporary name beside its final one and renamed only when every byte
// went out: a full disk or a folder that refuses the file leaves no half-written file under the
// final name, and an earlier file of that name stays as it was until the new one is whole.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

namespace velvora {

class StagedFile {
  public:
    StagedFile() = default;
    ~StagedFile(); // drops what was not committed
    StagedFile(const StagedFile&) = delete;
    StagedFile& operator=(const StagedFile&) = delete;

    // Creates the temporary file; false when it cannot be made.
    bool open(const std::string& finalPath);
    bool isOpen() const { return file_ != nullptr; }
    // Appends; a failed write marks the file failed and later writes do nothing.
    bool write(const void* bytes, std::size_t count);
    // Overwrites four little-endian bytes at `offset`, then goes back to the end.
    bool patch32(long offset, std::uint32_t value);
    // Closes the file and gives it its final name; false (and nothing under the final name
    // changed) when a write failed or the rename did.
    bool commit();
    // Closes and removes the temporary file.
    void discard();
    bool failed() const { return failed_; }

  private:
    std::FILE* file_ = nullptr;
    std::string finalPath_;
    std::string tempPath_;
    bool failed_ = false;
};

// Copies a file to `target` through a staged file; false when the source cannot be read or the
// copy cannot be made whole. Nothing changes at `target` then.
bool copyWhole(const std::string& source, const std::string& target);

} // namespace velvora
