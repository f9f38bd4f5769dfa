#include "package/zip_archive.h"

#include <zip.h>

#include <algorithm>
#include <cctype>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace velvora::package {
namespace fs = std::filesystem;

namespace {

std::string zipErrorText(zip_error_t* error) {
    const char* text = zip_error_strerror(error);
    return text ? text : "archive error";
}

bool isSymlinkMember(zip_t* z, zip_uint64_t index) {
    zip_uint8_t opsys = 0;
    zip_uint32_t attributes = 0;
    if (zip_file_get_external_attributes(z, index, 0, &opsys, &attributes) != 0) return false;
    if (opsys != ZIP_OPSYS_UNIX) return false;
    return ((attributes >> 16) & S_IFMT) == S_IFLNK;
}

bool isFolderMember(const std::string& name) {
    return !name.empty() && (name.back() == '/' || name.back() == '\\');
}

// Every folder from base down to the file's own is a real folder, made when missing; a link in
// the way is refused rather than followed.
bool makeParents(const fs::path& base, const fs::path& relative) {
    fs::path at = base;
    for (auto it = relative.begin(); it != relative.end(); ++it) {
        if (std::next(it) == relative.end()) break;
        at /= *it;
        struct stat info {};
        if (::lstat(at.c_str(), &info) == 0) {
            if (!S_ISDIR(info.st_mode)) return false;
        } else if (::mkdir(at.c_str(), 0755) != 0) {
            return false;
        }
    }
    return true;
}

void progressCallback(zip_t*, double progress, void* state) {
    auto* archive = static_cast<std::function<void(int)>*>(state);
    (*archive)(static_cast<int>(progress * 100.0 + 0.5));
}

} // namespace

bool maskMatches(const std::string& mask, const std::string& name) {
    if (mask == "*.*") return true;
    // Iterative wildcard match with one back-tracking point for the last star.
    std::size_t m = 0, n = 0, star = std::string::npos, mark = 0;
    auto same = [](char a, char b) {
        return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
    };
    while (n < name.size()) {
        if (m < mask.size() && (mask[m] == '?' || same(mask[m], name[n]))) {
            ++m;
            ++n;
        } else if (m < mask.size() && mask[m] == '*') {
            star = m++;
            mark = n;
        } else if (star != std::string::npos) {
            m = star + 1;
            n = ++mark;
        } else {
            return false;
        }
    }
    while (m < mask.size() && mask[m] == '*') ++m;
    return m == mask.size();
}

fs::path safeMemberPath(const std::string& name, bool preservePath) {
    std::vector<std::string> parts;
    std::string part;
    for (char c : name + "/") {
        if (c == '/' || c == '\\') {
            parts.push_back(part);
            part.clear();
        } else {
            part += c;
        }
    }
    auto acceptable = [](const std::string& p) {
        return !p.empty() && p != "." && p != ".." && p.find(':') == std::string::npos &&
               p.find('\0') == std::string::npos;
    };
    if (!preservePath) {
        const std::string& last = parts.back();
        return acceptable(last) ? fs::path(last) : fs::path();
    }
    if (name.empty() || name[0] == '/' || name[0] == '\\') return {};
    fs::path out;
    for (const std::string& p : parts) {
        if (!acceptable(p)) return {};
        out /= p;
    }
    return out;
}

ZipArchive::ZipArchive() = default;

ZipArchive::~ZipArchive() {
    if (zip_) zip_discard(zip_);
}

bool ZipArchive::fail(const std::string& text) {
    error_ = text;
    return false;
}

bool ZipArchive::openWith(const fs::path& path, int flags) {
    if (zip_ && !closeArchive()) return false;
    int code = 0;
    zip_ = zip_open(path.c_str(), flags, &code);
    if (!zip_) {
        zip_error_t error;
        zip_error_init_with_code(&error, code);
        std::string text = zipErrorText(&error);
        zip_error_fini(&error);
        return fail(path.string() + ": " + text);
    }
    if (!password_.empty()) zip_set_default_password(zip_, password_.c_str());
    committing_ = path.filename().string();
    return true;
}

