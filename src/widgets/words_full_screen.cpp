#include "widgets/words_full_screen.h"

#include "widgets/lyricpicture.h"
#include "widgets/pitch_strip.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QScreen>
#include <QVBoxLayout>

namespace velvora::widgets {

WordsFullScreen::WordsFullScreen(QWidget* parent)
    : QWidget(parent, Qt::Window), page_(new LyricPicture(this)), pitchStrip_(new PitchStrip(this)) {
    setObjectName("frmWordsFullScreen");
    setWindowTitle("Velvora - Karaoke");
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    // The words keep most of the screen; the strip takes a fifth of it when shown.
    layout->addWidget(page_, 4);
    layout->addWidget(pitchStrip_, 1);
    pitchStrip_->hide();
    connect(page_, &LyricPicture::pageLost, this, &WordsFullScreen::pageResized);
    resize(960, 540);
}

void WordsFullScreen::showOnSingersScreen() {
    const QList<QScreen*> screens = QGuiApplication::screens();
    QScreen* screen = screens.size() > 1 ? screens[1] : QGuiApplication::primaryScreen();
    if (screen) {
        setScreen(screen);
        setGeometry(screen->geometry());
    }
    showFullScreen();
    raise();
    activateWindow();
}

void WordsFullScreen::toggleFullScreen() {
    if (isFullScreen())
        showNormal();
    else
        showFullScreen();
}

void WordsFullScreen::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape && isFullScreen()) {
        showNormal();
        return;
    }
    QWidget::keyPressEvent(event);
}

void WordsFullScreen::mouseDoubleClickEvent(QMouseEvent* event) {
    toggleFullScreen();
    event->accept();
}

} // namespace velvora::widgets
