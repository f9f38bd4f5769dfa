#include "widgets/pitch_strip.h"

#include <QFont>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace velvora::widgets {

namespace {
// Semitones of room above and below the melody.
constexpr double kMargin = 2;
// The least span the strip shows, so that a tune of few notes is not stretched tall.
constexpr double kLeastSpan = 12;
// A reading this near its note is in tune.
constexpr double kInTune = 0.5;
} // namespace

StripScale::StripScale(const QRect& r, const PitchStripView& view) : area(r), now(view.now) {
    if (!view.notes.empty()) {
        const auto [lo, hi] =
            std::minmax_element(view.notes.begin(), view.notes.end(),
                                [](const StripNote& a, const StripNote& b) { return a.key < b.key; });
        lowKey = lo->key - kMargin;
        highKey = hi->key + kMargin;
        if (highKey - lowKey < kLeastSpan) {
            const double middle = (lowKey + highKey) / 2;
            lowKey = middle - kLeastSpan / 2;
            highKey = middle + kLeastSpan / 2;
        }
    }
}

double StripScale::x(double seconds) const {
    return area.left() + (seconds - (now - kBefore)) / (kBefore + kAfter) * area.width();
}

double StripScale::y(double key) const {
    return area.bottom() - (key - lowKey) / (highKey - lowKey) * area.height();
}

const StripNote* noteAt(const std::vector<StripNote>& notes, double seconds) {
    const auto after = std::upper_bound(notes.begin(), notes.end(), seconds,
                                        [](double t, const StripNote& n) { return t < n.start; });
    if (after == notes.begin()) return nullptr;
    const StripNote& n = *std::prev(after);
    return seconds < n.end ? &n : nullptr;
}

double foldedKey(const PitchStripView& view, const StripScale& scale, const StripReading& reading) {
    const StripNote* note = noteAt(view.notes, reading.seconds);
    const double target = note ? note->key : (scale.lowKey + scale.highKey) / 2;
    return reading.key - 12.0 * std::round((reading.key - target) / 12.0);
}

void paintPitchStrip(QPainter& painter, const QRect& area, const PitchStripView& view) {
    painter.fillRect(area, QColor::fromRgb(PitchStrip::kBackground));
    const StripScale scale(area, view);
    const double bar = std::max(3.0, area.height() / (scale.highKey - scale.lowKey));
    for (const StripNote& n : view.notes) {
        if (n.end < view.now - StripScale::kBefore || n.start > view.now + StripScale::kAfter) continue;
        painter.fillRect(
            QRectF(scale.x(n.start), scale.y(n.key) - bar / 2, scale.x(n.end) - scale.x(n.start), bar),
            QColor::fromRgb(PitchStrip::kNoteColour));
    }
    const double dot = std::max(3.0, bar / 2);
    for (const StripReading& r : view.readings) {
        if (r.key <= 0 || r.seconds < view.now - StripScale::kBefore || r.seconds > view.now) continue;
        const double key = foldedKey(view, scale, r);
        const StripNote* note = noteAt(view.notes, r.seconds);
        const bool inTune = note && std::abs(key - note->key) <= kInTune;
        painter.fillRect(QRectF(scale.x(r.seconds) - dot / 2, scale.y(key) - dot / 2, dot, dot),
                         QColor::fromRgb(inTune ? PitchStrip::kInTuneColour : PitchStrip::kOffColour));
    }
    painter.setPen(QColor(Qt::white));
    const int nowX = static_cast<int>(std::lround(scale.x(view.now)));
    painter.drawLine(nowX, area.top(), nowX, area.bottom());
    if (!view.message.isEmpty()) {
        // Readable from the singer's place on a tall strip, as on the small one.
        QFont font = painter.font();
        font.setPixelSize(std::clamp(area.height() / 6, 12, 48));
        painter.setFont(font);
        painter.drawText(area.adjusted(8, 4, -8, -4), Qt::AlignLeft | Qt::AlignTop, view.message);
    }
}

PitchStrip::PitchStrip(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_OpaquePaintEvent);
}

void PitchStrip::setNotes(std::vector<StripNote> notes) {
    view_.notes = std::move(notes);
    update();
}

void PitchStrip::addReadings(const std::vector<StripReading>& readings) {
    for (const StripReading& r : readings)
        if (view_.readings.empty() || r.seconds > view_.readings.back().seconds) view_.readings.push_back(r);
    while (!view_.readings.empty() && view_.readings.front().seconds < view_.now - StripScale::kBefore)
        view_.readings.pop_front();
    update();
}

void PitchStrip::clearReadings() {
    view_.readings.clear();
    update();
}

void PitchStrip::setNow(double seconds) {
    // Going back (a seek) lets the readings after the new present go.
    while (!view_.readings.empty() && view_.readings.back().seconds > seconds) view_.readings.pop_back();
    view_.now = seconds;
    update();
}

void PitchStrip::setMessage(const QString& message) {
    view_.message = message;
    update();
}

QSize PitchStrip::sizeHint() const {
    return {660, 90};
}

void PitchStrip::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    paintPitchStrip(painter, rect(), view_);
}

} // namespace velvora::widgets
