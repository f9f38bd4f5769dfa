// The pitch strip's pixels: note bars at their key's height and their time's place, the trace on
// a bar when in tune (an octave away too), beside it in another colour when not.
#include "support/offscreen_app.h"
#include "widgets/pitch_strip.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>

#include <cmath>

namespace velvora::widgets {
namespace {

constexpr int kWidth = 800, kHeight = 120;

QImage paint(const PitchStripView& view) {
    QImage image(kWidth, kHeight, QImage::Format_ARGB32);
    QPainter painter(&image);
    paintPitchStrip(painter, image.rect(), view);
    return image;
}

QRgb at(const QImage& image, double x, double y) {
    return image.pixel(static_cast<int>(std::lround(x)), static_cast<int>(std::lround(y)));
}

TEST(PitchStrip, NotesAreBarsAtTheirKeyAndTimeAndTheTraceIsFoldedOntoThem) {
    PitchStripView view;
    view.now = 10.0;
    // 60 sung from 8 to 9.5; 67 ahead, from 11 to 12.
    view.notes = {{8.0, 9.5, 60}, {11.0, 12.0, 67}};
    const StripScale scale(QRect(0, 0, kWidth, kHeight), view);
    EXPECT_DOUBLE_EQ(scale.lowKey, 57.5) << "the melody and two semitones round it, at least an octave";
    EXPECT_DOUBLE_EQ(scale.highKey, 69.5);

    QImage plain = paint(view);
    EXPECT_EQ(at(plain, scale.x(11.5), scale.y(67)), PitchStrip::kNoteColour) << "the bar ahead";
    EXPECT_EQ(at(plain, scale.x(11.5), scale.y(60)), PitchStrip::kBackground) << "nothing under it";
    EXPECT_EQ(at(plain, scale.x(10.5), scale.y(67)), PitchStrip::kBackground) << "a rest";
    EXPECT_EQ(at(plain, scale.x(8.5), scale.y(60)), PitchStrip::kNoteColour) << "the bar sung";
    EXPECT_NEAR(scale.x(10.0), kWidth * 3.0 / 8.0, 0.5) << "the present three seconds in of eight";

    // In tune at 8.5 s, an octave low at 9.0 s (drawn on the bar), a semitone sharp at 9.2 s.
    view.readings = {{8.5, 60.1}, {9.0, 48.0}, {9.2, 61.0}};
    const QImage sung = paint(view);
    EXPECT_EQ(at(sung, scale.x(8.5), scale.y(60.1)), PitchStrip::kInTuneColour);
    EXPECT_EQ(at(sung, scale.x(9.0), scale.y(60)), PitchStrip::kInTuneColour)
        << "an octave away is on the note";
    EXPECT_EQ(at(sung, scale.x(9.2), scale.y(61)), PitchStrip::kOffColour);
    EXPECT_EQ(at(sung, scale.x(9.2), scale.y(60)), PitchStrip::kNoteColour) << "the bar shows beside it";
}

TEST(PitchStrip, WithoutAMelodyTheTraceStandsAloneAndTheStripKeepsTheRecentPast) {
    testing::ensureQtApplication();
    PitchStrip strip;
    strip.setMessage("This song has no melody to sing against: your pitch alone.");
    strip.setNow(5.0);
    strip.addReadings({{1.0, 62.0}, {4.0, 62.0}, {4.5, 64.0}, {4.4, 70.0}});
    ASSERT_EQ(strip.view().readings.size(), 2u) << "older than three seconds goes; out of order is refused";
    QImage image = paint(strip.view());
    const StripScale scale(QRect(0, 0, kWidth, kHeight), strip.view());
    EXPECT_EQ(at(image, scale.x(4.5), scale.y(64)), PitchStrip::kOffColour) << "no note to be in tune with";
    // A seek back lets the readings after the new present go.
    strip.setNow(4.2);
    EXPECT_EQ(strip.view().readings.size(), 1u);
}

} // namespace
} // namespace velvora::widgets
