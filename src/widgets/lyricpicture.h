#pragma once

#include <QColor>
#include <QImage>
#include <QWidget>

class QPaintEvent;
class QResizeEvent;

namespace velvora::widgets {

// The lyric page. The painter draws into image() and calls refresh(); the widget only shows the
// image. The image always has the widget's size; a resize gives a new, cleared image, and when a
// page stood in the old one the widget asks for it again (pageLost), so that the page is painted
// anew at the new size at once.
class LyricPicture : public QWidget {
    Q_OBJECT
  public:
    static constexpr int minimumPageWidth = 660;
    static constexpr int minimumPageHeight = 210;

    explicit LyricPicture(QWidget* parent = nullptr);

    QImage& image() { return image_; }
    const QImage& image() const { return image_; }

    QColor backgroundColor() const { return background_; }
    void setBackgroundColor(const QColor& colour);

    // Fills the image with the background colour and schedules a repaint.
    void cls();
    // Schedules a repaint of the image as it stands.
    void refresh();

    QSize sizeHint() const override;
    // True from cls() until the next refresh(): no page stands in the image.
    bool isBlank() const { return blank_; }

    // A second surface that shows the same page (the singer's screen): it is cleared with this one.
    void setCompanion(LyricPicture* companion) { companion_ = companion; }
    LyricPicture* companion() const { return companion_; }

  signals:
    void pageLost();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    QImage image_;
    QColor background_{0x40, 0x40, 0x40};
    LyricPicture* companion_ = nullptr;
    bool blank_ = true;
};

} // namespace velvora::widgets
