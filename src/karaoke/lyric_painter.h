// The lyric page: four lines in two pairs on Picture3, the sung part of the current line
// overdrawn in the sung colour. Repainted whole at every word step.
#pragma once

#include "core/app.h"

#include <QFont>

#include <string>

class QPaintDevice;

namespace velvora::widgets {
class LyricPicture;
}

namespace velvora::karaoke {

// The text shown in the first slot past the song's last line.
inline constexpr const char* kLyricEndText = "==============================";

// Paints the page for the word `word` at 0-based `column` of the current line (currentLine).
// The line slots come from lyricLines, lastLine and currentLine; `line` and `nextLine` are not
// read. A column of -1 leaves the page as it is. When the picture's companion, the singer's
// screen, is shown, the same page is painted there too in the full-screen font rows.
void TypeItX5Pic(App& app, const std::string& line, const std::string& word, std::int32_t column,
                 const std::string& nextLine, widgets::LyricPicture* picture);

// Paints the page painted last again, at the page's present size (after a resize).
void RepaintLyricPage(App& app);
// Timer4: the painter's upkeep, every 32 s: the page's box and the default colours.
void Timer4_Timer(App& app);
// The height a full-screen page needs at a font height.
int FullScreenPageHeight(int fontHeight);

// Font presets: each sets height, width, face and the fixed fields (weight 700, charset 1).
void FontTahoma32x16(FontSpec& f);
void FontTahoma40x20(FontSpec& f);
void FontArial64x32(FontSpec& f);
void FontArial80x40(FontSpec& f);
void FontArial100x50b(FontSpec& f);
void FontArial100x50(FontSpec& f);
void FontArial140x80(FontSpec& f);
void FontArial140x70(FontSpec& f);
// A preset by a width class: selector 0 gives 26 by 12 Tahoma; the others pick by `width`'s range
// and leave the font as it is when no range matches.
void FontForWidth(FontSpec& f, int selector, int width);
// The preset of a lyric size class (class 1, the one in use, gives FontTahoma32x16).
void FontForSizeClass(FontSpec& f, std::int32_t sizeClass, int width);

// The Qt font for a font request at average character width `width` (0: the face's own), with a
// similar sans-serif face where the requested one is missing; metrics measured on `device`.
QFont lyricFont(const FontSpec& f, int width, QPaintDevice* device);

} // namespace velvora::karaoke
