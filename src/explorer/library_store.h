// The explorer's library and queue between runs: two small text files in the program's folder.
//
// Why plain files and not a database: the whole library is held in memory anyway (the search
// runs over it on every key), so the files are only read once at start and written whole after a
// change; 10,000 songs make about a megabyte and write in milliseconds. A text file needs no SQL
// driver beside the program, a damaged line costs only that line, and a person can read it.
// Each file is written to a temporary file beside it and renamed over it (QSaveFile), so a crash
// mid-write leaves the previous version whole.
//
// Format: a first line "<magic> <version>", then one record a line, fields separated by tabs,
// each field with '%', tab, line breaks and other control bytes written as %XX. Paths keep the
// file system's bytes, whatever their encoding.
#pragma once

#include "explorer/song_record.h"

#include <string>
#include <vector>

namespace velvora::explorer {

struct QueueEntry {
    std::string path;
    std::string title;
    std::string singer; // may be empty
};

struct Library {
    std::vector<std::string> folders;
    std::vector<SongRecord> songs;
};

// What a load found: problems to show, and whether the files may be written back. A file from a
// newer version is left as it is: the program keeps its changes in memory for this run only.
struct LoadReport {
    std::vector<std::string> problems;
    bool libraryWritable = true;
    bool queueWritable = true;
};

constexpr int kStoreVersion = 1;
inline constexpr const char* kLibraryFile = "explorer-library.txt";
inline constexpr const char* kQueueFile = "explorer-queue.txt";

class LibraryStore {
  public:
    // The files live in `folder` (the program's folder).
    explicit LibraryStore(std::string folder) : folder_(std::move(folder)) {}

    LoadReport load(Library& library, std::vector<QueueEntry>& queue);
    // Empty on success, else what went wrong. Nothing is written when load() found a newer file.
    std::string saveLibrary(const Library& library);
    std::string saveQueue(const std::vector<QueueEntry>& queue);

    std::string libraryPath() const;
    std::string queuePath() const;

  private:
    std::string folder_;
    bool libraryWritable_ = true;
    bool queueWritable_ = true;
};

// The files' texts, apart from the files. A parse fills what it can read and counts the lines it
// could not; a text whose first line is not the file's own, or is of a newer version, gives
// nothing.
enum class StoreHeader { Good, Newer, Damaged };
struct ParseResult {
    StoreHeader header = StoreHeader::Good;
    int badLines = 0;
};
ParseResult parseLibrary(const std::string& text, Library& out);
ParseResult parseQueue(const std::string& text, std::vector<QueueEntry>& out);
std::string formatLibrary(const Library& library);
std::string formatQueue(const std::vector<QueueEntry>& queue);

std::string escapeField(const std::string& field);
std::string unescapeField(const std::string& field, bool& ok);

} // namespace velvora::explorer
