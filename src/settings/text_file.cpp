#include "settings/text_file.h"

#include <cerrno>
#include <cstring>
#include <fstream>

namespace velvora::settings {

std::optional<FileHead> readFileHead(const std::string& path, std::size_t limit) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::nullopt;
    FileHead head;
    head.text.assign(limit + 1, '\0');
    in.read(head.text.data(), static_cast<std::streamsize>(head.text.size()));
    head.text.resize(static_cast<std::size_t>(in.gcount()));
    if (head.text.size() > limit) {
        head.text.resize(limit);
        head.cut = true;
    }
    return head;
}

std::string replaceFile(const std::string& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (out) out << text;
    if (out) out.close();
    if (!out) return "Can't write " + path + ": " + std::strerror(errno);
    return {};
}

} // namespace velvora::settings
