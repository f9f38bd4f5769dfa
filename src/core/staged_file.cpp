#include "core/staged_file.h"

#include <array>
#include <filesystem>
#include <system_error>

namespace velvora {

StagedFile::~StagedFile() {
    discard();
}

bool StagedFile::open(const std::string& finalPath) {
    discard();
    finalPath_ = finalPath;
    tempPath_ = finalPath + ".part";
    failed_ = false;
    file_ = std::fopen(tempPath_.c_str(), "wb");
    return file_ != nullptr;
}

bool StagedFile::write(const void* bytes, std::size_t count) {
    if (!file_ || failed_) return false;
    if (count && std::fwrite(bytes, 1, count, file_) != count) failed_ = true;
    return !failed_;
}

bool StagedFile::patch32(long offset, std::uint32_t value) {
    if (!file_ || failed_) return false;
    std::array<std::uint8_t, 4> le{};
    for (int i = 0; i < 4; ++i) le[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(value >> (8 * i));
    if (std::fseek(file_, offset, SEEK_SET) != 0 || std::fwrite(le.data(), 1, 4, file_) != 4 ||
        std::fseek(file_, 0, SEEK_END) != 0)
        failed_ = true;
    return !failed_;
}

bool StagedFile::commit() {
    if (!file_) return false;
    const bool flushed = std::fflush(file_) == 0;
    const bool closed = std::fclose(file_) == 0;
    file_ = nullptr;
    if (failed_ || !flushed || !closed) {
        failed_ = true;
        discard();
        return false;
    }
    std::error_code ec;
    std::filesystem::rename(tempPath_, finalPath_, ec);
    if (ec) {
        failed_ = true;
        discard();
        return false;
    }
    tempPath_.clear();
    return true;
}

void StagedFile::discard() {
    if (file_) std::fclose(file_);
    file_ = nullptr;
    if (!tempPath_.empty()) {
        std::error_code ec;
        std::filesystem::remove(tempPath_, ec);
        tempPath_.clear();
    }
}

bool copyWhole(const std::string& source, const std::string& target) {
    if (source.empty() || target.empty()) return false;
    std::FILE* in = std::fopen(source.c_str(), "rb");
    if (!in) return false;
    StagedFile out;
    bool ok = out.open(target);
    std::array<char, 1 << 16> buffer{};
    while (ok) {
        const std::size_t got = std::fread(buffer.data(), 1, buffer.size(), in);
        if (got) ok = out.write(buffer.data(), got);
        if (got < buffer.size()) {
            ok = ok && !std::ferror(in);
            break;
        }
    }
    std::fclose(in);
    return ok && out.commit();
}

} // namespace velvora
