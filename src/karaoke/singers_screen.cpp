#include "karaoke/singers_screen.h"

#include "karaoke/lyric_painter.h"
#include "widgets/lyricpicture.h"
#include "widgets/main_controls.h"
#include "widgets/words_full_screen.h"

#include <QApplication>

namespace velvora::karaoke {

void CmdKara_Click(App& app) {
    // The window is found among the open windows by its name, as the button always looked for it.
    widgets::WordsFullScreen* screen = nullptr;
    for (QWidget* w : QApplication::topLevelWidgets())
        if (w->objectName() == "frmWordsFullScreen") screen = qobject_cast<widgets::WordsFullScreen*>(w);
    if (!screen) return;
    if (screen->isVisible()) {
        screen->hide();
        return;
    }
    screen->showOnSingersScreen();
    RepaintSingersScreen(app);
}

void RepaintSingersScreen(App& app) {
    widgets::LyricPicture* page = app.ui.Picture3;
    if (!page || page->isBlank() || !page->companion() || !page->companion()->isVisible()) return;
    RepaintLyricPage(app);
}

} // namespace velvora::karaoke
