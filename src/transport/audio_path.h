// Preparing a song that is not MIDI: an audio file, or a package of tracks.
#pragma once

#include "core/app.h"

namespace velvora::transport {

// Runs twice for each song: at the open, and again from the audio Play button. A package is
// unpacked and armed by the first call and started by the second.
void PlayAudio(App& app);

} // namespace velvora::transport
