#include "core/files.h"

#include "core/vb_text.h"

#include <QDir>
#include <QRegularExpression>

#include <filesystem>
#include <system_error>

namespace velvora {

namespace fs = std::filesystem;

namespace {

bool isSeparator(char c) {
    return c == '/' || c == '\\';
}

} // namespace

std::string RPP(const std::string& path) {
    if (!path.empty() && isSeparator(path.back())) return path;
    return path + "/";
}

bool FileExists(const std::string& path) {
    if (path.empty()) return false;
    std::error_code ec;
    return fs::exists(fs::path(path), ec) && !ec;
}

std::string GetFileName(const std::string& path) {
    const std::size_t cut = path.find_last_of("/\\");
    return cut == std::string::npos ? path : path.substr(cut + 1);
}

bool EsisteFile(const std::string& path) {
    if (path.empty()) return false;
    std::error_code ec;
    const fs::file_status st = fs::status(fs::path(path), ec);
    return !ec && fs::exists(st) && !fs::is_directory(st);
}

std::string joinPath(const std::string& folder, const std::string& relative) {
    std::string rel = relative;
    for (char& c : rel)
        if (c == '\\') c = '/';
    while (!rel.empty() && rel.front() == '/') rel.erase(0, 1);
    if (folder.empty()) return rel;
    return RPP(folder) + rel;
}

std::string resolveCaseInsensitive(const std::string& folder, const std::string& relative) {
    const std::string exact = joinPath(folder, relative);
    std::error_code ec;
    if (fs::exists(exact, ec)) return exact;
    fs::path current = folder;
    std::string rel = relative;
    for (char& c : rel)
        if (c == '\\') c = '/';
    for (const fs::path& part : fs::path(rel)) {
        if (part.empty() || part == "/") continue;
        fs::path next = current / part;
        if (!fs::exists(next, ec)) {
            const std::string wanted = vb::LCase(part.string());
            for (const auto& entry : fs::directory_iterator(current, ec)) {
                if (vb::LCase(entry.path().filename().string()) == wanted) {
                    next = entry.path();
                    break;
                }
            }
        }
        current = next;
    }
    return current.string();
}

std::string twinBeside(const std::string& path, const std::string& extension) {
    const fs::path given(path);
    const fs::path folder = given.has_parent_path() ? given.parent_path() : fs::path(".");
    const std::string stem = given.stem().string();
    const std::string wanted = vb::LCase(extension);
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(folder, ec)) {
        const fs::path& candidate = entry.path();
        if (candidate.stem().string() != stem || vb::LCase(candidate.extension().string()) != wanted)
            continue;
        if (!entry.is_regular_file(ec)) continue;
        return (given.has_parent_path() ? candidate : candidate.filename()).string();
    }
    return {};
}

void deleteFiles(const std::string& folder, const std::string& mask) {
    // As on the system the program comes from, "*.*" takes every file, dotted or not.
    const bool all = mask == "*.*" || mask == "*";
    const QRegularExpression re(QRegularExpression::wildcardToRegularExpression(QString::fromStdString(mask)),
                                QRegularExpression::CaseInsensitiveOption);
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(folder, ec)) {
        std::error_code fileEc;
        if (!entry.is_regular_file(fileEc)) continue;
        if (all || re.match(QString::fromStdString(entry.path().filename().string())).hasMatch())
            fs::remove(entry.path(), fileEc);
    }
}

} // namespace velvora
