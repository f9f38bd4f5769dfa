#pragma once
// The one place that reads and writes ZIP bytes: a small archive object over libzip with the roles
// the package opener and the package maker need. Every operation reports by its result and leaves
// the reason in lastError(); nothing throws.
//
// Extraction writes only inside the base folder: members whose names climb out of it (".."),
// absolute names, drive letters, symbolic-link members and members of an unsupported method are
// refused one by one; a job whose members would expand past the size limits, or an archive with
// more members than the count limit, is refused before anything is written.
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

struct zip; // libzip's archive

namespace velvora::package {

struct ExtractLimits {
    std::uint64_t totalBytes = 2ull << 30; // all selected members together
    std::uint64_t maxRatio = 200;          // uncompressed to compressed, for one member
    std::uint64_t ratioFloor = 1u << 20;   // members smaller than this are not held to the ratio
    std::uint64_t maxEntries = 4096;       // an archive with more members is refused
};

// One member as the central directory describes it; nothing of its body has been read.
struct ZipMember {
    std::uint64_t index = 0;
    std::string name;
    std::uint64_t size = 0;
    std::uint64_t compressedSize = 0;
    // Why the member may not be read or extracted under the limits (a link, an unsupported method,
    // an unknown size, an expansion past the ratio or the total): empty when it may.
    std::string refusal;
    // The refusal is an expansion past the limits: an extraction job holding it is refused whole.
    bool beyondLimits = false;
};

class ZipArchive {
  public:
    ZipArchive();
    ~ZipArchive();
    ZipArchive(const ZipArchive&) = delete;
    ZipArchive& operator=(const ZipArchive&) = delete;

    // Settings: the password used to open, read and write; whether member names keep their
    // folder part; the folder extraction writes to.
    void setPassword(const std::string& password) { password_ = password; }
    void setPreservePath(bool preserve) { preservePath_ = preserve; }
    void setBaseFolder(const std::filesystem::path& folder) { baseFolder_ = folder; }
    void setLimits(const ExtractLimits& limits) { limits_ = limits; }
    bool preservePath() const { return preservePath_; }

    bool openArchive(const std::filesystem::path& path);
    bool createArchive(const std::filesystem::path& path);
    // Commits the changes and closes; closing nothing open succeeds.
    bool closeArchive();
    bool isOpen() const { return zip_ != nullptr; }

    int entryCount() const;
    // Adds a file, or every file of a folder (its own files when names are flat, the whole tree
    // with folder-relative names when they are preserved). A member of the same name is replaced.
    bool addFiles(const std::filesystem::path& pathOrFolder);
    bool removeFile(const std::string& name);
    // Reads the member through to its end: true when it decrypts, decompresses and its checksum
    // matches.
    bool checkEntry(int index);
    // Extracts the members whose names match the mask (`*` and `?`, any case; "*.*" is every
    // member) into the base folder. True when every selected member was written.
    bool extractFiles(const std::string& mask);

    // The members of the open archive, folders left out, from its central directory alone; false
    // for an archive with more members than the count limit.
    bool listMembers(std::vector<ZipMember>& out);
    // Decompresses a member that is not refused into memory, checking that it gives no more than it
    // declares; false, with `out` empty, otherwise.
    bool readMember(const ZipMember& member, std::string& out);

    int extractedCount() const { return extracted_; }
    int refusedCount() const { return refused_; }
    const std::string& lastError() const { return error_; }

    // Progress: per member (during extraction) and of the whole job (extraction and the commit
    // of a written archive), in percent.
    std::function<void(const std::string& name, int percent)> onFileProgress;
    std::function<void(const std::string& name, int percent)> onOverallProgress;

  private:
    bool fail(const std::string& text);
    // Opens the archive at path with libzip's flags, closing the one open before.
    bool openWith(const std::filesystem::path& path, int flags);
    // The member at `index`; false for a folder member or one whose entry cannot be read.
    bool describeMember(std::uint64_t index, ZipMember& out);
    bool extractOne(std::uint64_t index, const std::filesystem::path& target, std::uint64_t size,
                    const std::string& name);

    ::zip* zip_ = nullptr;
    std::string password_;
    bool preservePath_ = false;
    std::filesystem::path baseFolder_;
    ExtractLimits limits_;
    std::string error_;
    int extracted_ = 0;
    int refused_ = 0;
    std::string committing_;
};

// `*` and `?` wildcard match, any case.
bool maskMatches(const std::string& mask, const std::string& name);
// The relative path a member may be written to, or empty when its name is refused: flat names
// keep the part behind the last slash or backslash; preserved names keep their folders but may
// not be absolute, carry a drive letter or climb with "..".
std::filesystem::path safeMemberPath(const std::string& name, bool preservePath);

} // namespace velvora::package
