// Read-only access to the bytes of a file, or of bytes already in memory (tests, fuzzing). Every
// read names its range and fails as a whole when any part of it lies outside, so a size read from
// the bytes themselves can never lead a reader outside them or to a buffer larger than they are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace velvora::tags {

class ByteSource {
  public:
    virtual ~ByteSource() = default;
    virtual std::uint64_t size() const = 0;
    // Copies `n` bytes from `offset` into `out`; false, with nothing copied, when the range is not
    // wholly inside.
    virtual bool read(std::uint64_t offset, std::size_t n, std::uint8_t* out) = 0;

    // True when `n` bytes from `offset` lie inside; offsets below 0 never do.
    bool holds(long long offset, long long n) const {
        return offset >= 0 && n >= 0 && static_cast<std::uint64_t>(offset) <= size() &&
               static_cast<std::uint64_t>(n) <= size() - static_cast<std::uint64_t>(offset);
    }
    // `n` bytes from `offset` into `out` (resized to n only once the range is known to be inside).
    bool readInto(long long offset, long long n, std::vector<std::uint8_t>& out);
    // The same as text, one character for each byte; empty when the range is not inside.
    bool readText(long long offset, long long n, std::string& out);
};

// A file opened for reading only, unbuffered: no buffer larger than what a read asks for.
class FileBytes final : public ByteSource {
  public:
    explicit FileBytes(const std::string& path);
    ~FileBytes() override;
    FileBytes(const FileBytes&) = delete;
    FileBytes& operator=(const FileBytes&) = delete;

    bool isOpen() const { return file_ != nullptr; }
    std::uint64_t size() const override { return size_; }
    bool read(std::uint64_t offset, std::size_t n, std::uint8_t* out) override;

  private:
    std::FILE* file_ = nullptr;
    std::uint64_t size_ = 0;
};

// Bytes the caller keeps alive for as long as the source is used.
class MemoryBytes final : public ByteSource {
  public:
    MemoryBytes(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
    std::uint64_t size() const override { return size_; }
    bool read(std::uint64_t offset, std::size_t n, std::uint8_t* out) override;

  private:
    const std::uint8_t* data_;
    std::size_t size_;
};

} // namespace velvora::tags
