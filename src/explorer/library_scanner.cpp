#include "explorer/library_scanner.h"

#include "explorer/folder_walk.h"
#include "explorer/song_reader.h"

#include <QMetaObject>

#include <algorithm>
#include <set>

namespace velvora::explorer {

namespace {
// Records handed over at a time: small enough that the list fills while the scan goes on, large
// enough that a 10,000-song scan queues a few hundred calls rather than 10,000.
constexpr std::size_t kBatch = 32;
} // namespace

LibraryScanner::~LibraryScanner() {
    stop();
}

template <class Fn>
void LibraryScanner::deliver(unsigned generation, Fn fn) {
    QMetaObject::invokeMethod(
        this,
        [this, generation, fn = std::move(fn)]() mutable {
            if (generation == generation_) fn();
        },
        Qt::QueuedConnection);
}

void LibraryScanner::start(std::vector<std::string> folders, std::vector<std::string> known) {
    stop();
    stop_ = false;
    running_ = true;
    const unsigned generation = ++generation_;
    worker_ = std::thread(&LibraryScanner::work, this, generation, std::move(folders), std::move(known));
}

void LibraryScanner::stop() {
    stop_ = true;
    if (worker_.joinable()) worker_.join();
    if (running_) ++generation_;
    running_ = false;
}

void LibraryScanner::wait() {
    if (worker_.joinable()) worker_.join();
}

void LibraryScanner::work(unsigned generation, std::vector<std::string> folders,
                          std::vector<std::string> known) {
    std::vector<std::string> paths;
    for (const std::string& folder : folders) {
        if (stop_) return;
        FolderListing listing = listSongs(folder, stop_);
        for (std::string& p : listing.problems)
            deliver(generation, [this, text = QString::fromStdString(p)] { emit problem(text); });
        paths.insert(paths.end(), listing.songs.begin(), listing.songs.end());
    }
    std::sort(paths.begin(), paths.end());
    paths.erase(std::unique(paths.begin(), paths.end()), paths.end());
    // Songs the library knew and the walk did not find: read again, they come back as missing.
    const std::set<std::string> found(paths.begin(), paths.end());
    for (std::string& k : known)
        if (!found.count(k)) paths.push_back(std::move(k));

    const int total = static_cast<int>(paths.size());
    deliver(generation, [this, total] { emit progress(0, total); });
    std::vector<SongRecord> batch;
    int done = 0;
    for (const std::string& path : paths) {
        if (stop_) return;
        batch.push_back(readSong(path));
        ++done;
        if (batch.size() == kBatch || done == total) {
            deliver(generation, [this, songs = std::move(batch), done, total] {
                emit songsRead(songs);
                emit progress(done, total);
            });
            batch = {};
        }
    }
    deliver(generation, [this, total] {
        running_ = false;
        emit finished(total);
    });
}

} // namespace velvora::explorer
