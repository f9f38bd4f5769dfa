// Helpers of the lyric tests: a lyric page ready to paint, word models filled by hand, and pixel
// boxes of a colour on the rendered page.
#pragma once

#include "karaoke/lyric_painter.h"
#include "karaoke/lyric_timing.h"
#include "karaoke/painter_setup.h"
#include "support/app_fixture.h"
#include "widgets/lyricpicture.h"

#include <QImage>

#include <climits>
#include <functional>
#include <string>
#include <vector>

namespace velvora::testing {

// The extent of the pixels of one colour class in a region of the page.
struct PixelBox {
    int count = 0;
    int minX = INT_MAX, maxX = -1, minY = INT_MAX, maxY = -1;
    bool empty() const { return count == 0; }
};

inline bool isRed(QRgb p) {
    return qRed(p) > 160 && qGreen(p) < 80 && qBlue(p) < 80;
}
inline bool isWhite(QRgb p) {
    return qRed(p) > 200 && qGreen(p) > 200 && qBlue(p) > 200;
}
inline bool isBlack(QRgb p) {
    return qRed(p) < 25 && qGreen(p) < 25 && qBlue(p) < 25;
}

inline PixelBox pixelBox(const QImage& img, const std::function<bool(QRgb)>& is, int y0 = 0, int y1 = INT_MAX,
                         int x0 = 0, int x1 = INT_MAX) {
    PixelBox b;
    for (int y = std::max(0, y0); y < std::min(img.height(), y1); ++y)
        for (int x = std::max(0, x0); x < std::min(img.width(), x1); ++x)
            if (is(img.pixel(x, y))) {
                ++b.count;
                b.minX = std::min(b.minX, x);
                b.maxX = std::max(b.maxX, x);
                b.minY = std::min(b.minY, y);
                b.maxY = std::max(b.maxY, y);
            }
    return b;
}

// One word of a hand-made model: its MIDI tick, its text and the line it belongs to.
struct Syllable {
    int tick;
    std::string text;
    int line;
};

class LyricFixture : public AppFixture {
  protected:
    void SetUp() override {
        AppFixture::SetUp();
        karaoke::SetupLyricSurface(*app);
        karaoke::PainterFontStage(*app, 1);
    }

    // Fills the model as the scan of a KAR file does: times are ticks times msPerTick, columns
    // count along each line, line 0 stays empty.
    void fillWords(const std::vector<Syllable>& words, double msPerTick) {
        WordModel& m = app->s.words;
        m.msPerTick = msPerTick;
        m.wordList.assign(1, WordRec{});
        m.wordList[0].Length = 42;
        m.lyricLines.assign(1, std::string());
        for (const Syllable& w : words) {
            if (w.line >= static_cast<int>(m.lyricLines.size())) m.lyricLines.resize(w.line + 1);
            std::string& line = m.lyricLines[w.line];
            WordRec r;
            r.TimeMs = r.SpanMs = w.tick * msPerTick;
            r.Text = w.text;
            r.Length = static_cast<std::int16_t>(w.text.size());
            r.Column = static_cast<std::int32_t>(line.size());
            r.LineNo = static_cast<std::int16_t>(w.line);
            line += w.text;
            m.wordList.push_back(r);
        }
        publish();
    }

    // Sets the page's lines directly (line 0 included).
    void setLines(const std::vector<std::string>& lines) {
        app->s.words.lyricLines = lines;
        publish();
    }

    void publish() {
        WordModel& m = app->s.words;
        m.lyricsPresent = true;
        m.lastLine = static_cast<std::int16_t>(m.lyricLines.size() - 1);
        m.shownLines = m.lyricLines;
    }

    // Paints the page with `currentLine` as the current line.
    void paint(int currentLine, const std::string& word, int column) {
        app->s.painter.currentLine = static_cast<std::int16_t>(currentLine);
        karaoke::TypeItX5Pic(*app, "", word, column, "", app->ui.Picture3);
    }

    const QImage& page() const { return app->ui.Picture3->image(); }
};

} // namespace velvora::testing
