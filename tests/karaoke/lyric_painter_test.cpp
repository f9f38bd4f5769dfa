#include "karaoke/lyric_test_support.h"

#include <string>

namespace velvora::testing {
namespace {

// The text band of a slot drawn at `top`: capitals of a 32-pixel font lie within it.
struct Band {
    int y0, y1;
};
Band slotBand(int top) {
    return {top + 1, top + 36};
}

PixelBox inBand(const QImage& img, const std::function<bool(QRgb)>& is, int top) {
    const Band b = slotBand(top);
    return pixelBox(img, is, b.y0, b.y1);
}

class LyricPainter : public LyricFixture {
  protected:
    void SetUp() override {
        LyricFixture::SetUp();
        setLines({"", "HELLO WORLD", "SECOND LINE", "THIRD ROW", "FOURTH"});
    }
};

TEST_F(LyricPainter, SungPrefixIsRedAndTheRestOfTheCurrentLineBlack) {
    // Line 2 is even and the third of its group of four: its pair stands at 130 and 160.
    paint(2, "SECOND ", 0);
    const PixelBox red = inBand(page(), isRed, 130);
    const PixelBox black = inBand(page(), isBlack, 130);
    ASSERT_FALSE(red.empty());
    ASSERT_FALSE(black.empty());
    EXPECT_GE(red.minX, 10);
    // Nothing red right of the prefix, the unsung word in black right of it.
    EXPECT_GT(black.maxX, red.maxX + 20);
    EXPECT_GE(black.minX, red.maxX - 2);
    // The whole line sung: red reaches as far as the black did.
    paint(2, "LINE", 7);
    const PixelBox allRed = inBand(page(), isRed, 130);
    EXPECT_GE(allRed.maxX, black.maxX - 2);
    EXPECT_TRUE(inBand(page(), isBlack, 130).count < black.count / 4);
    // No red anywhere but on the current line.
    EXPECT_EQ(pixelBox(page(), isRed, 0, 130).count, 0);
    EXPECT_EQ(pixelBox(page(), isRed, 167).count, 0);
}

TEST_F(LyricPainter, PairsTakeTurnsBetweenTheUpperAndLowerZone) {
    // Line 0 (sentinel page): current pair at 40/70, coming pair 130/160 in white.
    paint(0, "", 0);
    EXPECT_EQ(pixelBox(page(), isWhite, 0, 125).count, 0);
    EXPECT_FALSE(inBand(page(), isWhite, 130).empty()); // SECOND LINE
    EXPECT_FALSE(inBand(page(), isWhite, 160).empty()); // THIRD ROW
    EXPECT_FALSE(inBand(page(), isBlack, 70).empty());  // HELLO WORLD, current pair's second
    EXPECT_EQ(pixelBox(page(), isRed).count, 0);        // an empty line 0 has no prefix

    // Line 1 (odd): line 0 wholly sung above it, line 1 current at 70, lines 2 and 3 below.
    paint(1, "HELLO", 0);
    EXPECT_FALSE(inBand(page(), isRed, 70).empty());
    EXPECT_FALSE(inBand(page(), isBlack, 70).empty());
    EXPECT_FALSE(inBand(page(), isWhite, 130).empty());
    EXPECT_EQ(pixelBox(page(), isWhite, 0, 125).count, 0);

    // Line 2: the lower zone is sung, the freed upper zone shows lines 3 and 4 in white.
    paint(2, "SECOND", 0);
    EXPECT_FALSE(inBand(page(), isWhite, 40).empty());
    EXPECT_FALSE(inBand(page(), isWhite, 70).empty());
    EXPECT_EQ(pixelBox(page(), isWhite, 125).count, 0);
    EXPECT_FALSE(inBand(page(), isRed, 130).empty());
    EXPECT_FALSE(inBand(page(), isBlack, 160).empty());

    // Line 3 (odd, third of four): line 2 wholly red at 130, line 3 current at 160.
    paint(3, "THIRD", 0);
    const PixelBox sungAbove = inBand(page(), isRed, 130);
    EXPECT_FALSE(sungAbove.empty());
    EXPECT_EQ(inBand(page(), isBlack, 130).count, 0);
    EXPECT_FALSE(inBand(page(), isBlack, 160).empty());
    EXPECT_FALSE(inBand(page(), isWhite, 40).empty()); // FOURTH
}

TEST_F(LyricPainter, EndTextFollowsTheLastLine) {
    // The last line (4) as current, even: the end text in the current pair's second slot,
    // nothing in the coming pair.
    paint(4, "FOURTH", 0);
    const PixelBox end = inBand(page(), isBlack, 70);
    ASSERT_FALSE(end.empty());
    // Thirty "=" are far wider than any line of the song.
    EXPECT_GT(end.maxX - end.minX, 300);
    EXPECT_EQ(pixelBox(page(), isWhite).count, 0);

    // Line 3, odd: line 4 in the first coming slot, the end text in the second, in white.
    paint(3, "THIRD", 0);
    const PixelBox four = inBand(page(), isWhite, 40);
    const PixelBox endWhite = inBand(page(), isWhite, 70);
    ASSERT_FALSE(four.empty());
    ASSERT_FALSE(endWhite.empty());
    EXPECT_GT(endWhite.maxX - endWhite.minX, 300);
    EXPECT_LT(four.maxX - four.minX, 200);
}

TEST_F(LyricPainter, LinesPastTheTableStandAtTheTop) {
    std::vector<std::string> lines(130, "LA LA");
    lines[0].clear();
    setLines(lines);
    paint(124, "LA", 0);
    const PixelBox any = pixelBox(page(), [](QRgb p) { return qRed(p) != 0x40 || qGreen(p) != 0x40; });
    ASSERT_FALSE(any.empty());
    EXPECT_LT(any.maxY, 40);
    paint(123, "LA", 0);
    EXPECT_FALSE(inBand(page(), isBlack, 160).empty());
}

TEST_F(LyricPainter, PrefixSearchStartsOneCharacterEarly) {
    setLines({"", "AAAA B", "X", "Y"});
    // "AA" at 0-based column 2 is searched from position 2 and found there: "AAA" is sung.
    paint(1, "AA", 2);
    const PixelBox oneEarly = inBand(page(), isRed, 70);
    paint(1, "AAA", 0);
    const PixelBox three = inBand(page(), isRed, 70);
    paint(1, "AAAA", 0);
    const PixelBox four = inBand(page(), isRed, 70);
    ASSERT_FALSE(three.empty());
    EXPECT_EQ(oneEarly.maxX, three.maxX);
    EXPECT_EQ(oneEarly.count, three.count);
    EXPECT_GT(four.maxX, three.maxX + 5);
}

TEST_F(LyricPainter, EmptyWordSingsTheTextBeforeItsColumn) {
    setLines({"", "ABCDEF", "X", "Y"});
    paint(1, "", 3);
    const PixelBox empty = inBand(page(), isRed, 70);
    paint(1, "AB", 0);
    const PixelBox ab = inBand(page(), isRed, 70);
    ASSERT_FALSE(ab.empty());
    EXPECT_EQ(empty.count, ab.count);
    EXPECT_EQ(empty.maxX, ab.maxX);
    // Column 0 and an empty word: nothing is sung yet.
    paint(1, "", 0);
    EXPECT_EQ(inBand(page(), isRed, 70).count, 0);
}

TEST_F(LyricPainter, EmptyCurrentLineAndColumnMinusOne) {
    setLines({"", "", "NEXT", "MORE"});
    paint(1, "X", 0);
    EXPECT_EQ(pixelBox(page(), isRed).count, 0);
    EXPECT_FALSE(inBand(page(), isWhite, 130).empty());

    // A column of -1 leaves the page exactly as it was.
    app->ui.Picture3->image().fill(QColor(0, 200, 0));
    paint(2, "NEXT", -1);
    EXPECT_EQ(page().pixel(5, 5), QColor(0, 200, 0).rgb());
    EXPECT_EQ(pixelBox(page(), [](QRgb p) { return p != QColor(0, 200, 0).rgb(); }).count, 0);
}

TEST_F(LyricPainter, ColoursComeFromThePainterState) {
    // Sung text in blue (blue-green-red order: 0xFF0000 is blue), coming pair in green.
    app->s.painter.sungColour = 0xFF0000;
    app->s.painter.nextPairColour = 0x00FF00;
    paint(0, "", 0);
    paint(1, "HELLO", 0);
    auto isBlue = [](QRgb p) { return qBlue(p) > 160 && qRed(p) < 80 && qGreen(p) < 80; };
    auto isGreen = [](QRgb p) { return qGreen(p) > 160 && qRed(p) < 80 && qBlue(p) < 80; };
    EXPECT_FALSE(inBand(page(), isBlue, 70).empty());
    EXPECT_FALSE(inBand(page(), isGreen, 130).empty());
    EXPECT_EQ(pixelBox(page(), isRed).count, 0);
}

TEST_F(LyricPainter, ShortLinesKeepTheirWidthLongOnesAreNarrowed) {
    setLines({"", "ABCDEFGHIJ", std::string(120, 'W'), "Y"});
    paint(1, "", 0);
    // Ten capitals at an average width of 16 pixels.
    const PixelBox ten = inBand(page(), isBlack, 70);
    ASSERT_FALSE(ten.empty());
    EXPECT_GT(ten.maxX - ten.minX, 110);
    EXPECT_LT(ten.maxX - ten.minX, 260);
    // 120 wide letters would take well over the page: they are narrowed to fit inside it.
    const PixelBox wide = inBand(page(), isWhite, 130);
    ASSERT_FALSE(wide.empty());
    EXPECT_LT(wide.maxX, page().width() - 1);
    EXPECT_GT(wide.maxX, page().width() / 2);
}

TEST_F(LyricPainter, LineThatCanNeverFitIsDrawnAtTheNarrowestWidth) {
    setLines({"", std::string(6000, 'W'), "NEXT", "MORE"});
    paint(1, std::string(10, 'W'), 0);
    // The loop ended: the page is drawn, the line runs to the page's edge, the rest is there.
    EXPECT_GE(inBand(page(), isBlack, 70).maxX, page().width() - 3);
    EXPECT_FALSE(inBand(page(), isRed, 70).empty());
    EXPECT_FALSE(inBand(page(), isWhite, 130).empty());
}

TEST(LyricFonts, PresetsAndWidthTable) {
    FontSpec f;
    karaoke::FontForSizeClass(f, 1, 0);
    EXPECT_EQ(f.Height, 32);
    EXPECT_EQ(f.Width, 16);
    EXPECT_EQ(f.Weight, 700);
    EXPECT_EQ(f.CharSet, 1);
    EXPECT_EQ(f.FaceName, "Tahoma");
    karaoke::FontForSizeClass(f, 4, 0);
    EXPECT_EQ(f.Height, 80);
    EXPECT_EQ(f.FaceName, "Arial");
    karaoke::FontForWidth(f, 0, 700);
    EXPECT_EQ(f.Height, 26);
    EXPECT_EQ(f.Width, 12);
    EXPECT_EQ(f.FaceName, "Tahoma");
    karaoke::FontForWidth(f, 1, 500);
    EXPECT_EQ(f.Height, 40);
    karaoke::FontForWidth(f, 1, 1024);
    EXPECT_EQ(f.Width, 50);
    EXPECT_EQ(f.FaceName, "Arial");
    // The row for 400 never matches: the font stays as it was.
    karaoke::FontForWidth(f, 1, 410);
    EXPECT_EQ(f.Width, 50);
}

TEST(LyricFonts, WidthRequestsGiveThatAverageWidth) {
    ensureQtApplication();
    QImage img(100, 100, QImage::Format_RGB32);
    FontSpec f;
    karaoke::FontTahoma32x16(f);
    const QString sample = "THE QUICK BROWN FOX JUMPS over the lazy dog 0123456789";
    const double w16 = QFontMetricsF(karaoke::lyricFont(f, 16, &img), &img).horizontalAdvance(sample);
    const double w8 = QFontMetricsF(karaoke::lyricFont(f, 8, &img), &img).horizontalAdvance(sample);
    const double w1 = QFontMetricsF(karaoke::lyricFont(f, 1, &img), &img).horizontalAdvance(sample);
    EXPECT_NEAR(w16 / sample.size(), 16.0, 5.0);
    EXPECT_NEAR(w8 / w16, 0.5, 0.12);
    EXPECT_LT(w1, w8 / 3);
    EXPECT_EQ(karaoke::lyricFont(f, 16, &img).pixelSize(), 32);
    EXPECT_TRUE(karaoke::lyricFont(f, 16, &img).bold());
}

} // namespace
} // namespace velvora::testing
