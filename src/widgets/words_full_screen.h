// The singer's screen: a window of its own that shows the lyric page as large as the screen allows.
// It opens full screen on the second screen when there is one, and leaves full screen with Escape
// or a double click, as video players do. Closing it only hides it. Under the page, the pitch strip
// when the pitch guide is on.
#pragma once

#include <QWidget>

namespace velvora::widgets {

class LyricPicture;
class PitchStrip;

class WordsFullScreen : public QWidget {
    Q_OBJECT
  public:
    explicit WordsFullScreen(QWidget* parent = nullptr);

    LyricPicture* page() const { return page_; }
    // Hidden until the pitch guide is turned on.
    PitchStrip* pitchStrip() const { return pitchStrip_; }
    // Shows the window full screen on the screen a singer would look at.
    void showOnSingersScreen();

  signals:
    // The page was resized, and so cleared: it wants the present page again.
    void pageResized();

  protected:
    void keyPressEvent(QKeyEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

  private:
    void toggleFullScreen();

    LyricPicture* page_;
    PitchStrip* pitchStrip_;
};

} // namespace velvora::widgets
