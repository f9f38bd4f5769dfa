#include "karaoke/painter_setup.h"

#include "widgets/lyricpicture.h"
#include "widgets/main_controls.h"

namespace velvora::karaoke {

void SetupLyricSurface(App& app) {
    PainterState& p = app.s.painter;
    auto* picture = app.ui.Picture3;
    p.pictureWidth = picture->width();
    p.pictureHeight = picture->height();
    p.paintRight = picture->contentsRect().width();
    p.paintBottom = picture->contentsRect().height();
    picture->cls();
    p.pictureWidth = picture->width();
    p.pictureHeight = picture->height();
}

void DefaultLyricColours(App& app) {
    PainterState& p = app.s.painter;
    // Colours are kept blue-green-red: 255 is red.
    if (p.sungColour == 0) p.sungColour = 255;
    if (p.nextPairColour == 0) p.nextPairColour = 0xFFFFFF;
}

void PainterFontStage(App& app, int mode) {
    app.s.painter.lyricSizeClass = mode;
    DefaultLyricColours(app);
}

} // namespace velvora::karaoke
