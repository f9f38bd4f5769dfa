#include "metering/palette.h"

namespace velvora::metering {

namespace {

std::uint32_t rgb(int r, int g, int b) {
    auto c = [](int v) { return static_cast<std::uint32_t>(v < 0 ? 0 : (v > 255 ? 255 : v)); };
    return c(r) << 16 | c(g) << 8 | c(b);
}

} // namespace

std::array<std::uint32_t, 256> spectrumPalette() {
    std::array<std::uint32_t, 256> pal{};
    // Green fading into red over the lower half; 256 - 2a is 254 at its brightest.
    for (int a = 1; a < 128; ++a) pal[static_cast<std::size_t>(a)] = rgb(2 * a, 256 - 2 * a, 0);
    for (int a = 0; a < 32; ++a) {
        pal[static_cast<std::size_t>(128 + a)] = rgb(0, 0, 8 * a);
        pal[static_cast<std::size_t>(160 + a)] = rgb(8 * a, 0, 255);
        pal[static_cast<std::size_t>(192 + a)] = rgb(255, 8 * a, 8 * (31 - a));
        pal[static_cast<std::size_t>(224 + a)] = rgb(255, 255, 8 * a);
    }
    return pal;
}

void InitSpectrum(App& app) {
    app.s.spectrum.palette = spectrumPalette();
    app.s.spectrum.specMode = 1;
}

} // namespace velvora::metering
