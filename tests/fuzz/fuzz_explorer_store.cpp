// The explorer's library and queue files on arbitrary bytes: whatever a parse reads writes back
// as a text that reads the same.
#include "explorer/library_store.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace {

bool sameSongs(const velvora::explorer::Library& a, const velvora::explorer::Library& b) {
    if (a.folders != b.folders || a.songs.size() != b.songs.size()) return false;
    for (std::size_t i = 0; i < a.songs.size(); ++i) {
        const auto& x = a.songs[i];
        const auto& y = b.songs[i];
        if (x.path != y.path || x.title != y.title || x.artist != y.artist || x.kind != y.kind ||
            x.seconds != y.seconds || x.missing != y.missing || x.problem != y.problem)
            return false;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace velvora::explorer;
    const std::string text(reinterpret_cast<const char*>(data), size);
    for (const std::string& head : {std::string(), std::string("velvora-explorer-library 1\n")}) {
        Library library, again;
        parseLibrary(head + text, library);
        const ParseResult r = parseLibrary(formatLibrary(library), again);
        if (r.badLines != 0 || !sameSongs(library, again)) __builtin_trap();
    }
    for (const std::string& head : {std::string(), std::string("velvora-explorer-queue 1\n")}) {
        std::vector<QueueEntry> queue, again;
        parseQueue(head + text, queue);
        const ParseResult r = parseQueue(formatQueue(queue), again);
        if (r.badLines != 0 || again.size() != queue.size()) __builtin_trap();
        for (std::size_t i = 0; i < queue.size(); ++i)
            if (again[i].path != queue[i].path || again[i].title != queue[i].title ||
                again[i].singer != queue[i].singer)
                __builtin_trap();
    }
    return 0;
}
