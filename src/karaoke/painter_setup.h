// Setting up the lyric page at start-up: the surface's size and colours.
#pragma once

#include "core/app.h"

namespace velvora::karaoke {

// Remembers the size of the lyric picture, gives it its background and clears it.
void SetupLyricSurface(App& app);
// The painter's size class and colours for the given mode.
void PainterFontStage(App& app, int mode);
// Colours of the sung text and of the coming pair, where none is set yet.
void DefaultLyricColours(App& app);

constexpr std::uint32_t kLyricBackground = 0x404040;

} // namespace velvora::karaoke
