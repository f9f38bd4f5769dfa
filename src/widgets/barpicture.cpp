#include "widgets/barpicture.h"

#include <QPaintEvent>
#include <QPainter>

namespace velvora::widgets {

SpectrumPicture::SpectrumPicture(QWidget* parent) : QWidget(parent) {
    setFixedSize(pictureWidth, pictureHeight);
    setAttribute(Qt::WA_OpaquePaintEvent);
}

void SpectrumPicture::setImage(const QImage& image) {
    image_ = image;
    update();
}

void SpectrumPicture::cls() {
    image_ = QImage();
    update();
}

void SpectrumPicture::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    painter.fillRect(event->rect(), Qt::black);
    if (!image_.isNull()) painter.drawImage(0, 0, image_);
}

} // namespace velvora::widgets
