#include "pitch/score.h"

#include <algorithm>
#include <cmath>

namespace velvora::pitch {

namespace {
constexpr double kInTune = 0.5;    // semitones
constexpr double kEdge = 0.1;      // seconds at each end of a note that are not scored
constexpr double kLongestSpan = 2; // hops of the song's time one reading may stand for
} // namespace

double foldedSemitones(double hz, int key) {
    const double sung = 69.0 + 12.0 * std::log2(hz / 440.0);
    double d = std::fmod(sung - key, 12.0);
    if (d >= 6.0) d -= 12.0;
    if (d < -6.0) d += 12.0;
    return d;
}

int scoreTake(const Melody& melody, const std::vector<PitchFrame>& trace, double hopSeconds,
              double voiceLag) {
    double scored = 0;
    for (const MelodyNote& n : melody.notes) {
        const double edge = std::min(kEdge, (n.end - n.start) / 4);
        scored += (n.end - n.start) - 2 * edge;
    }
    if (scored <= 0 || trace.empty() || hopSeconds <= 0) return 0;
    double inTune = 0;
    auto note = melody.notes.begin();
    for (std::size_t i = 0; i < trace.size(); ++i) {
        const PitchFrame& f = trace[i];
        if (f.hz <= 0) continue;
        // A reading stands for the song's time until the next one: a hop when the song goes as
        // written, more or less when its tempo was moved; a gap in the trace is not credited.
        const double span = i + 1 < trace.size()
                                ? std::clamp(trace[i + 1].seconds - f.seconds, 0.0, kLongestSpan * hopSeconds)
                                : hopSeconds;
        const double t = f.seconds - voiceLag;
        while (note != melody.notes.end() && note->end <= t) ++note;
        if (note == melody.notes.end()) break;
        const double edge = std::min(kEdge, (note->end - note->start) / 4);
        if (t < note->start + edge || t >= note->end - edge) continue;
        if (std::abs(foldedSemitones(f.hz, note->key)) <= kInTune) inTune += span;
    }
    const double share = std::min(1.0, inTune / scored);
    return static_cast<int>(std::lround(share * 100));
}

} // namespace velvora::pitch
