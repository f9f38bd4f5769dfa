#include "explorer/library_store.h"

#include <QFile>
#include <QSaveFile>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <system_error>

namespace velvora::explorer {

namespace fs = std::filesystem;

namespace {

constexpr const char* kLibraryMagic = "velvora-explorer-library";
constexpr const char* kQueueMagic = "velvora-explorer-queue";

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

std::vector<std::string> splitTabs(const std::string& line) {
    std::vector<std::string> out;
    std::size_t at = 0;
    for (;;) {
        const std::size_t tab = line.find('\t', at);
        out.push_back(line.substr(at, tab == std::string::npos ? std::string::npos : tab - at));
        if (tab == std::string::npos) return out;
        at = tab + 1;
    }
}

// The records after the first line, when the first line is "<magic> <version>" of a version
// this program reads.
StoreHeader splitRecords(const std::string& text, const char* magic, std::vector<std::string>& lines) {
    std::size_t at = text.find('\n');
    std::string first = text.substr(0, at);
    if (!first.empty() && first.back() == '\r') first.pop_back();
    const std::string prefix = std::string(magic) + " ";
    if (first.compare(0, prefix.size(), prefix) != 0) return StoreHeader::Damaged;
    const std::string number = first.substr(prefix.size());
    if (number.empty() || number.size() > 6 ||
        !std::all_of(number.begin(), number.end(), [](char c) { return c >= '0' && c <= '9'; }))
        return StoreHeader::Damaged;
    const int version = std::stoi(number);
    if (version < 1) return StoreHeader::Damaged;
    if (version > kStoreVersion) return StoreHeader::Newer;
    while (at != std::string::npos) {
        const std::size_t next = text.find('\n', at + 1);
        std::string line = text.substr(at + 1, next == std::string::npos ? std::string::npos : next - at - 1);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (!line.empty()) lines.push_back(std::move(line));
        at = next;
    }
    return StoreHeader::Good;
}

bool parseSeconds(const std::string& field, int& seconds) {
    if (field == "-1") {
        seconds = -1;
        return true;
    }
    if (field.empty() || field.size() > 9 ||
        !std::all_of(field.begin(), field.end(), [](char c) { return c >= '0' && c <= '9'; }))
        return false;
    seconds = std::stoi(field);
    return true;
}

// The whole file, or no value when it is not there; `error` says why one that is there could
// not be read.
std::optional<std::string> readFile(const std::string& path, std::string& error) {
    std::error_code ec;
    if (!fs::exists(path, ec)) return std::nullopt;
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        error = "cannot be opened";
        return std::string();
    }
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// A damaged file is kept beside under a name of its own, so that nothing of it is lost.
std::string setAside(const std::string& path) {
    for (int n = 0; n < 100; ++n) {
        const std::string aside = path + ".damaged" + (n ? std::to_string(n) : std::string());
        std::error_code ec;
        if (fs::exists(aside, ec)) continue;
        fs::rename(path, aside, ec);
        return ec ? std::string() : aside;
    }
    return {};
}

// Reports a header that is not a good one; returns whether the file may be written.
bool judgeHeader(StoreHeader header, const std::string& path, const std::string& name,
                 const std::string& error, LoadReport& report) {
    if (header == StoreHeader::Newer) {
        report.problems.push_back(name +
                                  " was written by a newer version of the program: it is left as it is, "
                                  "and changes are kept for this run only");
        return false;
    }
    if (header != StoreHeader::Damaged) return true;
    const std::string aside = setAside(path);
    if (aside.empty()) {
        report.problems.push_back(name + " could not be read (" + (error.empty() ? "damaged" : error) +
                                  "); it is left as it is, and changes are kept for this run only");
        return false;
    }
    report.problems.push_back(name + " could not be read; it was kept as " +
                              fs::path(aside).filename().string() + " and a new one begun");
    return true;
}

std::string writeWhole(const std::string& path, const std::string& text) {
    QSaveFile file(QFile::decodeName(QByteArray::fromStdString(path)));
    if (!file.open(QIODevice::WriteOnly)) return file.errorString().toStdString();
    if (file.write(text.data(), static_cast<qint64>(text.size())) != static_cast<qint64>(text.size())) {
        file.cancelWriting();
        return file.errorString().toStdString();
    }
    if (!file.commit()) return file.errorString().toStdString();
    return {};
}

} // namespace

std::string escapeField(const std::string& field) {
    std::string out;
    out.reserve(field.size());
    for (const char ch : field) {
        const auto c = static_cast<unsigned char>(ch);
        if (c < 0x20 || c == 0x7f || c == '%') {
            char buf[4];
            std::snprintf(buf, sizeof buf, "%%%02X", c);
            out += buf;
        } else {
            out += ch;
        }
    }
    return out;
}

std::string unescapeField(const std::string& field, bool& ok) {
    std::string out;
    out.reserve(field.size());
    for (std::size_t i = 0; i < field.size(); ++i) {
        if (field[i] != '%') {
            out += field[i];
            continue;
        }
        const int hi = i + 2 < field.size() ? hexDigit(field[i + 1]) : -1;
        const int lo = i + 2 < field.size() ? hexDigit(field[i + 2]) : -1;
        if (hi < 0 || lo < 0) {
            ok = false;
            return out;
        }
        out += static_cast<char>(hi * 16 + lo);
        i += 2;
    }
    return out;
}

std::string LibraryStore::libraryPath() const {
    return (fs::path(folder_) / kLibraryFile).string();
}
std::string LibraryStore::queuePath() const {
    return (fs::path(folder_) / kQueueFile).string();
}

ParseResult parseLibrary(const std::string& text, Library& out) {
    out = {};
    std::vector<std::string> lines;
    ParseResult result;
    result.header = splitRecords(text, kLibraryMagic, lines);
    for (const std::string& line : lines) {
        const std::vector<std::string> f = splitTabs(line);
        bool ok = true;
        if (f.size() == 2 && f[0] == "F") {
            std::string folder = unescapeField(f[1], ok);
            if (ok && !folder.empty())
                out.folders.push_back(std::move(folder));
            else
                ok = false;
        } else if (f.size() == 8 && f[0] == "S" && (f[6] == "0" || f[6] == "1")) {
            SongRecord r;
            r.path = unescapeField(f[1], ok);
            r.title = unescapeField(f[2], ok);
            r.artist = unescapeField(f[3], ok);
            r.kind = unescapeField(f[4], ok);
            ok = parseSeconds(f[5], r.seconds) && ok;
            r.missing = f[6] == "1";
            r.problem = unescapeField(f[7], ok);
            if (ok && !r.path.empty())
                out.songs.push_back(std::move(r));
            else
                ok = false;
        } else {
            ok = false;
        }
        if (!ok) ++result.badLines;
    }
    return result;
}

ParseResult parseQueue(const std::string& text, std::vector<QueueEntry>& out) {
    out.clear();
    std::vector<std::string> lines;
    ParseResult result;
    result.header = splitRecords(text, kQueueMagic, lines);
    for (const std::string& line : lines) {
        const std::vector<std::string> f = splitTabs(line);
        bool ok = f.size() == 4 && f[0] == "Q";
        if (ok) {
            QueueEntry e{unescapeField(f[1], ok), unescapeField(f[2], ok), unescapeField(f[3], ok)};
            if (ok && !e.path.empty())
                out.push_back(std::move(e));
            else
                ok = false;
        }
        if (!ok) ++result.badLines;
    }
    return result;
}

std::string formatLibrary(const Library& library) {
    std::ostringstream out;
    out << kLibraryMagic << ' ' << kStoreVersion << '\n';
    for (const std::string& folder : library.folders) out << "F\t" << escapeField(folder) << '\n';
    for (const SongRecord& r : library.songs)
        out << "S\t" << escapeField(r.path) << '\t' << escapeField(r.title) << '\t' << escapeField(r.artist)
            << '\t' << escapeField(r.kind) << '\t' << std::max(r.seconds, -1) << '\t'
            << (r.missing ? '1' : '0') << '\t' << escapeField(r.problem) << '\n';
    return out.str();
}

std::string formatQueue(const std::vector<QueueEntry>& queue) {
    std::ostringstream out;
    out << kQueueMagic << ' ' << kStoreVersion << '\n';
    for (const QueueEntry& e : queue)
        out << "Q\t" << escapeField(e.path) << '\t' << escapeField(e.title) << '\t' << escapeField(e.singer)
            << '\n';
    return out.str();
}

LoadReport LibraryStore::load(Library& library, std::vector<QueueEntry>& queue) {
    LoadReport report;
    library = {};
    queue.clear();

    std::string error;
    libraryWritable_ = true;
    if (const std::optional<std::string> text = readFile(libraryPath(), error)) {
        const ParseResult r = parseLibrary(*text, library);
        libraryWritable_ = judgeHeader(error.empty() ? r.header : StoreHeader::Damaged, libraryPath(),
                                       kLibraryFile, error, report);
        if (r.badLines)
            report.problems.push_back(std::to_string(r.badLines) + " line(s) of " + kLibraryFile +
                                      " could not be read and were left out");
    }
    error.clear();
    queueWritable_ = true;
    if (const std::optional<std::string> text = readFile(queuePath(), error)) {
        const ParseResult r = parseQueue(*text, queue);
        queueWritable_ = judgeHeader(error.empty() ? r.header : StoreHeader::Damaged, queuePath(), kQueueFile,
                                     error, report);
        if (r.badLines)
            report.problems.push_back(std::to_string(r.badLines) + " line(s) of " + kQueueFile +
                                      " could not be read and were left out");
    }
    report.libraryWritable = libraryWritable_;
    report.queueWritable = queueWritable_;
    return report;
}

std::string LibraryStore::saveLibrary(const Library& library) {
    if (!libraryWritable_) return {};
    return writeWhole(libraryPath(), formatLibrary(library));
}

std::string LibraryStore::saveQueue(const std::vector<QueueEntry>& queue) {
    if (!queueWritable_) return {};
    return writeWhole(queuePath(), formatQueue(queue));
}

} // namespace velvora::explorer
