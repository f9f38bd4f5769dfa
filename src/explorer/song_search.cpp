#include "explorer/song_search.h"

#include <QString>

#include <algorithm>

namespace velvora::explorer {

std::string foldCase(const std::string& text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())).toCaseFolded().toStdString();
}

namespace {
std::string haystack(const SongRecord& s) {
    return foldCase(s.title + '\n' + s.artist + '\n' + displayName(s.path));
}
} // namespace

void SongIndex::rebuild(const std::vector<SongRecord>& songs) {
    haystacks_.clear();
    haystacks_.reserve(songs.size());
    for (const SongRecord& s : songs) haystacks_.push_back(haystack(s));
}

void SongIndex::set(std::size_t i, const SongRecord& song) {
    if (i < haystacks_.size())
        haystacks_[i] = haystack(song);
    else
        haystacks_.push_back(haystack(song));
}

std::vector<int> SongIndex::search(const std::string& query) const {
    std::vector<std::string> words;
    const std::string folded = foldCase(query);
    std::size_t at = 0;
    while (at < folded.size()) {
        const std::size_t end = std::min(folded.find_first_of(" \t\n", at), folded.size());
        if (end > at) words.push_back(folded.substr(at, end - at));
        at = end + 1;
    }
    std::vector<int> hits;
    hits.reserve(haystacks_.size());
    for (std::size_t i = 0; i < haystacks_.size(); ++i) {
        const std::string& h = haystacks_[i];
        if (std::all_of(words.begin(), words.end(),
                        [&h](const std::string& w) { return h.find(w) != std::string::npos; }))
            hits.push_back(static_cast<int>(i));
    }
    return hits;
}

} // namespace velvora::explorer
