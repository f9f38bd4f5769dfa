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

namespace {

double windowEnergy(const Stereo& ref, std::size_t from) {
    double energy = 0;
    for (std::size_t i = from; i < from + kWindow; ++i)
        energy += ref.at(i, 0) * ref.at(i, 0) + ref.at(i, 1) * ref.at(i, 1);
    return std::sqrt(energy / (2.0 * kWindow));
}

// The piece that holds reference frame `refFrame`.
const Piece& pieceOf(const std::vector<Piece>& pieces, std::size_t refFrame) {
    std::size_t k = 0;
    while (k + 1 < pieces.size() && pieces[k + 1].refFrom <= refFrame) ++k;
    return pieces[k];
}

// Correlation of a window against the recording at `offset` (which may point before the recording).
double correlationAt(const Stereo& rec, const Stereo& ref, long offset, std::size_t from, std::size_t count) {
    if (offset < 0) return 0;
    return correlation(rec, ref, static_cast<std::size_t>(offset), from, count);
}

} // namespace

std::vector<std::size_t> badWindows(const Stereo& rec, const Stereo& ref, std::size_t start, double minimum,
                                    double quiet) {
    return badWindows(rec, ref, {{0, static_cast<long>(start)}}, minimum, quiet);
}

std::vector<std::size_t> badWindows(const Stereo& rec, const Stereo& ref, const std::vector<Piece>& pieces,
                                    double minimum, double quiet) {
    std::vector<std::size_t> bad;
    for (std::size_t from = 0; from + kWindow <= ref.frames; from += kWindow) {
        if (windowEnergy(ref, from) < quiet) continue;
        if (correlationAt(rec, ref, pieceOf(pieces, from).offset, from, kWindow) < minimum)
            bad.push_back(from);
    }
    return bad;
}

std::vector<Piece> followAlignment(const Stereo& rec, const Stereo& ref, std::size_t start,
                                   std::size_t search, double minimum) {
    constexpr std::size_t kMatch = 2048;
    constexpr int kMostSearches = 200; // a recording that is broken throughout is not searched forever
    std::vector<Piece> pieces{{0, static_cast<long>(start)}};
    int searches = 0;
    for (std::size_t from = 0; from + 2 * kWindow <= ref.frames && searches < kMostSearches;
         from += kWindow) {
        if (windowEnergy(ref, from) < 1e-3) continue;
        const long offset = pieces.back().offset;
        if (correlationAt(rec, ref, offset, from, kWindow) >= minimum) continue;
        // The song goes on in the next window, somewhere near where it was.
        ++searches;
        const std::size_t next = from + kWindow;
        long best = offset;
        double bestCorr = correlationAt(rec, ref, offset, next, kMatch);
        for (long d = offset - static_cast<long>(search); d <= offset + static_cast<long>(search); ++d) {
            const double c = correlationAt(rec, ref, d, next, kMatch);
            if (c > bestCorr) {
                bestCorr = c;
                best = d;
            }
        }
        if (best != offset && bestCorr >= minimum && correlationAt(rec, ref, best, next, kWindow) >= minimum)
            pieces.push_back({next, best});
    }
    return pieces;
}

std::size_t placeInRecording(const std::vector<Piece>& pieces, std::size_t refFrame) {
    const long at = static_cast<long>(refFrame) + pieceOf(pieces, refFrame).offset;
    return at < 0 ? 0 : static_cast<std::size_t>(at);
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
    return breaksNotInReference(rec, ref, {{0, static_cast<long>(start)}}, minFrames);
}

std::vector<Run> breaksNotInReference(const Stereo& rec, const Stereo& ref, const std::vector<Piece>& pieces,
                                      std::size_t minFrames) {
    const double gain = gainOf(rec, ref, placeInRecording(pieces, 0));
    const std::size_t first = firstAbove(ref, 0.5 / 32768), last = lastAbove(ref, 0.5 / 32768);
    std::vector<Run> breaks;
    if (first >= last) return breaks;
    for (std::size_t k = 0; k < pieces.size(); ++k) {
        const std::size_t from = std::max(first, pieces[k].refFrom);
        const std::size_t to = std::min(last, k + 1 < pieces.size() ? pieces[k + 1].refFrom : last);
        if (from >= to) continue;
        const long offset = pieces[k].offset;
        for (const Run& r : silenceRuns(rec, placeInRecording(pieces, from),
                                        placeInRecording(pieces, from) + (to - from), minFrames)) {
            // A rest of the song itself, or a passage too quiet to leave a bit at the player's level,
            // is silent in the reference over the same frames.
            bool songIsSilent = true;
            const long refAt = static_cast<long>(r.from) - offset;
            for (long i = refAt; i < refAt + static_cast<long>(r.frames) && songIsSilent; ++i)
                songIsSilent = i >= 0 && static_cast<std::size_t>(i) < ref.frames &&
                               silentAt(ref, static_cast<std::size_t>(i), gain, 1.0);
            if (!songIsSilent) breaks.push_back(r);
        }
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
