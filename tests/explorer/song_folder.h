// A folder of songs for the explorer's tests: a KAR, a MIDI file, a WAV, and a broken file.
#pragma once

#include "support/midi_writer.h"
#include "support/song_files.h"

#include <filesystem>
#include <string>

namespace velvora::testing {

// A format 1 MIDI file whose first track is named `title`, with copyright `copyright` and a
// few notes.
inline std::string namedMidi(const std::string& title, const std::string& copyright = {}) {
    miditest::Track head;
    head.meta(0, 0x03, title);
    if (!copyright.empty()) head.meta(0, 0x02, copyright);
    head.tempo(0, 500000).end(0);
    miditest::Track notes;
    for (int i = 0; i < 8; ++i) notes.on(i == 0 ? 0 : 0, 0, 60 + i).off(96, 0, 60 + i);
    notes.end(0);
    return miditest::smf(1, 96, {head, notes});
}

// Writes Twinkle.kar ("Test Song"), Blue Moon.mid, Tone.wav and Broken.kar (not MIDI at all)
// into `folder`.
inline void writeSongFolder(const std::filesystem::path& folder) {
    std::filesystem::create_directories(folder);
    miditest::writeFile(folder / "Twinkle.kar", karaokeMidi(twinkleSyllables(), 48));
    miditest::writeFile(folder / "Blue Moon.mid", namedMidi("Blue Moon"));
    writeToneWav(folder / "Tone.wav", 2.0);
    miditest::writeFile(folder / "Broken.kar", "this is not a MIDI file at all");
}

} // namespace velvora::testing
