#include "pulse/playback_check.h"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace pulsetest {

namespace {

constexpr std::size_t kWindow = 44100 / 2;

double peakOf(const Stereo& a) {
    double p = 0;
    for (std::size_t i = 0; i < a.frames; ++i) p = std::max({p, std::abs(a.at(i, 0)), std::abs(a.at(i, 1))});
    return p;
}

std::size_t firstAbove(const Stereo& a, double level) {
    for (std::size_t i = 0; i < a.frames; ++i)
        if (std::abs(a.at(i, 0)) > level || std::abs(a.at(i, 1)) > level) return i;
    return a.frames;
}

std::size_t lastAbove(const Stereo& a, double level) {
    for (std::size_t i = a.frames; i-- > 0;)
        if (std::abs(a.at(i, 0)) > level || std::abs(a.at(i, 1)) > level) return i + 1;
    return 0;
}

// A frame that a 16-bit recording of `a` played at `gain` would hold as 0 (or as 0 after rounding
// away a least significant bit).
bool silentAt(const Stereo& a, std::size_t i, double gain = 1.0, double lsb = 0.5) {
    const double limit = lsb / 32768 / std::max(gain, 1e-9);
    return std::abs(a.at(i, 0)) < limit && std::abs(a.at(i, 1)) < limit;
}

// The recording's level against the reference's over the song (the player's volume controls).
double gainOf(const Stereo& rec, const Stereo& ref, std::size_t start) {
    double er = 0, ef = 0;
    for (std::size_t i = 0; i < ref.frames && start + i < rec.frames; ++i)
        for (int c = 0; c < 2; ++c) {
            er += rec.at(start + i, c) * rec.at(start + i, c);
            ef += ref.at(i, c) * ref.at(i, c);
        }
    return ef > 0 ? std::sqrt(er / ef) : 1.0;
}

} // namespace

double correlation(const Stereo& rec, const Stereo& ref, std::size_t start, std::size_t from,
                   std::size_t count) {
    if (from + count > ref.frames || start + from + count > rec.frames) return 0;
    double sxy = 0, sxx = 0, syy = 0;
    for (std::size_t i = from; i < from + count; ++i)
        for (int c = 0; c < 2; ++c) {
            const double x = ref.at(i, c), y = rec.at(start + i, c);
            sxy += x * y;
            sxx += x * x;
            syy += y * y;
        }
    return sxx > 0 && syy > 0 ? sxy / std::sqrt(sxx * syy) : 0.0;
}

long findStart(const Stereo& rec, const Stereo& ref, std::size_t matchFrames, std::size_t search) {
    const double refPeak = peakOf(ref), recPeak = peakOf(rec);
    if (refPeak <= 0 || recPeak <= 0) return -1;
    const std::size_t refOnset = firstAbove(ref, 0.1 * refPeak);
    const std::size_t recOnset = firstAbove(rec, 0.1 * recPeak);
    if (refOnset >= ref.frames || recOnset >= rec.frames) return -1;
    const long guess = static_cast<long>(recOnset) - static_cast<long>(refOnset);
    const std::size_t count = std::min(matchFrames, ref.frames - refOnset);
    long best = -1;
    double bestCorr = 0.9;
    for (long d = guess - static_cast<long>(search); d <= guess + static_cast<long>(search); ++d) {
        if (d < 0) continue;
        const double c = correlation(rec, ref, static_cast<std::size_t>(d), refOnset, count);
        if (c > bestCorr) {
            bestCorr = c;
            best = d;
        }
    }
    return best;
}

std::vector<std::size_t> badWindows(const Stereo& rec, const Stereo& ref, std::size_t start, double minimum,
                                    double quiet) {
    std::vector<std::size_t> bad;
    for (std::size_t from = 0; from + kWindow <= ref.frames; from += kWindow) {
        double energy = 0;
        for (std::size_t i = from; i < from + kWindow; ++i)
            energy += ref.at(i, 0) * ref.at(i, 0) + ref.at(i, 1) * ref.at(i, 1);
        if (std::sqrt(energy / (2.0 * kWindow)) < quiet) continue;
        if (correlation(rec, ref, start, from, kWindow) < minimum) bad.push_back(from);
    }
    return bad;
}

std::vector<Run> silenceRuns(const Stereo& a, std::size_t from, std::size_t to, std::size_t minFrames) {
    std::vector<Run> runs;
    to = std::min(to, a.frames);
    std::size_t i = from;
    while (i < to) {
        if (!silentAt(a, i)) {
            ++i;
            continue;
        }
        const std::size_t begin = i;
        while (i < to && silentAt(a, i)) ++i;
        if (i - begin >= minFrames) runs.push_back({begin, i - begin});
    }
    return runs;
}

std::vector<Run> breaksNotInReference(const Stereo& rec, const Stereo& ref, std::size_t start,
                                      std::size_t minFrames) {
    const double gain = gainOf(rec, ref, start);
    const std::size_t first = firstAbove(ref, 0.5 / 32768), last = lastAbove(ref, 0.5 / 32768);
    std::vector<Run> breaks;
    if (first >= last) return breaks;
    for (const Run& r : silenceRuns(rec, start + first, start + last, minFrames)) {
        // A rest of the song itself, or a passage too quiet to leave a bit at the player's level,
        // is silent in the reference over the same frames.
        bool songIsSilent = true;
        for (std::size_t i = r.from - start; i < r.from - start + r.frames && songIsSilent; ++i)
            songIsSilent = i < ref.frames && silentAt(ref, i, gain, 1.0);
        if (!songIsSilent) breaks.push_back(r);
    }
    return breaks;
}

std::string describe(const std::vector<Run>& runs, std::size_t start, unsigned rate) {
    std::ostringstream out;
    for (std::size_t i = 0; i < runs.size() && i < 8; ++i)
        out << (i ? ", " : "") << runs[i].frames << " frames at "
            << static_cast<double>(runs[i].from - std::min(runs[i].from, start)) / rate << " s";
    if (runs.size() > 8) out << ", ...";
    return out.str();
}

} // namespace pulsetest
