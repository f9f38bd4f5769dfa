#pragma once

#include <QLabel>

class QMouseEvent;

namespace velvora::widgets {

// A value label that returns its control to neutral when clicked: it emits clicked() when the
// left mouse button is released over it.
class ClickLabel : public QLabel {
    Q_OBJECT
  public:
    explicit ClickLabel(QWidget* parent = nullptr);

  signals:
    void clicked();

  protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
};

} // namespace velvora::widgets
