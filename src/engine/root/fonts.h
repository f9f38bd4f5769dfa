// Soundfont handles as the MIDI streams use them.
#pragma once

#include "api.h"
#include "midi/midi_renderer.h"

#include <vector>

namespace engine {

// The fonts of a BASS_MIDI_FONT list that are loaded, with their presets and banks; handles that
// are not (or no longer) fonts are left out.
std::vector<midi::FontUse> resolveFonts(const BASS_MIDI_FONT* fonts, DWORD count);

} // namespace engine
