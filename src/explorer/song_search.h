// Type-to-search over the library: every word typed must occur, in any case, in the song's
// title, artist or file name. The texts are case-folded once when the index is built, so a
// search is a plain substring scan over about a hundred bytes a song: some hundreds of
// microseconds on 10,000 songs (bench/library_scan).
#pragma once

#include "explorer/song_record.h"

#include <string>
#include <vector>

namespace velvora::explorer {

// Case-folded UTF-8 of `text` (accented letters included).
std::string foldCase(const std::string& text);

class SongIndex {
  public:
    void rebuild(const std::vector<SongRecord>& songs);
    // Sets the entry of song `i`, appending when `i` is the size.
    void set(std::size_t i, const SongRecord& song);
    // Indexes into the songs of the last rebuild, in their order; all of them for a blank query.
    std::vector<int> search(const std::string& query) const;
    std::size_t size() const { return haystacks_.size(); }

  private:
    std::vector<std::string> haystacks_;
};

} // namespace velvora::explorer
