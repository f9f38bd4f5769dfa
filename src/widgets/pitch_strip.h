// The pitch strip under the lyric page: the melody's notes as bars and the singer's pitch as a
// trace, on the song's heard-position clock, the present at a fixed line with the next seconds to
// its right. The trace is folded by octaves onto the melody, so that a singer an octave away from
// the tune is drawn on it. Without a melody the trace stands alone; a message says what the strip
// cannot show.
#pragma once

#include <QColor>
#include <QString>
#include <QWidget>

#include <deque>
#include <vector>

class QPainter;

namespace velvora::widgets {

struct StripNote {
    double start = 0; // seconds on the song's clock
    double end = 0;
    int key = 60; // MIDI key
};

struct StripReading {
    double seconds = 0; // on the song's clock
    double key = 0;     // fractional MIDI key of the sung pitch; 0 for none
};

struct PitchStripView {
    std::vector<StripNote> notes; // in time order
    std::deque<StripReading> readings;
    double now = 0;
    QString message;
};

// The strip's geometry, shared by the painter and its tests.
struct StripScale {
    static constexpr double kBefore = 3.0; // seconds of the past shown
    static constexpr double kAfter = 5.0;  // seconds ahead
    QRect area;
    double lowKey = 48, highKey = 72;
    double now = 0;

    StripScale(const QRect& area, const PitchStripView& view);
    double x(double seconds) const;
    double y(double key) const;
};

// The key of a reading as drawn: moved by whole octaves to lie nearest the note sung at its time,
// or the middle of the strip between notes.
double foldedKey(const PitchStripView& view, const StripScale& scale, const StripReading& reading);
// The melody note sounding at `seconds`, or null.
const StripNote* noteAt(const std::vector<StripNote>& notes, double seconds);

void paintPitchStrip(QPainter& painter, const QRect& area, const PitchStripView& view);

class PitchStrip : public QWidget {
    Q_OBJECT
  public:
    static constexpr QRgb kBackground = 0xff202830;
    static constexpr QRgb kNoteColour = 0xff5878a8;
    static constexpr QRgb kInTuneColour = 0xff40e060;
    static constexpr QRgb kOffColour = 0xffff9830;

    explicit PitchStrip(QWidget* parent = nullptr);

    void setNotes(std::vector<StripNote> notes);
    // Appends readings later than those held; readings older than the strip shows are let go.
    void addReadings(const std::vector<StripReading>& readings);
    void clearReadings();
    void setNow(double seconds);
    void setMessage(const QString& message);
    const PitchStripView& view() const { return view_; }
    QSize sizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    PitchStripView view_;
};

} // namespace velvora::widgets
