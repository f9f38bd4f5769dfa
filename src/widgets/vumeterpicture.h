#pragma once

#include <QWidget>

class QPaintEvent;

namespace velvora::widgets {

// The live input level box: black, with a green bar rising from the bottom. A level of 1 fills
// the box; higher levels are accepted and simply fill it.
class VuMeterPicture : public QWidget {
    Q_OBJECT
  public:
    explicit VuMeterPicture(QWidget* parent = nullptr);

    void setLevel(double level);
    double level() const { return level_; }
    // Clears the box to black (level 0).
    void cls() { setLevel(0.0); }

    QSize sizeHint() const override { return {48, 200}; }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    double level_ = 0.0;
};

} // namespace velvora::widgets
