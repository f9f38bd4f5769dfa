// Kept line images must paint exactly what drawing the text would, at the same place, for the large
// fonts of the singer's screen too; the part left of a limit only; and the store stays bounded.
#include "karaoke/line_images.h"
#include "support/offscreen_app.h"

#include <QFont>
#include <QImage>
#include <QPainter>

#include <gtest/gtest.h>

#include <cstdlib>

namespace velvora::karaoke {
namespace {

QImage blank() {
    velvora::testing::ensureQtApplication();
    QImage img(900, 300, QImage::Format_RGB32);
    img.fill(Qt::white);
    return img;
}

QFont bigFont(int pixels) {
    QFont f("DejaVu Sans");
    f.setPixelSize(pixels);
    f.setWeight(QFont::Bold);
    return f;
}

// Ink: a pixel darker than half grey in some channel.
bool inked(QRgb p) {
    return std::min({qRed(p), qGreen(p), qBlue(p)}) < 128;
}

// The pixels inked in one image and not in the other, and the ink of the first. Two ways of
// rasterising the same glyphs differ in the shade of edge pixels; a line drawn in another place,
// size or face differs in whole strokes.
std::pair<int, int> inkMismatch(const QImage& a, const QImage& b) {
    int differ = 0, ink = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x) {
            differ += inked(a.pixel(x, y)) != inked(b.pixel(x, y));
            ink += inked(a.pixel(x, y));
        }
    return {differ, ink};
}

TEST(LineImages, AKeptLineLooksAsTheTextDrawnInPlaceAndIsCutByItsBox) {
    const QString text = "Jumpy Quartz Ägypten";
    for (const int pixels : {32, 140}) {
        SCOPED_TRACE(pixels);
        QImage direct = blank();
        const QFont font = bigFont(pixels);
        // The box ends before the line does: both ways cut the text there.
        const QRect box(37, 61, 700, 220);
        {
            QPainter p(&direct);
            p.setFont(font);
            p.setPen(Qt::blue);
            p.drawText(box, Qt::AlignLeft | Qt::AlignTop, text);
        }
        LineImages kept;
        QImage fromImage;
        for (int twice = 0; twice < 2; ++twice) { // drawn, then from the store
            fromImage = blank();
            QPainter p(&fromImage);
            kept.draw(p, box, text, font, Qt::blue);
        }
        EXPECT_EQ(kept.size(), 1u);
        const auto [differ, ink] = inkMismatch(direct, fromImage);
        EXPECT_GT(ink, 100 * pixels);
        EXPECT_LE(differ, ink / 50) << "of " << ink << " inked pixels";

        // Up to a limit: the same pixels left of it, the background right of it.
        QImage part = blank();
        {
            QPainter p(&part);
            kept.draw(p, box, text, font, Qt::blue, 200);
        }
        EXPECT_EQ(kept.size(), 1u);
        bool inkLeft = false;
        for (int y = 0; y < part.height(); ++y)
            for (int x = 0; x < part.width(); ++x) {
                if (x >= box.left() + 200) {
                    ASSERT_EQ(part.pixel(x, y), qRgb(255, 255, 255)) << x << "," << y;
                } else {
                    ASSERT_EQ(part.pixel(x, y), fromImage.pixel(x, y)) << x << "," << y;
                    inkLeft = inkLeft || inked(part.pixel(x, y));
                }
            }
        EXPECT_TRUE(inkLeft);
    }
}

TEST(LineImages, TheStoreKeepsItsCapacityAndForgetsTheLineUnusedLongest) {
    QImage img = blank();
    LineImages kept(3);
    QPainter p(&img);
    const QFont font = bigFont(20);
    const QRect box(0, 0, 900, 300);
    for (const char* t : {"one", "two", "three"}) kept.draw(p, box, t, font, Qt::black);
    kept.draw(p, box, "one", font, Qt::black); // "two" is now the one unused longest
    kept.draw(p, box, "four", font, Qt::black);
    EXPECT_EQ(kept.size(), 3u);
    EXPECT_FALSE(kept.keeps("two", font, Qt::black));
    for (const char* t : {"one", "three", "four"}) EXPECT_TRUE(kept.keeps(t, font, Qt::black)) << t;
    // A colour or a font of its own is a line of its own.
    kept.draw(p, box, "one", font, Qt::red);
    kept.draw(p, box, "one", bigFont(21), Qt::black);
    EXPECT_EQ(kept.size(), 3u);
    EXPECT_TRUE(kept.keeps("one", font, Qt::red));
    EXPECT_TRUE(kept.keeps("one", bigFont(21), Qt::black));
    // Nothing to draw keeps nothing.
    LineImages none;
    none.draw(p, box, "", font, Qt::black);
    none.draw(p, QRect(), "x", font, Qt::black);
    none.draw(p, box, "x", font, Qt::black, 0);
    EXPECT_EQ(none.size(), 0u);
}

} // namespace
} // namespace velvora::karaoke