bool ZipArchive::openArchive(const fs::path& path) {
    return openWith(path, 0);
}

bool ZipArchive::createArchive(const fs::path& path) {
    return openWith(path, ZIP_CREATE | ZIP_TRUNCATE);
}

bool ZipArchive::closeArchive() {
    if (!zip_) return true;
    std::function<void(int)> report = [this](int percent) {
        if (onOverallProgress) onOverallProgress(committing_, percent);
    };
    zip_register_progress_callback_with_state(zip_, 0.01, progressCallback, nullptr, &report);
    if (zip_close(zip_) != 0) {
        std::string text = zipErrorText(zip_get_error(zip_));
        zip_discard(zip_);
        zip_ = nullptr;
        return fail(text);
    }
    zip_ = nullptr;
    return true;
}

int ZipArchive::entryCount() const {
    if (!zip_) return 0;
    zip_int64_t n = zip_get_num_entries(zip_, 0);
    return n < 0 ? 0 : static_cast<int>(std::min<zip_int64_t>(n, 1 << 30));
}

bool ZipArchive::addFiles(const fs::path& pathOrFolder) {
    if (!zip_) return fail("no archive is open");
    std::error_code ec;
    std::vector<std::pair<fs::path, std::string>> files;
    if (fs::is_directory(pathOrFolder, ec)) {
        if (preservePath_) {
            for (auto it = fs::recursive_directory_iterator(pathOrFolder, ec);
                 !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
                if (it->is_regular_file(ec))
                    files.emplace_back(it->path(),
                                       fs::relative(it->path(), pathOrFolder, ec).generic_string());
            }
        } else {
            for (auto it = fs::directory_iterator(pathOrFolder, ec); !ec && it != fs::directory_iterator();
                 it.increment(ec)) {
                if (it->is_regular_file(ec)) files.emplace_back(it->path(), it->path().filename().string());
            }
        }
        if (ec) return fail(pathOrFolder.string() + ": " + ec.message());
        std::sort(files.begin(), files.end());
    } else if (fs::is_regular_file(pathOrFolder, ec)) {
        std::string name =
            preservePath_ ? pathOrFolder.relative_path().generic_string() : pathOrFolder.filename().string();
        files.emplace_back(pathOrFolder, name);
    } else {
        return fail(pathOrFolder.string() + ": no such file or folder");
    }
    for (const auto& [file, name] : files) {
        zip_source_t* source = zip_source_file(zip_, file.c_str(), 0, -1);
        if (!source) return fail(file.string() + ": " + zipErrorText(zip_get_error(zip_)));
        zip_int64_t index = zip_file_add(zip_, name.c_str(), source, ZIP_FL_OVERWRITE | ZIP_FL_ENC_UTF_8);
        if (index < 0) {
            zip_source_free(source);
            return fail(name + ": " + zipErrorText(zip_get_error(zip_)));
        }
        if (!password_.empty() &&
            zip_file_set_encryption(zip_, static_cast<zip_uint64_t>(index), ZIP_EM_AES_256, nullptr) != 0)
            return fail(name + ": " + zipErrorText(zip_get_error(zip_)));
        if (onFileProgress) onFileProgress(name, 100);
    }
    return true;
}

bool ZipArchive::removeFile(const std::string& name) {
    if (!zip_) return fail("no archive is open");
    zip_int64_t index = zip_name_locate(zip_, name.c_str(), 0);
    if (index < 0 || zip_delete(zip_, static_cast<zip_uint64_t>(index)) != 0)
        return fail(name + ": " + zipErrorText(zip_get_error(zip_)));
    return true;
}

