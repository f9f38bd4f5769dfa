// Driving the window's controls as a user does: keys, the wheel and mouse clicks sent to the
// widget, never a value written by code.
#pragma once

#include "widgets/slider.h"

#include <QPoint>

namespace velvora::testing {

// Moves a slider to `target` with the arrow keys, one step a press, as a user holding it would.
// Fails the test when the slider cannot get there.
void userSets(widgets::Slider* slider, int target);
// Turns the mouse wheel over the widget by `notches` (positive up, away from the user).
void wheel(QWidget* widget, int notches);
// The point of a slider's groove where the knob's centre stands at `value`.
QPoint knobCentreAt(const widgets::Slider* slider, int value);
// The knob's rectangle as the slider's style draws it now.
QRect knobRect(const widgets::Slider* slider);

} // namespace velvora::testing
