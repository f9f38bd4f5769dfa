#include "widgets/clicklabel.h"

#include <QMouseEvent>

namespace velvora::widgets {

ClickLabel::ClickLabel(QWidget* parent) : QLabel(parent) {
    setCursor(Qt::PointingHandCursor);
}

void ClickLabel::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        event->accept();
        return;
    }
    QLabel::mousePressEvent(event);
}

void ClickLabel::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        event->accept();
        if (rect().contains(event->position().toPoint())) emit clicked();
        return;
    }
    QLabel::mouseReleaseEvent(event);
}

} // namespace velvora::widgets
