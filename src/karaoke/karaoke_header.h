// The opening of a MIDI or KAR song up to its words: the file into the scan buffer, header words,
// first tempo, and the identification shown in the Title, Artist, Yizear and GENERE boxes.
#pragma once

#include "core/app.h"

namespace velvora::karaoke {

// Reads app.s.FileName and fills the scan state, midiChannel, the word model's msPerTick and the
// four text boxes. A missing or unreadable file leaves an empty buffer and blank fields.
void GetKaraokeHeader(App& app);

} // namespace velvora::karaoke
