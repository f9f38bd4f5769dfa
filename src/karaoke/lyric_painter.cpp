#include "karaoke/lyric_painter.h"

#include "core/utf8.h"
#include "core/vb_text.h"
#include "karaoke/line_images.h"
#include "karaoke/painter_setup.h"
#include "widgets/lyricpicture.h"
#include "widgets/main_controls.h"

#include <QFontMetrics>
#include <QFontMetricsF>
#include <QPainter>
#include <QString>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <new>

namespace velvora::karaoke {

namespace {

constexpr int kMargin = 10;

void preset(FontSpec& f, int height, int width, const char* face) {
    f.Height = height;
    f.Width = width;
    f.FaceName = face;
    f.Escapement = 0;
    f.Orientation = 0;
    f.Weight = 700;
    f.Italic = 0;
    f.Underline = 0;
    f.StrikeOut = 0;
    f.CharSet = 1;
    f.OutPrecision = 0;
    f.ClipPrecision = 0;
    f.Quality = 0;
    f.PitchAndFamily = 0;
}

// Colours are kept blue-green-red: 255 is red.
QColor fromBgr(std::uint32_t c) {
    return QColor(static_cast<int>(c & 0xFF), static_cast<int>((c >> 8) & 0xFF),
                  static_cast<int>((c >> 16) & 0xFF));
}

// Vertical positions of L0..L3 for a current line; the table covers lines 0 to 123, and a line
// past it leaves every slot at the top.
std::array<int, 4> slotTops(long long currentLine) {
    if (currentLine < 0 || currentLine > 123) return {0, 0, 0, 0};
    if (currentLine % 4 < 2) return {40, 70, 130, 160};
    return {130, 160, 40, 70};
}

} // namespace

void FontTahoma32x16(FontSpec& f) {
    preset(f, 32, 16, "Tahoma");
}
void FontTahoma40x20(FontSpec& f) {
    preset(f, 40, 20, "Tahoma");
}
void FontArial64x32(FontSpec& f) {
    preset(f, 64, 32, "Arial");
}
void FontArial80x40(FontSpec& f) {
    preset(f, 80, 40, "Arial");
}
void FontArial100x50b(FontSpec& f) {
    preset(f, 100, 50, "Arial");
}
void FontArial100x50(FontSpec& f) {
    preset(f, 100, 50, "Arial");
}
void FontArial140x80(FontSpec& f) {
    preset(f, 140, 80, "Arial");
}
void FontArial140x70(FontSpec& f) {
    preset(f, 140, 70, "Arial");
}

void FontForWidth(FontSpec& f, int selector, int width) {
    if (selector == 0) {
        preset(f, 26, 12, "Tahoma");
        return;
    }
    struct Row {
        int from, to, height, w;
        const char* face;
    };
    static constexpr Row rows[] = {
        {320, 359, 32, 16, "Tahoma"}, {360, 399, 34, 17, "Tahoma"},   {400, 339, 36, 18, "Tahoma"},
        {440, 479, 38, 19, "Tahoma"}, {480, 519, 40, 20, "Tahoma"},   {520, 559, 47, 23, "Tahoma"},
        {560, 599, 54, 26, "Tahoma"}, {600, 639, 60, 29, "Tahoma"},   {640, 679, 64, 32, "Arial"},
        {680, 719, 68, 34, "Arial"},  {720, 759, 72, 36, "Arial"},    {760, 799, 76, 38, "Arial"},
        {800, 855, 80, 40, "Arial"},  {856, 911, 85, 43, "Arial"},    {912, 967, 90, 45, "Arial"},
        {968, 1023, 95, 48, "Arial"}, {1024, 1026, 100, 50, "Arial"},
    };
    for (const Row& r : rows) {
        // The row for 400 has its range upside down and never matches.
        if (width >= r.from && width <= r.to) {
            preset(f, r.height, r.w, r.face);
            return;
        }
    }
}

void FontForSizeClass(FontSpec& f, std::int32_t sizeClass, int width) {
    switch (sizeClass) {
    case 0:
    case 1:
    case 7:
    case 8:
        FontTahoma32x16(f);
        break;
    case 2:
        FontTahoma40x20(f);
        break;
    case 3:
        FontArial64x32(f);
        break;
    case 4:
    case 9:
        FontArial80x40(f);
        break;
    case 5:
    case 10:
        FontArial100x50b(f);
        break;
    case 11:
        FontForWidth(f, 0, width);
        break;
    default:
        break;
    }
}

QFont lyricFont(const FontSpec& f, int width, QPaintDevice* device) {
    const QString face = utf8::toQString(f.FaceName);
    QFont font(face);
    QStringList families;
    if (!face.isEmpty()) families << face;
    // Similar faces where the requested one is missing.
    if (face.compare("Arial", Qt::CaseInsensitive) == 0) families << "Liberation Sans";
    families << "DejaVu Sans";
    font.setFamilies(families);
    font.setStyleHint(QFont::SansSerif);
    font.setPixelSize(std::max(1, std::abs(f.Height == 0 ? 16 : f.Height)));
    font.setWeight(f.Weight > 0 ? static_cast<QFont::Weight>(std::clamp(f.Weight, 1, 1000)) : QFont::Normal);
    font.setItalic(f.Italic != 0);
    font.setUnderline(f.Underline != 0);
    font.setStrikeOut(f.StrikeOut != 0);
    if (width > 0) {
        // The requested average character width, by a horizontal stretch of the face.
        const double natural =
            device ? QFontMetricsF(font, device).averageCharWidth() : QFontMetricsF(font).averageCharWidth();
        if (natural > 0) {
            const double stretch = std::round(100.0 * width / natural);
            font.setStretch(static_cast<int>(std::clamp(stretch, 1.0, 4000.0)));
        }
    }
    return font;
}

namespace {

// The words of one page: the four slots, which of them is the current line, and its sung prefix.
struct LyricPage {
    std::array<std::string, 4> text;
    std::array<QString, 4> slot;
    int currentSlot = 0;
    QString prefix;
    long long currentLine = 0;
};

// Where a page is laid on a surface: the slot table's positions times `scale`, moved down by
// `offsetY`, lines starting `margin` from the left and narrowed to fit `fitWidth`.
struct PageLayout {
    double scale = 1;
    int offsetY = 0;
    int margin = kMargin;
    int fitWidth = 0;
    int right = 0, bottom = 0;
};

// Fills the slots for the current line; false when the page is to be left as it is.
bool composePage(const App& app, const std::string& word, std::int32_t column, LyricPage& page) {
    const PainterState& p = app.s.painter;
    const WordModel& m = app.s.words;
    const long long c = p.currentLine;
    auto lineAt = [&m](long long k) -> std::string {
        if (k < 0 || k >= static_cast<long long>(m.lyricLines.size())) return {};
        return m.lyricLines[static_cast<std::size_t>(k)];
    };
    bool endShown = false;
    // A coming line: the line itself, the end text in the first slot past the last line, or empty.
    auto comingAt = [&](long long k) -> std::string {
        if (k <= m.lastLine) return lineAt(k);
        if (endShown) return {};
        endShown = true;
        return kLyricEndText;
    };

    std::array<std::string, 4> slot;
    const bool even = (c & 1) == 0;
    if (even) {
        slot = {lineAt(c), comingAt(c + 1), comingAt(c + 2), comingAt(c + 3)};
    } else {
        slot[0] = lineAt(c - 1);
        slot[1] = lineAt(c);
        slot[2] = comingAt(c + 1);
        slot[3] = comingAt(c + 2);
    }
    page.currentSlot = even ? 0 : 1;
    page.currentLine = c;

    // The sung prefix: the word is looked for from its column taken as 1-based, one early.
    const long long s = column == 0 ? 1 : column;
    if (s == -1) return false;
    const std::string& current = slot[static_cast<std::size_t>(page.currentSlot)];
    if (!current.empty()) {
        const std::u32string cur = utf8::toText32(current);
        const std::u32string w = utf8::toText32(word);
        const long long pos = vb::InStr(s, cur, w);
        const long long n = pos - 1 + static_cast<long long>(w.size());
        if (n > 0) page.prefix = QString::fromStdU32String(cur.substr(0, static_cast<std::size_t>(n)));
    }
    for (std::size_t k = 0; k < 4; ++k) page.slot[k] = utf8::toQString(slot[k]);
    page.text = slot;
    return true;
}

// The lines drawn lately on either surface, kept as images (GUI thread only).
LineImages& lineImages() {
    static LineImages kept(24);
    return kept;
}

// Draws the page on `img`, each slot in the font `preset` gives (made narrower, never lower, until
// the line fits), in the painter's colours.
void drawPage(const LyricPage& page, QImage& img, PainterState& p, FontSpec& f,
              const std::function<void(FontSpec&)>& preset, const PageLayout& layout) {
    const std::array<int, 4> tops = slotTops(page.currentLine);
    QPainter painter(&img);
    for (int k = 0; k < 4; ++k) {
        preset(f);
        const QString& text = page.slot[static_cast<std::size_t>(k)];
        int width = f.Width;
        QFont font = lyricFont(f, width, &img);
        // A line too wide is made narrower one step at a time until it fits; at the narrowest
        // width a line that still does not fit is drawn as it is, cut at the edge. The advance
        // grows about in proportion to the width, so the steps start next to the answer: the
        // widest width that fits, as stepping down from the preset's would find it.
        auto advanceAt = [&](int w) {
            font = lyricFont(f, w, &img);
            return QFontMetrics(font, &img).horizontalAdvance(text);
        };
        const int full = QFontMetrics(font, &img).horizontalAdvance(text);
        if (width > 1 && full > layout.fitWidth) {
            int guess = std::clamp(static_cast<int>(static_cast<long long>(width) * layout.fitWidth / full),
                                   1, width - 1);
            if (advanceAt(guess) <= layout.fitWidth) {
                while (guess + 1 < width && advanceAt(guess + 1) <= layout.fitWidth) ++guess;
            } else {
                while (guess > 1 && advanceAt(guess - 1) > layout.fitWidth) --guess;
                if (guess > 1) --guess;
            }
            width = guess;
            font = lyricFont(f, width, &img);
        }
        painter.setFont(font);
        p.paintLeft = layout.margin;
        p.paintTop =
            layout.offsetY + static_cast<int>(std::lround(tops[static_cast<std::size_t>(k)] * layout.scale));
        const QRect rect(p.paintLeft, p.paintTop, std::max(0, layout.right - p.paintLeft),
                         std::max(0, layout.bottom - p.paintTop));
        std::uint32_t colour = p.nextPairColour;
        if (k == 0) colour = page.currentSlot == 0 ? p.lineColour : p.sungColour;
        if (k == 1) colour = p.lineColour;
        lineImages().draw(painter, rect, text, font, fromBgr(colour));
        if (k == page.currentSlot && !page.prefix.isEmpty()) {
            // The sung part: the same line in the sung colour, as far as the prefix reaches.
            const int sung = QFontMetrics(font, &img).horizontalAdvance(page.prefix);
            lineImages().draw(painter, rect, text, font, fromBgr(p.sungColour), std::max(1, sung));
        }
    }
}

// The singer's screen: the largest full-screen font row whose page fits the surface's height,
// the slot table scaled by the font's height over the page's own 32 and centred.
void paintFullScreen(App& app, const LyricPage& page, widgets::LyricPicture& surface) {
    QImage& img = surface.image();
    const QSize size = img.size();
    FontSpec f = app.s.timing.fontSpec;
    std::function<void(FontSpec&)> preset = &FontArial100x50;
    if (size.width() >= 2400)
        preset = &FontArial140x80;
    else if (size.height() >= FullScreenPageHeight(140))
        preset = &FontArial140x70;
    preset(f);
    if (FullScreenPageHeight(f.Height) > size.height()) {
        // A small window: the 100-pixel row scaled down to the height there is.
        const int height = std::max(8, size.height() * 32 / FullScreenPageHeight(32));
        preset = [height](FontSpec& g) {
            FontArial100x50(g);
            g.Height = height;
            g.Width = std::max(1, height / 2);
        };
        preset(f);
    }
    PageLayout layout;
    layout.scale = f.Height / 32.0;
    layout.margin = static_cast<int>(std::lround(kMargin * layout.scale));
    layout.fitWidth = size.width() - 2 * layout.margin;
    // The slots run from 40 to 160 plus a line: centre that block.
    layout.offsetY = (size.height() - static_cast<int>((160 - 40) * layout.scale) - f.Height) / 2 -
                     static_cast<int>(std::lround(40 * layout.scale));
    layout.right = size.width();
    layout.bottom = size.height();
    img.fill(surface.backgroundColor());
    drawPage(page, img, app.s.painter, f, preset, layout);
    surface.refresh();
}

} // namespace

int FullScreenPageHeight(int fontHeight) {
    // The slot table's span (40 to 160) and one line, scaled, with a line's room above and below.
    return (160 - 40 + 32 + 2 * 32) * fontHeight / 32;
}

void TypeItX5Pic(App& app, const std::string& line, const std::string& word, std::int32_t column,
                 const std::string& nextLine, widgets::LyricPicture* picture) {
    (void)line;
    (void)nextLine;
    if (!picture) return;
    PainterState& p = app.s.painter;
    p.lyricLayoutMode = 2;
    LyricPage page;
    if (!composePage(app, word, column, page)) return;
    p.pageWord = word;
    p.pageColumn = column;
    p.pageSlots = page.text;

    try {
        picture->cls();
        QImage& img = picture->image();
        PageLayout layout;
        // The page as wide as it is now: a line is fitted to the width it is drawn in.
        p.paintRight = img.width();
        p.paintBottom = img.height();
        layout.fitWidth = img.width() - kMargin;
        layout.right = p.paintRight;
        layout.bottom = p.paintBottom;
        const int scaleWidth = img.width();
        drawPage(
            page, img, p, app.s.timing.fontSpec,
            [&p, scaleWidth](FontSpec& f) { FontForSizeClass(f, p.lyricSizeClass, scaleWidth); }, layout);
        picture->refresh();
        widgets::LyricPicture* singers = picture->companion();
        if (singers && singers->isVisible()) paintFullScreen(app, page, *singers);
    } catch (const std::bad_alloc&) {
        app.sys.dialogs.msgBox("7\nOut of memory\nsub: TypeItX5", platform::vbOKOnly, "Velvora");
    }
}

void RepaintLyricPage(App& app) {
    const PainterState& p = app.s.painter;
    if (p.pageColumn == -1) return;
    const std::string word = p.pageWord;
    TypeItX5Pic(app, std::string(), word, p.pageColumn, std::string(), app.ui.Picture3);
}

void Timer4_Timer(App& app) {
    // Upkeep of the painter: the page's box as the window has it now, and the colours it needs.
    PainterState& p = app.s.painter;
    const QRect box = app.ui.Picture3->contentsRect();
    p.paintRight = box.width();
    p.paintBottom = box.height();
    DefaultLyricColours(app);
}

} // namespace velvora::karaoke
