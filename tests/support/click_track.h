// Click tracks for tempo measures: interleaved stereo 16-bit at 44100 Hz.
#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

namespace testing_clicks {

// A click on every beat; with `kicks`, a low drum on every other beat instead of the click.
inline std::vector<std::int16_t> clicks(double bpm, double seconds, bool kicks = false) {
    const int rate = 44100;
    std::vector<std::int16_t> out(static_cast<std::size_t>(seconds * rate) * 2, 0);
    const double beat = 60.0 / bpm * rate;
    int n = 0;
    for (double at = 0; at < seconds * rate; at += beat, ++n)
        for (int i = 0; i < 2000 && static_cast<std::size_t>(at) + i < out.size() / 2; ++i) {
            const bool kick = kicks && n % 2 == 0;
            const double phase = kick ? 2 * M_PI * 150.0 * i / rate : i * 0.3;
            const auto v =
                static_cast<std::int16_t>(20000 * std::exp(-i / (kick ? 600.0 : 300.0)) * std::sin(phase));
            out[(static_cast<std::size_t>(at) + i) * 2] = out[(static_cast<std::size_t>(at) + i) * 2 + 1] = v;
        }
    return out;
}

} // namespace testing_clicks