bool ZipArchive::checkEntry(int index) {
    if (!zip_ || index < 0 || index >= entryCount()) return fail("no such member");
    zip_stat_t st;
    zip_stat_init(&st);
    if (zip_stat_index(zip_, static_cast<zip_uint64_t>(index), 0, &st) != 0)
        return fail(zipErrorText(zip_get_error(zip_)));
    if ((st.valid & ZIP_STAT_SIZE) && st.size > limits_.totalBytes) return fail("member too large");
    zip_file_t* file = zip_fopen_index(zip_, static_cast<zip_uint64_t>(index), 0);
    if (!file) return fail(zipErrorText(zip_get_error(zip_)));
    std::vector<char> buffer(1 << 16);
    std::uint64_t total = 0;
    bool ok = true;
    for (;;) {
        zip_int64_t got = zip_fread(file, buffer.data(), buffer.size());
        if (got < 0) {
            error_ = zipErrorText(zip_file_get_error(file));
            ok = false;
            break;
        }
        if (got == 0) break;
        total += static_cast<std::uint64_t>(got);
        if ((st.valid & ZIP_STAT_SIZE) && total > st.size) {
            error_ = "member longer than it declares";
            ok = false;
            break;
        }
    }
    zip_fclose(file);
    return ok;
}

bool ZipArchive::describeMember(std::uint64_t index, ZipMember& out) {
    zip_stat_t st;
    zip_stat_init(&st);
    if (zip_stat_index(zip_, index, 0, &st) != 0 || !(st.valid & ZIP_STAT_NAME)) return false;
    out = ZipMember{};
    out.index = index;
    out.name = st.name;
    if (isFolderMember(out.name)) return false;
    out.size = (st.valid & ZIP_STAT_SIZE) ? st.size : 0;
    out.compressedSize = (st.valid & ZIP_STAT_COMP_SIZE) ? st.comp_size : 0;
    const bool supported = !(st.valid & ZIP_STAT_COMP_METHOD) ||
                           zip_compression_method_supported(static_cast<zip_int32_t>(st.comp_method), 0);
    if (isSymlinkMember(zip_, index))
        out.refusal = "a symbolic link";
    else if (!supported)
        out.refusal = "an unsupported compression method";
    else if (!(st.valid & ZIP_STAT_SIZE))
        out.refusal = "no declared size";
    out.beyondLimits = out.refusal.empty() &&
                       (out.size > limits_.totalBytes ||
                        (out.size > limits_.ratioFloor &&
                         out.size / std::max<std::uint64_t>(out.compressedSize, 1) > limits_.maxRatio));
    if (out.beyondLimits) out.refusal = "member expands beyond the limit";
    return true;
}

bool ZipArchive::listMembers(std::vector<ZipMember>& out) {
    out.clear();
    if (!zip_) return fail("no archive is open");
    const zip_int64_t count = zip_get_num_entries(zip_, 0);
    if (count < 0 || static_cast<std::uint64_t>(count) > limits_.maxEntries)
        return fail("too many members in the archive");
    for (zip_uint64_t i = 0; i < static_cast<zip_uint64_t>(count); ++i) {
        ZipMember member;
        if (describeMember(i, member)) out.push_back(std::move(member));
    }
    return true;
}

bool ZipArchive::readMember(const ZipMember& member, std::string& out) {
    out.clear();
    if (!zip_) return fail("no archive is open");
    if (!member.refusal.empty()) return fail(member.name + ": " + member.refusal);
    zip_file_t* file = zip_fopen_index(zip_, member.index, 0);
    if (!file) return fail(member.name + ": " + zipErrorText(zip_get_error(zip_)));
    // The declared size bounds the buffer; one byte more tells a member that lies about it.
    out.resize(static_cast<std::size_t>(member.size) + 1);
    std::uint64_t total = 0;
    bool ok = true;
    for (;;) {
        const zip_int64_t got = zip_fread(file, out.data() + total, out.size() - total);
        if (got < 0) {
            ok = fail(member.name + ": " + zipErrorText(zip_file_get_error(file)));
            break;
        }
        if (got == 0) break;
        total += static_cast<std::uint64_t>(got);
        if (total > member.size) {
            ok = fail(member.name + ": member longer than it declares");
            break;
        }
    }
    zip_fclose(file);
    if (ok)
        out.resize(static_cast<std::size_t>(total));
    else
        out.clear();
    return ok;
}

