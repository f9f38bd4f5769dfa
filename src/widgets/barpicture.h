#pragma once

#include <QImage>
#include <QWidget>

class QPaintEvent;

namespace velvora::widgets {

// One of the two spectrum boxes: a fixed 368 x 140 black area that shows the last image given.
class SpectrumPicture : public QWidget {
    Q_OBJECT
  public:
    static constexpr int pictureWidth = 368;
    static constexpr int pictureHeight = 140;

    explicit SpectrumPicture(QWidget* parent = nullptr);

    // Shows the image (any format; drawn at 0, 0 without scaling).
    void setImage(const QImage& image);
    const QImage& image() const { return image_; }
    // Back to black.
    void cls();

    QSize sizeHint() const override { return {pictureWidth, pictureHeight}; }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    QImage image_;
};

} // namespace velvora::widgets
