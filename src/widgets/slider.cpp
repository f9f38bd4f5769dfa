#include "widgets/slider.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QProxyStyle>
#include <QTimerEvent>
#include <QWheelEvent>

namespace velvora::widgets {

namespace {

// The application's style, but a left click on the groove jumps the knob to the clicked place and
// takes hold of it, as a drag of the knob would.
class JumpToClickStyle final : public QProxyStyle {
  public:
    using QProxyStyle::QProxyStyle;
    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* returnData) const override {
        if (hint == SH_Slider_AbsoluteSetButtons) return Qt::LeftButton;
        return QProxyStyle::styleHint(hint, option, widget, returnData);
    }
};

} // namespace

Slider::Slider(QWidget* parent) : QSlider(parent) {
    connect(this, &QAbstractSlider::valueChanged, this, [this](int value) {
        if (userDepth_ > 0) emit userChanged(value);
    });
}

void Slider::setSeekBar(bool on) {
    if (seekBar_ == on) return;
    seekBar_ = on;
    if (on) {
        auto* style = new JumpToClickStyle();
        style->setParent(this);
        setStyle(style);
    } else {
        setStyle(nullptr);
    }
}

QStyleOptionSlider Slider::styleOption() const {
    QStyleOptionSlider option;
    initStyleOption(&option);
    return option;
}

template <class Handler>
void Slider::asUser(bool pressAndRelease, Handler handler) {
    ++userDepth_;
    const bool wrap = pressAndRelease && seekBar_ && !isSliderDown();
    if (wrap) setSliderDown(true);
    handler();
    if (wrap) setSliderDown(false);
    --userDepth_;
}

bool Slider::movesTheKnob(const QKeyEvent* event) {
    switch (event->key()) {
    case Qt::Key_Left:
    case Qt::Key_Right:
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
    case Qt::Key_Home:
    case Qt::Key_End:
        return true;
    default:
        return false;
    }
}

void Slider::mousePressEvent(QMouseEvent* event) {
    asUser(false, [&] { QSlider::mousePressEvent(event); });
}

void Slider::mouseMoveEvent(QMouseEvent* event) {
    asUser(false, [&] { QSlider::mouseMoveEvent(event); });
}

void Slider::mouseReleaseEvent(QMouseEvent* event) {
    asUser(false, [&] { QSlider::mouseReleaseEvent(event); });
}

void Slider::wheelEvent(QWheelEvent* event) {
    asUser(true, [&] { QSlider::wheelEvent(event); });
}

void Slider::keyPressEvent(QKeyEvent* event) {
    asUser(movesTheKnob(event), [&] { QSlider::keyPressEvent(event); });
}

void Slider::timerEvent(QTimerEvent* event) {
    // The repeat of a held click on the groove.
    asUser(false, [&] { QSlider::timerEvent(event); });
}

} // namespace velvora::widgets
