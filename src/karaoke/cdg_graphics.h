// A CD+G song's graphics on the lyric page: the decoder's screen for the position of the song that
// is being heard, scaled to fit the page with its aspect kept and its pixels sharp, and on the
// singer's screen when that is shown.
#pragma once

#include "core/app.h"

#include <QImage>

namespace velvora::cdg {
class Screen;
}

namespace velvora::karaoke {

// Reads the graphics of the song in hand when it is a CD+G song, and drops any others. A file that
// cannot be read leaves the song without graphics.
void LoadCdgGraphics(App& app);
// Shows the frame for the heard position of the song's stream. The stream reports the position of
// its source, so tempo changes move the graphics with the music. Nothing is drawn while the frame
// on the page is already that one, unless a page has been cleared since.
void ShowCdgFrame(App& app);
// The shown area of `screen` drawn into `into`, as large as it fits, centred, the rest in the
// border's colour.
void PaintCdgScreen(const cdg::Screen& screen, QImage& into);

} // namespace velvora::karaoke
