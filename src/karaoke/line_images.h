// Lines of lyric text drawn once into images and kept, so that a word step paints the page from
// them instead of drawing every glyph again. Large glyphs (the singer's screen draws lines 100 to
// 140 pixels high) are not kept in the window system's glyph cache and cost tens of milliseconds a
// page to draw from their outlines; a kept line costs a copy.
#pragma once

#include <QColor>
#include <QFont>
#include <QImage>
#include <QString>

#include <cstdint>
#include <unordered_map>

class QPainter;
class QRect;

namespace velvora::karaoke {

class LineImages {
  public:
    explicit LineImages(std::size_t capacity = 16) : capacity_(capacity) {}

    // Draws `text` in `font` and `colour` with its top-left at `rect`'s, inside `rect` only, as
    // QPainter::drawText(rect, Qt::AlignLeft | Qt::AlignTop, text) would. With `upTo` >= 0, only
    // the part of the line left of `upTo` pixels from the rect's left edge is drawn.
    void draw(QPainter& painter, const QRect& rect, const QString& text, const QFont& font, QColor colour,
              int upTo = -1);

    std::size_t size() const { return lines_.size(); }
    bool keeps(const QString& text, const QFont& font, QColor colour) const {
        return lines_.count(key(text, font, colour)) != 0;
    }

  private:
    struct Line {
        QImage image;
        int pad = 0; // the room kept around the text for glyphs that reach past its box
        std::uint64_t lastUse = 0;
    };
    static QString key(const QString& text, const QFont& font, QColor colour);
    const Line& line(const QString& text, const QFont& font, QColor colour);

    std::size_t capacity_;
    std::uint64_t uses_ = 0;
    std::unordered_map<QString, Line> lines_;
};

} // namespace velvora::karaoke
