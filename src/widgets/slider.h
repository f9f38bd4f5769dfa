#pragma once

#include <QSlider>
#include <QStyleOptionSlider>

class QKeyEvent;
class QMouseEvent;
class QTimerEvent;
class QWheelEvent;

namespace velvora::widgets {

// A slider that tells the user's moves apart from values set by code. userChanged() comes only
// from a value change that the mouse, the wheel or a key made; setValue() from code changes the
// value and the knob and runs nothing, so a routine that wants a slider's change handler after
// setting it calls that handler itself.
//
// A slider drawn upside down (invertedAppearance) turns its controls with it (invertedControls,
// set by the window's controls), so that the wheel turned up and the Up key move the knob up.
//
// A seek bar (setSeekBar) reports every user move as a press and a release: a click anywhere on
// the groove puts the knob there and begins a drag (sliderPressed), the release ends it
// (sliderReleased); a key or a wheel step is a press, the step and a release.
class Slider : public QSlider {
    Q_OBJECT
  public:
    explicit Slider(QWidget* parent = nullptr);

    void setSeekBar(bool on);
    bool isSeekBar() const { return seekBar_; }

    // The slider as its style draws it now: knob, groove, direction.
    QStyleOptionSlider styleOption() const;

  signals:
    void userChanged(int value);

  protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

  private:
    // Runs a base handler as the user's doing, wrapped in a press and a release on a seek bar.
    template <class Handler>
    void asUser(bool pressAndRelease, Handler handler);
    static bool movesTheKnob(const QKeyEvent* event);

    int userDepth_ = 0;
    bool seekBar_ = false;
};

} // namespace velvora::widgets
