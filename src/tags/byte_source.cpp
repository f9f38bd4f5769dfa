#include "tags/byte_source.h"

#include <cstring>
#include <sys/stat.h>

namespace velvora::tags {

bool ByteSource::readInto(long long offset, long long n, std::vector<std::uint8_t>& out) {
    if (!holds(offset, n)) return false;
    out.resize(static_cast<std::size_t>(n));
    return n == 0 || read(static_cast<std::uint64_t>(offset), static_cast<std::size_t>(n), out.data());
}

bool ByteSource::readText(long long offset, long long n, std::string& out) {
    out.clear();
    if (!holds(offset, n)) return false;
    out.resize(static_cast<std::size_t>(n));
    if (n == 0) return true;
    if (read(static_cast<std::uint64_t>(offset), static_cast<std::size_t>(n),
             reinterpret_cast<std::uint8_t*>(out.data())))
        return true;
    out.clear();
    return false;
}

FileBytes::FileBytes(const std::string& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return;
    file_ = std::fopen(path.c_str(), "rb");
    if (!file_) return;
    // Unbuffered: each read fetches what it asks for, and nothing is allocated on the file's behalf.
    std::setvbuf(file_, nullptr, _IONBF, 0);
    size_ = static_cast<std::uint64_t>(info.st_size);
}

FileBytes::~FileBytes() {
    if (file_) std::fclose(file_);
}

bool FileBytes::read(std::uint64_t offset, std::size_t n, std::uint8_t* out) {
    if (!file_ || offset > size_ || n > size_ - offset) return false;
    if (::fseeko(file_, static_cast<off_t>(offset), SEEK_SET) != 0) return false;
    return std::fread(out, 1, n, file_) == n;
}

bool MemoryBytes::read(std::uint64_t offset, std::size_t n, std::uint8_t* out) {
    if (offset > size_ || n > size_ - offset) return false;
    if (n) std::memcpy(out, data_ + offset, n);
    return true;
}

} // namespace velvora::tags
