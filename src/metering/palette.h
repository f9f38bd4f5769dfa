// The spectrum image's palette: bars rise from green through red, blue and magenta to yellow
// and white.
#pragma once

#include "core/app.h"

#include <array>
#include <cstdint>

namespace velvora::metering {

// 256 entries as 0xRRGGBB; entry 0 is black.
std::array<std::uint32_t, 256> spectrumPalette();
// Builds the image header and palette and selects the bar mode.
void InitSpectrum(App& app);

} // namespace velvora::metering
