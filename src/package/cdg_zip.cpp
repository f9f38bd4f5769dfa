#include "package/cdg_zip.h"

#include "core/vb_text.h"
#include "package/zip_archive.h"

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

// The files of `folder` whose extension is `extension` (any case).
std::vector<fs::path> filesWith(const fs::path& folder, const std::string& extension) {
    std::vector<fs::path> out;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(folder, ec))
        if (entry.is_regular_file(ec) && vb::LCase(entry.path().extension().string()) == extension)
            out.push_back(entry.path());
    return out;
}

} // namespace

std::string UnpackCdgSong(const std::string& zipPath, const fs::path& folder, std::string& problem) {
    emptyFolder(folder);
    ZipArchive zip;
    zip.setBaseFolder(folder);
    zip.setPreservePath(false);
    if (!zip.openArchive(zipPath)) {
        problem = "it cannot be read as a ZIP file (" + zip.lastError() + ")";
        return {};
    }
    bool whole = zip.extractFiles("*.cdg");
    whole = zip.extractFiles("*.mp3") && whole;
    zip.closeArchive();
    const std::vector<fs::path> graphics = filesWith(folder, ".cdg");
    const std::vector<fs::path> audio = filesWith(folder, ".mp3");
    if (!whole || graphics.size() != 1 || audio.size() != 1) {
        problem = !whole
                      ? "some of its files could not be unpacked safely (" + zip.lastError() + ")"
                      : "it must hold one MP3 and one CD+G file, and holds " + std::to_string(audio.size()) +
                            " MP3 and " + std::to_string(graphics.size()) + " CD+G";
        emptyFolder(folder);
        return {};
    }
    fs::path twin = graphics[0];
    twin.replace_extension(".mp3");
    std::error_code ec;
    if (audio[0] != twin) fs::rename(audio[0], twin, ec);
    if (ec) {
        problem = "its MP3 could not be put beside its graphics (" + ec.message() + ")";
        emptyFolder(folder);
        return {};
    }
    return graphics[0].string();
}

} // namespace velvora::package
