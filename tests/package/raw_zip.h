// Archives built member by member straight through libzip with names unchecked, and byte patches of
// the headers that libzip would never write itself: unsupported methods, lying sizes, equal names.
#pragma once

#include <zip.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace velvora::packagetest {

struct RawZip {
    zip_t* z;
    explicit RawZip(const std::filesystem::path& p) {
        int code = 0;
        z = zip_open(p.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &code);
    }
    zip_int64_t add(const std::string& name, const std::string& data, bool stored = false) {
        char* copy = static_cast<char*>(std::malloc(data.size() + 1));
        std::copy(data.begin(), data.end(), copy);
        zip_source_t* s = zip_source_buffer(z, copy, data.size(), 1);
        zip_int64_t i = zip_file_add(z, name.c_str(), s, 0);
        if (stored) zip_set_file_compression(z, static_cast<zip_uint64_t>(i), ZIP_CM_STORE, 0);
        return i;
    }
    // A symbolic-link member as a Unix archiver writes it: the target is its body.
    zip_int64_t link(const std::string& name, const std::string& target) {
        const zip_int64_t i = add(name, target, true);
        zip_file_set_external_attributes(z, static_cast<zip_uint64_t>(i), 0, ZIP_OPSYS_UNIX,
                                         (S_IFLNK | 0777u) << 16);
        return i;
    }
    void close() { zip_close(z); }
};

inline std::string readBytes(const std::filesystem::path& p) {
    std::ifstream in(p, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

inline void writeBytes(const std::filesystem::path& p, const std::string& bytes) {
    std::ofstream(p, std::ios::binary | std::ios::trunc) << bytes;
}

// Where each member's headers lie in the archive's bytes, in directory order.
struct MemberHeaders {
    std::size_t central;
    std::size_t local;
};

inline std::uint32_t get32(const std::string& b, std::size_t at) {
    std::uint32_t v = 0;
    for (int i = 3; i >= 0; --i)
        v = (v << 8) | static_cast<unsigned char>(b[at + static_cast<std::size_t>(i)]);
    return v;
}

inline void put16(std::string& b, std::size_t at, std::uint16_t v) {
    b[at] = static_cast<char>(v & 0xff);
    b[at + 1] = static_cast<char>(v >> 8);
}

inline void put32(std::string& b, std::size_t at, std::uint32_t v) {
    for (std::size_t i = 0; i < 4; ++i) b[at + i] = static_cast<char>((v >> (8 * i)) & 0xff);
}

inline std::vector<MemberHeaders> memberHeaders(const std::string& bytes) {
    std::vector<MemberHeaders> out;
    const std::string tag("PK\1\2", 4);
    for (std::size_t at = bytes.find(tag); at != std::string::npos; at = bytes.find(tag, at + 4))
        out.push_back({at, get32(bytes, at + 42)});
    return out;
}

// The member's compression method, in both of its headers.
inline void setMethod(std::string& bytes, const MemberHeaders& m, std::uint16_t method) {
    put16(bytes, m.local + 8, method);
    put16(bytes, m.central + 10, method);
}

// The member's declared uncompressed size, in both of its headers.
inline void setDeclaredSize(std::string& bytes, const MemberHeaders& m, std::uint32_t size) {
    put32(bytes, m.local + 22, size);
    put32(bytes, m.central + 24, size);
}

// Overwrites the member's name, in both headers, with one of the same length.
inline void renameInPlace(std::string& bytes, const MemberHeaders& m, const std::string& name) {
    bytes.replace(m.local + 30, name.size(), name);
    bytes.replace(m.central + 46, name.size(), name);
}

} // namespace velvora::packagetest
