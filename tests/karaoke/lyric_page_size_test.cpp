// The lyric page is as wide as the window makes it: a line is fitted to the page's present width
// and drawn in a box of that same width, and a resize paints the page again at once.
#include "karaoke/lyric_test_support.h"
#include "widgets/main_controls.h"

#include <QApplication>

#include <string>

namespace velvora::testing {
namespace {

class LyricPageSize : public LyricFixture {
  protected:
    void SetUp() override {
        LyricFixture::SetUp();
        window.show();
        QApplication::processEvents();
    }
    // Line 1 is the current line of a page whose first pair stands at 40 and 70.
    void paintLine(const std::string& line) {
        setLines({"", line, "NEXT LINE", "MORE"});
        paint(1, "", 0);
    }
    PixelBox lineInk() { return pixelBox(page(), isBlack, 71, 106); }
};

// 46 bold capitals at the window's first size: the page narrows them to its own width and the
// last glyph is drawn whole, near the page's right margin, not cut where an older width ended.
TEST_F(LyricPageSize, ALongLineIsDrawnWholeAtTheFirstSize) {
    const int width = page().width();
    ASSERT_EQ(width, app->ui.Picture3->width());
    paintLine(std::string(45, 'M') + "W");
    const PixelBox ink = lineInk();
    ASSERT_FALSE(ink.empty());
    ASSERT_GT(width, widgets::LyricPicture::minimumPageWidth + 40) << "wider than before it was shown";
    EXPECT_LT(ink.maxX, width) << "within the page";
    // Narrowed by whole steps of the font's width, the line ends a few per cent short of the page's
    // edge at most; cut at the box of an older width it would end before that width.
    EXPECT_GT(ink.maxX, width - 60) << "the line reaches across the page, its end not cut";
    EXPECT_GT(ink.maxX, widgets::LyricPicture::minimumPageWidth);
    // The last glyph alone: ink in the last 1/46 of the line.
    const int glyph = (ink.maxX - ink.minX) / 46;
    EXPECT_GT(pixelBox(page(), isBlack, 71, 106, ink.maxX - glyph + 2, ink.maxX + 1).count, 10);
}

// At 1600 pixels the same line fits at its own width; a longer one narrows to the new width; the
// resize leaves the page painted without waiting for the next word.
TEST_F(LyricPageSize, AResizeRepaintsAndWidensThePage) {
    const std::string line46 = std::string(45, 'M') + "W";
    paintLine(line46);
    const int first = page().width();
    const int narrowed = lineInk().maxX - lineInk().minX;
    window.resize(1600, window.height());
    QApplication::processEvents();
    const int width = page().width();
    ASSERT_GT(width, first + 150);
    ASSERT_EQ(width, app->ui.Picture3->width());
    const PixelBox again = lineInk();
    ASSERT_FALSE(again.empty()) << "the page was painted again at once";
    EXPECT_GT(again.maxX - again.minX, narrowed + 100) << "less narrowed at the new width";
    EXPECT_LT(again.maxX, width);

    paintLine(std::string(110, 'M'));
    const PixelBox wide = lineInk();
    EXPECT_LT(wide.maxX, width);
    EXPECT_GT(wide.maxX, first) << "narrowed to the present width, not to the first";
}

// A blank page stays blank through a resize: nothing is painted that was not there.
TEST_F(LyricPageSize, ABlankPageStaysBlankThroughAResize) {
    paintLine("HELLO");
    app->ui.Picture3->cls();
    window.resize(1400, window.height());
    QApplication::processEvents();
    EXPECT_TRUE(pixelBox(page(), isBlack).empty());
    EXPECT_TRUE(pixelBox(page(), isWhite).empty());
}

} // namespace
} // namespace velvora::testing
