// What the byte scanner of a MIDI file keeps: the file as one string, its header words, the first
// tempo, and the fixed-width identification fields.
#pragma once

#include <cstdint>
#include <string>

namespace velvora {

struct MidiScanState {
    // The whole file, one character a byte.
    std::string midiBuffer;
    std::int16_t midiFormat = 0;
    std::int16_t midiTrackCount = 0;
    double ticksPerSixteenth = 0;
    double tempoMicros = 0;
    float songBpm = 0;
    double msPerTick = 0;

    // Identification fields; the fixed ones keep their width once filled (space-padded).
    std::string fixCopyright; // 20 characters
    std::string fixTempo;     // 3 characters
    std::string fixKeyBytes;  // the two data bytes of the first key signature, or "**"
    std::string keyName;
    std::string fixTitle; // 30 characters
    std::string fileExtension;
    // One character: the low byte of the header's format word once read; a code of 1 blanks the title.
    std::string fixType;
    // "Y" when a note-on of the fourth channel occurs anywhere in the file, else "N".
    std::string fixChannel4;
    // The first notes of the fourth channel, three digits each, 20 characters.
    std::string fixMelody;
};

} // namespace velvora
