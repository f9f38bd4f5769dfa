#include "widgets/lyricpicture.h"

#include <QPaintEvent>
#include <QPainter>
#include <QResizeEvent>

namespace velvora::widgets {

LyricPicture::LyricPicture(QWidget* parent)
    : QWidget(parent), image_(minimumPageWidth, minimumPageHeight, QImage::Format_RGB32) {
    setMinimumSize(minimumPageWidth, minimumPageHeight);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setAttribute(Qt::WA_OpaquePaintEvent);
    image_.fill(background_);
}

void LyricPicture::setBackgroundColor(const QColor& colour) {
    background_ = colour;
    cls();
}

void LyricPicture::cls() {
    image_.fill(background_);
    blank_ = true;
    update();
    if (companion_) companion_->cls();
}

void LyricPicture::refresh() {
    blank_ = false;
    update();
}

QSize LyricPicture::sizeHint() const {
    return {minimumPageWidth, minimumPageHeight};
}

void LyricPicture::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    painter.fillRect(event->rect(), background_);
    painter.drawImage(0, 0, image_);
}

void LyricPicture::resizeEvent(QResizeEvent* event) {
    const QSize size = event->size().expandedTo(QSize(1, 1));
    QWidget::resizeEvent(event);
    if (size == image_.size()) return;
    image_ = QImage(size, QImage::Format_RGB32);
    image_.fill(background_);
    if (!blank_) {
        blank_ = true;
        emit pageLost();
    }
}

} // namespace velvora::widgets
