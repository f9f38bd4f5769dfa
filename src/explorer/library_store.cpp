#include "explorer/library_store.h"

#include <QFile>
#include <QSaveFile>

#include <cstdio>
#include <filesystem>
#include <fstream>
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

// The file's records after its first line; `status` tells how the first line read.
enum class Header { Missing, Good, Newer, Damaged };

struct FileLines {
    Header header = Header::Missing;
    std::vector<std::string> lines;
};

FileLines readLines(const std::string& path, const char* magic, std::string& error) {
    FileLines f;
    std::error_code ec;
    if (!fs::exists(path, ec)) return f;
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        error = "cannot be opened";
        f.header = Header::Damaged;
        return f;
    }
    std::string first;
    std::getline(in, first);
    if (!first.empty() && first.back() == '\r') first.pop_back();
    const std::string prefix = std::string(magic) + " ";
    int version = 0;
    if (first.compare(0, prefix.size(), prefix) == 0) {
        try {
            std::size_t used = 0;
            const std::string number = first.substr(prefix.size());
            version = std::stoi(number, &used);
            if (used != number.size()) version = 0;
        } catch (...) {
            version = 0;
        }
    }
    if (version < 1) {
        f.header = Header::Damaged;
        return f;
    }
    f.header = version > kStoreVersion ? Header::Newer : Header::Good;
    if (f.header == Header::Newer) return f;
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (!line.empty()) f.lines.push_back(line);
    }
    return f;
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
bool judgeHeader(Header header, const std::string& path, const std::string& name, const std::string& error,
                 LoadReport& report) {
    if (header == Header::Newer) {
        report.problems.push_back(name +
                                  " was written by a newer version of the program: it is left as it is, "
                                  "and changes are kept for this run only");
        return false;
    }
    if (header != Header::Damaged) return true;
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

LoadReport LibraryStore::load(Library& library, std::vector<QueueEntry>& queue) {
    LoadReport report;
    library = {};
    queue.clear();

    std::string error;
    FileLines lib = readLines(libraryPath(), kLibraryMagic, error);
    libraryWritable_ = judgeHeader(lib.header, libraryPath(), kLibraryFile, error, report);
    int bad = 0;
    for (const std::string& line : lib.lines) {
        const std::vector<std::string> f = splitTabs(line);
        bool ok = true;
        if (f.size() == 2 && f[0] == "F") {
            library.folders.push_back(unescapeField(f[1], ok));
        } else if (f.size() == 8 && f[0] == "S") {
            SongRecord r;
            r.path = unescapeField(f[1], ok);
            r.title = unescapeField(f[2], ok);
            r.artist = unescapeField(f[3], ok);
            r.kind = unescapeField(f[4], ok);
            try {
                r.seconds = std::stoi(f[5]);
            } catch (...) {
                ok = false;
            }
            r.missing = f[6] == "1";
            r.problem = unescapeField(f[7], ok);
            if (ok && !r.path.empty())
                library.songs.push_back(std::move(r));
            else
                ok = false;
        } else {
            ok = false;
        }
        if (!ok) ++bad;
    }

    error.clear();
    FileLines q = readLines(queuePath(), kQueueMagic, error);
    queueWritable_ = judgeHeader(q.header, queuePath(), kQueueFile, error, report);
    int badQueue = 0;
    for (const std::string& line : q.lines) {
        const std::vector<std::string> f = splitTabs(line);
        bool ok = f.size() == 4 && f[0] == "Q";
        if (ok) {
            QueueEntry e{unescapeField(f[1], ok), unescapeField(f[2], ok), unescapeField(f[3], ok)};
            if (ok && !e.path.empty())
                queue.push_back(std::move(e));
            else
                ok = false;
        }
        if (!ok) ++badQueue;
    }
    if (bad)
        report.problems.push_back(std::to_string(bad) + " line(s) of " + kLibraryFile +
                                  " could not be read and were left out");
    if (badQueue)
        report.problems.push_back(std::to_string(badQueue) + " line(s) of " + kQueueFile +
                                  " could not be read and were left out");
    report.libraryWritable = libraryWritable_;
    report.queueWritable = queueWritable_;
    return report;
}

std::string LibraryStore::saveLibrary(const Library& library) {
    if (!libraryWritable_) return {};
    std::ostringstream out;
    out << kLibraryMagic << ' ' << kStoreVersion << '\n';
    for (const std::string& folder : library.folders) out << "F\t" << escapeField(folder) << '\n';
    for (const SongRecord& r : library.songs)
        out << "S\t" << escapeField(r.path) << '\t' << escapeField(r.title) << '\t' << escapeField(r.artist)
            << '\t' << escapeField(r.kind) << '\t' << r.seconds << '\t' << (r.missing ? '1' : '0') << '\t'
            << escapeField(r.problem) << '\n';
    return writeWhole(libraryPath(), out.str());
}

std::string LibraryStore::saveQueue(const std::vector<QueueEntry>& queue) {
    if (!queueWritable_) return {};
    std::ostringstream out;
    out << kQueueMagic << ' ' << kStoreVersion << '\n';
    for (const QueueEntry& e : queue)
        out << "Q\t" << escapeField(e.path) << '\t' << escapeField(e.title) << '\t' << escapeField(e.singer)
            << '\n';
    return writeWhole(queuePath(), out.str());
}

} // namespace velvora::explorer
