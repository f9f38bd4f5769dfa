// Small measures of rendered audio for tests: level and pitch.
#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

namespace miditest {

// Root mean square of one channel (0 left, 1 right) of interleaved stereo frames [from, to).
inline double rms(const std::vector<float>& stereo, std::size_t from, std::size_t to, int channel = 0) {
    double sum = 0;
    std::size_t n = 0;
    for (std::size_t i = from; i < to && 2 * i + 1 < stereo.size(); ++i, ++n)
        sum += double(stereo[2 * i + channel]) * stereo[2 * i + channel];
    return n ? std::sqrt(sum / n) : 0.0;
}

// The fundamental frequency of the left channel over frames [from, from + count), by the
// cumulative-mean-normalised difference function (YIN); 0 when no period is found.
inline double pitch(const std::vector<float>& stereo, std::size_t from, std::size_t count, double rate) {
    std::vector<double> x(count);
    for (std::size_t i = 0; i < count; ++i) x[i] = stereo[2 * (from + i)];
    const std::size_t maxLag = static_cast<std::size_t>(rate / 60.0), window = count - maxLag - 2;
    std::vector<double> d(maxLag + 2, 0.0);
    for (std::size_t lag = 1; lag <= maxLag + 1; ++lag)
        for (std::size_t i = 0; i < window; ++i) {
            const double diff = x[i] - x[i + lag];
            d[lag] += diff * diff;
        }
    double running = 0;
    std::vector<double> norm(maxLag + 2, 1.0);
    for (std::size_t lag = 1; lag <= maxLag + 1; ++lag) {
        running += d[lag];
        norm[lag] = running > 0 ? d[lag] * lag / running : 1.0;
    }
    const std::size_t minLag = static_cast<std::size_t>(rate / 2000.0);
    for (std::size_t lag = minLag; lag <= maxLag; ++lag) {
        if (norm[lag] < 0.15) {
            while (lag + 1 <= maxLag && norm[lag + 1] < norm[lag]) ++lag;
            // Parabolic refinement around the dip.
            const double a = norm[lag - 1], b = norm[lag], c = norm[lag + 1];
            const double den = a - 2 * b + c;
            const double shift = den != 0 ? 0.5 * (a - c) / den : 0.0;
            return rate / (double(lag) + shift);
        }
    }
    return 0.0;
}

} // namespace miditest
