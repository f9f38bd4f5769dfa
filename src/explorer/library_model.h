// The library as the explorer's table shows it: the songs that match the search, one a row, with
// title, artist, kind, length and what is wrong with the file. Missing songs are shown greyed and
// say so; they are never left out.
#pragma once

#include "explorer/song_record.h"
#include "explorer/song_search.h"

#include <QAbstractTableModel>

#include <string>
#include <unordered_map>
#include <vector>

namespace velvora::explorer {

class LibraryModel final : public QAbstractTableModel {
  public:
    enum Column { Title, Artist, Kind, Length, Status, ColumnCount };

    // Every song, in the order the table shows them unfiltered (by title, then path).
    const std::vector<SongRecord>& songs() const { return songs_; }
    void setSongs(std::vector<SongRecord> songs);
    // Adds or replaces songs by path. New songs go at the end until sortByTitle() puts them in order.
    void merge(const std::vector<SongRecord>& songs);
    void sortByTitle();
    // Drops every song whose path starts with `folder`.
    void removeFolder(const std::string& folder);
    // Shows only the songs matching `query`.
    void setQuery(const std::string& query);
    const std::string& query() const { return query_; }

    const SongRecord* songAt(int row) const;
    const SongRecord* find(const std::string& path) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

  private:
    void reindex();
    void refilter();

    std::vector<SongRecord> songs_;
    std::unordered_map<std::string, std::size_t> byPath_;
    SongIndex index_;
    std::string query_;
    std::vector<int> rows_;
};

// "m:ss", or empty for an unknown length.
QString lengthText(int seconds);

} // namespace velvora::explorer
