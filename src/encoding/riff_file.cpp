#include "encoding/riff_file.h"

#include <algorithm>
#include <sys/stat.h>

namespace velvora::encoding {

namespace {

// The offset of the chunk that follows one whose header starts at `at`.
std::int64_t nextChunk(std::int64_t at, std::uint32_t size) {
    return at + 8 + std::int64_t(size) + (size & 1u);
}

} // namespace

bool RiffFile::open(const std::string& path) {
    close();
    if (path.empty()) return false;
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return false;
    struct stat st {};
    if (::fstat(::fileno(f), &st) != 0 || !S_ISREG(st.st_mode)) {
        std::fclose(f);
        return false;
    }
    file_ = f;
    size_ = static_cast<std::int64_t>(st.st_size);
    pos_ = 0;
    return true;
}

void RiffFile::close() {
    if (file_) std::fclose(file_);
    file_ = nullptr;
    size_ = 0;
    pos_ = 0;
}

std::int64_t RiffFile::read(void* to, std::int64_t count) {
    if (!file_ || count < 0) return -1;
    if (count == 0) return 0;
    if (::fseeko(file_, static_cast<off_t>(pos_), SEEK_SET) != 0) return -1;
    const std::size_t got = std::fread(to, 1, static_cast<std::size_t>(count), file_);
    if (got < static_cast<std::size_t>(count) && std::ferror(file_)) {
        std::clearerr(file_);
        return -1;
    }
    pos_ += static_cast<std::int64_t>(got);
    return static_cast<std::int64_t>(got);
}

std::int64_t RiffFile::seek(std::int64_t offset, Origin origin) {
    if (!file_) return -1;
    const std::int64_t base = origin == Origin::Start ? 0 : origin == Origin::Current ? pos_ : size_;
    const std::int64_t to = base + offset;
    if (to < 0) return -1;
    pos_ = to;
    return pos_;
}

bool RiffFile::readHeader(std::int64_t at, std::uint32_t& id, std::uint32_t& size) {
    unsigned char b[8];
    pos_ = at;
    if (read(b, 8) != 8) return false;
    id = le32(b);
    size = le32(b + 4);
    return true;
}

bool RiffFile::descendIntoForm(RiffChunk& found, std::uint32_t formType) {
    if (!file_) return false;
    std::int64_t at = pos_;
    std::uint32_t id = 0, size = 0;
    while (at + 12 <= size_ && readHeader(at, id, size)) {
        if (id == fourCC("RIFF") && size >= 4) {
            unsigned char b[4];
            if (read(b, 4) != 4) return false;
            if (le32(b) == formType) {
                found = RiffChunk{id, size, formType, at + 8};
                return true;
            }
        }
        at = nextChunk(at, size);
    }
    return false;
}

bool RiffFile::descendIntoChunk(RiffChunk& found, std::uint32_t id, const RiffChunk& parent) {
    if (!file_) return false;
    const std::int64_t end = std::min(parent.dataOffset + std::int64_t(parent.size), size_);
    std::int64_t at = std::max(pos_, parent.dataOffset);
    std::uint32_t got = 0, size = 0;
    while (at + 8 <= end && readHeader(at, got, size)) {
        if (got == id) {
            found = RiffChunk{got, size, 0, at + 8};
            return true;
        }
        at = nextChunk(at, size);
    }
    return false;
}

void RiffFile::ascend(const RiffChunk& chunk) {
    pos_ = chunk.dataOffset + std::int64_t(chunk.size) + (chunk.size & 1u);
}

} // namespace velvora::encoding