bool ZipArchive::extractOne(std::uint64_t index, const fs::path& target, std::uint64_t size,
                            const std::string& name) {
    zip_file_t* file = zip_fopen_index(zip_, index, 0);
    if (!file) return fail(name + ": " + zipErrorText(zip_get_error(zip_)));
    fs::path part = target;
    part += ".part";
    ::unlink(part.c_str());
    int fd = ::open(part.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (fd < 0) {
        zip_fclose(file);
        return fail(name + ": cannot write " + part.string());
    }
    std::vector<char> buffer(1 << 16);
    std::uint64_t total = 0;
    int shown = -1;
    bool ok = true;
    for (;;) {
        zip_int64_t got = zip_fread(file, buffer.data(), buffer.size());
        if (got < 0) {
            ok = fail(name + ": " + zipErrorText(zip_file_get_error(file)));
            break;
        }
        if (got == 0) break;
        total += static_cast<std::uint64_t>(got);
        if (total > size) {
            ok = fail(name + ": member longer than it declares");
            break;
        }
        if (::write(fd, buffer.data(), static_cast<std::size_t>(got)) != got) {
            ok = fail(name + ": write failed");
            break;
        }
        int percent = size ? static_cast<int>(total * 100 / size) : 100;
        if (percent != shown && onFileProgress) onFileProgress(name, percent);
        shown = percent;
    }
    zip_fclose(file);
    if (::close(fd) != 0 && ok) ok = fail(name + ": write failed");
    if (ok && ::rename(part.c_str(), target.c_str()) != 0)
        ok = fail(name + ": cannot write " + target.string());
    if (!ok) ::unlink(part.c_str());
    return ok;
}

bool ZipArchive::extractFiles(const std::string& mask) {
    extracted_ = 0;
    refused_ = 0;
    if (!zip_) return fail("no archive is open");
    if (baseFolder_.empty()) return fail("no folder to extract to");
    zip_int64_t count = zip_get_num_entries(zip_, 0);
    if (count < 0 || static_cast<std::uint64_t>(count) > limits_.maxEntries)
        return fail("too many members in the archive");

    struct Job {
        zip_uint64_t index;
        fs::path path;
        std::uint64_t size;
        std::string name;
    };
    std::vector<Job> jobs;
    std::uint64_t total = 0;
    bool allWritten = true;
    for (zip_uint64_t i = 0; i < static_cast<zip_uint64_t>(count); ++i) {
        ZipMember member;
        if (!describeMember(i, member)) continue;
        const std::string& name = member.name;
        fs::path base = safeMemberPath(name, false);
        if (!maskMatches(mask, name) && !maskMatches(mask, base.string())) continue;
        fs::path path = safeMemberPath(name, preservePath_);
        if (path.empty() || !member.refusal.empty()) {
            // A bomb stops the whole job before anything is written; other refusals only the member.
            if (path.empty() || !member.beyondLimits) {
                ++refused_;
                allWritten = false;
                error_ = name + ": member refused";
                continue;
            }
            return fail(name + ": " + member.refusal);
        }
        total += member.size;
        if (total > limits_.totalBytes) return fail("the archive expands beyond the limit");
        jobs.push_back({i, path, member.size, name});
    }

    std::error_code ec;
    fs::create_directories(baseFolder_, ec);
    for (std::size_t j = 0; j < jobs.size(); ++j) {
        const Job& job = jobs[j];
        if (!makeParents(baseFolder_, job.path)) {
            ++refused_;
            allWritten = false;
            error_ = job.name + ": member refused";
            continue;
        }
        if (extractOne(job.index, baseFolder_ / job.path, job.size, job.name))
            ++extracted_;
        else
            allWritten = false;
        if (onOverallProgress) onOverallProgress(job.name, static_cast<int>((j + 1) * 100 / jobs.size()));
    }
    return allWritten;
}

} // namespace velvora::package
