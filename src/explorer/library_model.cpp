#include "explorer/library_model.h"

#include <QBrush>
#include <QFont>
#include <QPalette>

#include <algorithm>

namespace velvora::explorer {

QString lengthText(int seconds) {
    if (seconds < 0) return {};
    return QString("%1:%2").arg(seconds / 60).arg(seconds % 60, 2, 10, QChar('0'));
}

void LibraryModel::setSongs(std::vector<SongRecord> songs) {
    songs_ = std::move(songs);
    reindex();
}

void LibraryModel::merge(const std::vector<SongRecord>& songs) {
    for (const SongRecord& s : songs) {
        const auto at = byPath_.find(s.path);
        const std::size_t i = at != byPath_.end() ? at->second : songs_.size();
        if (i == songs_.size()) {
            songs_.push_back(s);
            byPath_[s.path] = i;
        } else {
            songs_[i] = s;
        }
        index_.set(i, s);
    }
    refilter();
}

void LibraryModel::sortByTitle() {
    reindex();
}

void LibraryModel::removeFolder(const std::string& folder) {
    std::string prefix = folder;
    if (!prefix.empty() && prefix.back() != '/') prefix += '/';
    songs_.erase(
        std::remove_if(songs_.begin(), songs_.end(),
                       [&](const SongRecord& s) { return s.path.compare(0, prefix.size(), prefix) == 0; }),
        songs_.end());
    reindex();
}

void LibraryModel::reindex() {
    std::vector<std::pair<std::string, std::size_t>> keys;
    keys.reserve(songs_.size());
    for (std::size_t i = 0; i < songs_.size(); ++i) keys.emplace_back(foldCase(songs_[i].title), i);
    std::sort(keys.begin(), keys.end(), [this](const auto& a, const auto& b) {
        return a.first != b.first ? a.first < b.first : songs_[a.second].path < songs_[b.second].path;
    });
    std::vector<SongRecord> sorted;
    sorted.reserve(songs_.size());
    for (const auto& k : keys) sorted.push_back(std::move(songs_[k.second]));
    songs_ = std::move(sorted);
    byPath_.clear();
    for (std::size_t i = 0; i < songs_.size(); ++i) byPath_[songs_[i].path] = i;
    index_.rebuild(songs_);
    refilter();
}

void LibraryModel::setQuery(const std::string& query) {
    query_ = query;
    refilter();
}

void LibraryModel::refilter() {
    beginResetModel();
    rows_ = index_.search(query_);
    endResetModel();
}

const SongRecord* LibraryModel::songAt(int row) const {
    if (row < 0 || row >= static_cast<int>(rows_.size())) return nullptr;
    return &songs_[static_cast<std::size_t>(rows_[static_cast<std::size_t>(row)])];
}

const SongRecord* LibraryModel::find(const std::string& path) const {
    const auto at = byPath_.find(path);
    return at == byPath_.end() ? nullptr : &songs_[at->second];
}

int LibraryModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int LibraryModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant LibraryModel::data(const QModelIndex& index, int role) const {
    const SongRecord* s = songAt(index.row());
    if (!s) return {};
    if (role == Qt::DisplayRole) {
        switch (index.column()) {
        case Title:
            return QString::fromStdString(s->title);
        case Artist:
            return QString::fromStdString(s->artist);
        case Kind:
            return QString::fromStdString(s->kind);
        case Length:
            return lengthText(s->seconds);
        case Status:
            if (s->missing) return QStringLiteral("missing");
            return QString::fromStdString(s->problem);
        default:
            return {};
        }
    }
    if (role == Qt::ToolTipRole) return QString::fromStdString(readablePath(s->path));
    if (role == Qt::ForegroundRole && (s->missing || !s->problem.empty())) return QBrush(Qt::gray);
    if (role == Qt::FontRole && s->missing) {
        QFont f;
        f.setItalic(true);
        return f;
    }
    return {};
}

QVariant LibraryModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
    static const char* const names[] = {"Title", "Artist", "Kind", "Length", "Status"};
    return section >= 0 && section < ColumnCount ? QString(names[section]) : QVariant();
}

} // namespace velvora::explorer
