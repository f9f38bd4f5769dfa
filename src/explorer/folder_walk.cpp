#include "explorer/folder_walk.h"

#include "explorer/song_record.h"
#include "package/cdg_zip.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <system_error>

namespace velvora::explorer {

namespace fs = std::filesystem;

namespace {

// Deeper than any music collection; a chain of distinct folders this deep is not followed further.
constexpr int kMaxDepth = 64;

struct Walk {
    const std::atomic<bool>& stop;
    FolderListing out;
    std::set<fs::path> seen;

    void problem(const fs::path& p, const std::string& why) {
        out.problems.push_back(p.string() + ": " + why);
    }

    void enter(const fs::path& folder, int depth) {
        std::error_code ec;
        const fs::path real = fs::canonical(folder, ec);
        if (ec) {
            problem(folder, "cannot be opened (" + ec.message() + ")");
            return;
        }
        if (!seen.insert(real).second) {
            if (depth > 0) problem(folder, "leads back to a folder already listed; not entered again");
            return;
        }
        if (depth > kMaxDepth) {
            problem(folder, "lies too deep; not entered");
            return;
        }
        fs::directory_iterator it(folder, fs::directory_options::none, ec);
        if (ec) {
            problem(folder, "cannot be opened (" + ec.message() + ")");
            return;
        }
        std::vector<fs::path> folders;
        std::vector<fs::path> songs;
        std::set<std::string> graphicsStems;
        for (const fs::directory_iterator end; it != end && !stop; it.increment(ec)) {
            if (ec) break;
            const fs::path& p = it->path();
            std::error_code typeError;
            const fs::file_status st = it->status(typeError); // links followed
            if (fs::is_directory(st)) {
                folders.push_back(p);
                continue;
            }
            const std::string kind = songKind(p.string());
            if (kind.empty()) {
                // A ZIP file is listed when it names CD+G graphics; any other archive is not a song.
                if (isZipFile(p.string()) && fs::is_regular_file(st) && package::namesCdgGraphics(p.string()))
                    songs.push_back(p);
                continue;
            }
            if (fs::is_regular_file(st)) {
                songs.push_back(p);
                if (kind == "CD+G") graphicsStems.insert(p.stem().string());
            } else if (typeError || !fs::exists(st))
                problem(p, "cannot be reached (a link to nothing, or no permission)");
            else
                // A pipe or a device would block a read that waits for data that never comes.
                problem(p, "is not a plain file; not read");
        }
        if (ec) problem(folder, "could not be listed whole (" + ec.message() + ")");
        // An MP3 with CD+G graphics beside it is one song, listed once by its graphics file.
        for (const fs::path& p : songs)
            if (songKind(p.string()) != "MP3" || !graphicsStems.count(p.stem().string()))
                out.songs.push_back(p.string());
        std::sort(folders.begin(), folders.end());
        for (const fs::path& f : folders) {
            if (stop) return;
            enter(f, depth + 1);
        }
    }
};

} // namespace

FolderListing listSongs(const std::string& folder, const std::atomic<bool>& stop) {
    Walk walk{stop, {}, {}};
    walk.enter(folder, 0);
    std::sort(walk.out.songs.begin(), walk.out.songs.end());
    return std::move(walk.out);
}

} // namespace velvora::explorer
