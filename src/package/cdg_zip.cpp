#include "package/cdg_zip.h"

#include "core/vb_text.h"

#include <system_error>
#include <vector>

namespace velvora::package {

namespace fs = std::filesystem;

namespace {

void emptyFolder(const fs::path& folder) {
    std::error_code ec;
    fs::remove_all(folder, ec);
    fs::create_directories(folder, ec);
}

// The extension of a member's flat name, lower case, with its dot.
std::string memberExtension(const ZipMember& member) {
    return vb::LCase(safeMemberPath(member.name, false).extension().string());
}

bool openForReading(ZipArchive& zip, const std::string& zipPath, std::string& problem) {
    if (zip.openArchive(zipPath)) return true;
    problem = "cannot be read as a ZIP file (" + zip.lastError() + ")";
    return false;
}

} // namespace

bool namesCdgGraphics(const std::string& zipPath) {
    ZipArchive zip;
    std::vector<ZipMember> members;
    if (!zip.openArchive(zipPath) || !zip.listMembers(members)) return false;
    for (const ZipMember& m : members)
        if (memberExtension(m) == ".cdg") return true;
    return false;
}

bool findCdgPair(ZipArchive& zip, CdgZipPair& pair, std::string& problem) {
    std::vector<ZipMember> members;
    if (!zip.listMembers(members)) {
        problem = "cannot be read as a ZIP file (" + zip.lastError() + ")";
        return false;
    }
    std::vector<const ZipMember*> graphics, audio;
    for (const ZipMember& m : members) {
        const std::string ext = memberExtension(m);
        if (ext == ".cdg") graphics.push_back(&m);
        if (ext == ".mp3") audio.push_back(&m);
    }
    if (graphics.size() != 1 || audio.size() != 1) {
        problem = "must hold one MP3 and one CD+G file, and holds " + std::to_string(audio.size()) +
                  " MP3 and " + std::to_string(graphics.size()) + " CD+G";
        return false;
    }
    for (const ZipMember* m : {graphics[0], audio[0]})
        if (!m->refusal.empty() || safeMemberPath(m->name, false).empty()) {
            problem = "holds a file that cannot be read safely (" + m->name + ": " +
                      (m->refusal.empty() ? "a name that is no file name" : m->refusal) + ")";
            return false;
        }
    pair = {*graphics[0], *audio[0]};
    return true;
}

bool readCdgZipAudio(const std::string& zipPath, std::uint64_t maxBytes, std::string& mp3,
                     std::string& problem) {
    mp3.clear();
    ZipArchive zip;
    CdgZipPair pair;
    if (!openForReading(zip, zipPath, problem) || !findCdgPair(zip, pair, problem)) return false;
    if (pair.audio.size > maxBytes) {
        problem = "holds an MP3 too large to be read for the list (" + std::to_string(pair.audio.size >> 20) +
                  " MB)";
        return false;
    }
    if (!zip.readMember(pair.audio, mp3)) {
        problem = "holds a file that cannot be read (" + zip.lastError() + ")";
        return false;
    }
    return true;
}

std::string UnpackCdgSong(const std::string& zipPath, const fs::path& folder, std::string& problem) {
    emptyFolder(folder);
    ZipArchive zip;
    zip.setBaseFolder(folder);
    zip.setPreservePath(false);
    CdgZipPair pair;
    if (!openForReading(zip, zipPath, problem) || !findCdgPair(zip, pair, problem)) return {};
    const fs::path graphics = folder / safeMemberPath(pair.graphics.name, false);
    fs::path twin = graphics;
    twin.replace_extension(".mp3");
    const bool whole = zip.extractFiles(pair.graphics.name) && zip.extractFiles(pair.audio.name);
    zip.closeArchive();
    std::error_code ec;
    const fs::path audio = folder / safeMemberPath(pair.audio.name, false);
    if (whole && audio != twin) fs::rename(audio, twin, ec);
    if (!whole || ec || !fs::is_regular_file(graphics, ec) || !fs::is_regular_file(twin, ec)) {
        problem = "some of its files could not be unpacked safely (" +
                  (whole ? (ec ? ec.message() : std::string("missing after unpacking")) : zip.lastError()) +
                  ")";
        emptyFolder(folder);
        return {};
    }
    return graphics.string();
}

} // namespace velvora::package
