// A read-only file with RIFF chunk navigation: what the WAV reader needs of a file. Positions are
// absolute byte offsets. Chunks are searched by name from the current position, each skipped by
// its stated size rounded up to an even count, never beyond the enclosing chunk or the file's end.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

namespace velvora::encoding {

// A four-character chunk name as the file stores it.
constexpr std::uint32_t fourCC(const char (&s)[5]) {
    return std::uint32_t(std::uint8_t(s[0])) | std::uint32_t(std::uint8_t(s[1])) << 8 |
           std::uint32_t(std::uint8_t(s[2])) << 16 | std::uint32_t(std::uint8_t(s[3])) << 24;
}

// Little-endian numbers as RIFF files store them.
inline std::uint16_t le16(const unsigned char* b) {
    return static_cast<std::uint16_t>(b[0] | b[1] << 8);
}
inline std::uint32_t le32(const unsigned char* b) {
    return std::uint32_t(b[0]) | std::uint32_t(b[1]) << 8 | std::uint32_t(b[2]) << 16 |
           std::uint32_t(b[3]) << 24;
}

struct RiffChunk {
    std::uint32_t id = 0;
    // Bytes of the chunk's contents as its header states them; for a "RIFF" chunk they include
    // the form type.
    std::uint32_t size = 0;
    // For a "RIFF" chunk, the form type ("WAVE").
    std::uint32_t formType = 0;
    // Where the contents begin (just behind the 8-byte header).
    std::int64_t dataOffset = 0;
};

class RiffFile {
  public:
    RiffFile() = default;
    RiffFile(const RiffFile&) = delete;
    RiffFile& operator=(const RiffFile&) = delete;
    ~RiffFile() { close(); }

    // Opens a regular file for reading; false when it is missing, unreadable or a folder.
    bool open(const std::string& path);
    void close();
    bool isOpen() const { return file_ != nullptr; }
    std::int64_t size() const { return size_; }

    // Reads up to `count` bytes at the current position: the count read (short at the file's
    // end), or -1 on a read error.
    std::int64_t read(void* to, std::int64_t count);

    enum class Origin { Start, Current, End };
    // Moves the position; the new position, or -1 when it would fall before the file's start.
    std::int64_t seek(std::int64_t offset, Origin origin);
    std::int64_t tell() const { return pos_; }

    // Looks for a "RIFF" chunk of the given form type at the top level, from the current position.
    // Found: the position is just behind the form type.
    bool descendIntoForm(RiffChunk& found, std::uint32_t formType);
    // Looks for a chunk named `id` inside `parent`, from the current position. Found: the position
    // is at its contents.
    bool descendIntoChunk(RiffChunk& found, std::uint32_t id, const RiffChunk& parent);
    // Moves to the end of `chunk`, with its pad byte when its size is odd.
    void ascend(const RiffChunk& chunk);

  private:
    bool readHeader(std::int64_t at, std::uint32_t& id, std::uint32_t& size);

    std::FILE* file_ = nullptr;
    std::int64_t size_ = 0;
    std::int64_t pos_ = 0;
};

} // namespace velvora::encoding
