// What the byte scanner of a MIDI file keeps: the file as one string, its header words, the first
// tempo, and the fixed-width identification fields.
#pragma once

#include <cstdint>
#include <string>

namespace velvora {

struct MidiScanState {
    std::string midiBuffer;
    std::int16_t midiFormat = 0;
    std::int16_t midiTrackCount = 0;
    double ticksPerSixteenth = 0;
    double tempoMicros = 0;
    float songBpm = 0;
    double msPerTick = 0;

    std::string fixCopyright;
    std::string fixTempo;
    std::string fixKeyBytes;
    std::string keyName;
    std::string fixTitle;
    std::string fileExtension;
};

} // namespace velvora
