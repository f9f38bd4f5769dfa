#include "karaoke/line_images.h"

#include <QFontMetrics>
#include <QPainter>
#include <QRect>

#include <algorithm>

namespace velvora::karaoke {

QString LineImages::key(const QString& text, const QFont& font, QColor colour) {
    return font.key() + QChar(0x1f) + QString::number(colour.rgba()) + QChar(0x1f) + text;
}

const LineImages::Line& LineImages::line(const QString& text, const QFont& font, QColor colour) {
    const QString k = key(text, font, colour);
    auto found = lines_.find(k);
    if (found == lines_.end()) {
        if (lines_.size() >= capacity_) {
            auto oldest = std::min_element(lines_.begin(), lines_.end(), [](const auto& a, const auto& b) {
                return a.second.lastUse < b.second.lastUse;
            });
            lines_.erase(oldest);
        }
        const QFontMetrics metrics(font);
        Line made;
        made.pad = std::max(2, metrics.height() / 4);
        const int width = std::max(1, metrics.horizontalAdvance(text) + 2 * made.pad);
        const int height = metrics.height() + 2 * made.pad;
        made.image = QImage(width, height, QImage::Format_ARGB32_Premultiplied);
        made.image.fill(Qt::transparent);
        QPainter painter(&made.image);
        painter.setFont(font);
        painter.setPen(colour);
        painter.drawText(QRect(made.pad, made.pad, width - made.pad, height - made.pad),
                         Qt::AlignLeft | Qt::AlignTop, text);
        found = lines_.emplace(k, std::move(made)).first;
    }
    found->second.lastUse = ++uses_;
    return found->second;
}

void LineImages::draw(QPainter& painter, const QRect& rect, const QString& text, const QFont& font,
                      QColor colour, int upTo) {
    if (text.isEmpty() || rect.isEmpty() || upTo == 0) return;
    const Line& l = line(text, font, colour);
    QRect clip = rect;
    if (upTo > 0) clip.setRight(std::min(rect.right(), rect.left() + upTo - 1));
    painter.save();
    painter.setClipRect(clip);
    painter.drawImage(QPoint(rect.left() - l.pad, rect.top() - l.pad), l.image);
    painter.restore();
}

} // namespace velvora::karaoke
