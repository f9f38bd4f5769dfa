// The bar spectrum of the playing channel, drawn on each tick of tmrSpectrum into an 8-bit image
// that both spectrum pictures show.
#pragma once

#include "core/app.h"

#include <array>
#include <cstdint>
#include <vector>

namespace velvora::metering {

constexpr int kBands = 28;

// The image's pixels, bottom row first, from 1024 FFT magnitudes (the array has one entry more,
// 0, for the last band's reach).
std::vector<std::uint8_t> spectrumBars(const std::array<float, 1025>& fft);

// One tick: reads the FFT of `chan`, draws the bars, copies them to Picture1 and Picture5.
void UpdateSpectrum(App& app);

} // namespace velvora::metering
