#include "support/user_input.h"

#include <QApplication>
#include <QStyle>
#include <QStyleOptionSlider>
#include <QTest>
#include <QWheelEvent>

#include <gtest/gtest.h>

namespace velvora::testing {

void userSets(widgets::Slider* slider, int target) {
    ASSERT_NE(slider, nullptr);
    ASSERT_TRUE(slider->isEnabled()) << slider->objectName().toStdString() << " is disabled";
    // Up adds to the value unless the controls are inverted.
    const Qt::Key adds = slider->invertedControls() ? Qt::Key_Down : Qt::Key_Up;
    const Qt::Key takes = slider->invertedControls() ? Qt::Key_Up : Qt::Key_Down;
    const int presses = slider->maximum() - slider->minimum() + 1;
    for (int i = 0; i < presses && slider->value() != target; ++i)
        QTest::keyClick(slider, slider->value() < target ? adds : takes);
    ASSERT_EQ(slider->value(), target) << slider->objectName().toStdString();
}

void wheel(QWidget* widget, int notches) {
    const QPointF at(widget->width() / 2.0, widget->height() / 2.0);
    QWheelEvent event(at, widget->mapToGlobal(at), QPoint(), QPoint(0, 120 * notches), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(widget, &event);
}

QRect knobRect(const widgets::Slider* slider) {
    const QStyleOptionSlider option = slider->styleOption();
    return slider->style()->subControlRect(QStyle::CC_Slider, &option, QStyle::SC_SliderHandle, slider);
}

QPoint knobCentreAt(const widgets::Slider* slider, int value) {
    const QStyleOptionSlider option = slider->styleOption();
    const QRect groove =
        slider->style()->subControlRect(QStyle::CC_Slider, &option, QStyle::SC_SliderGroove, slider);
    const QRect knob = knobRect(slider);
    if (slider->orientation() == Qt::Horizontal) {
        const int span = groove.width() - knob.width();
        const int at = QStyle::sliderPositionFromValue(slider->minimum(), slider->maximum(), value, span,
                                                       option.upsideDown);
        return {groove.x() + at + knob.width() / 2, groove.center().y()};
    }
    const int span = groove.height() - knob.height();
    const int at =
        QStyle::sliderPositionFromValue(slider->minimum(), slider->maximum(), value, span, option.upsideDown);
    return {groove.center().x(), groove.y() + at + knob.height() / 2};
}

} // namespace velvora::testing
