#include "widgets/vumeterpicture.h"

#include <QPaintEvent>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace velvora::widgets {

VuMeterPicture::VuMeterPicture(QWidget* parent) : QWidget(parent) {
    setMinimumSize(24, 100);
    setAttribute(Qt::WA_OpaquePaintEvent);
}

void VuMeterPicture::setLevel(double level) {
    if (!std::isfinite(level) || level < 0.0) level = 0.0;
    if (level == level_) return;
    level_ = level;
    update();
}

void VuMeterPicture::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    painter.fillRect(rect(), Qt::black);
    const int h = height();
    const int bar = static_cast<int>(std::lround(std::min(level_, 1.0) * h));
    if (bar > 0) painter.fillRect(0, h - bar, width(), bar, QColor(0, 220, 0));
}

} // namespace velvora::widgets
