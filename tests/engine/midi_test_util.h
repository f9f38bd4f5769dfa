// Builds Standard MIDI File bytes for the MIDI tests, and small signal measures for rendered audio.
#pragma once

#include "engine/midi/smf_reader.h"
#include "support/midi_writer.h"
#include "support/signal.h"

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <string>
#include <vector>

namespace miditest {

inline std::shared_ptr<const engine::midi::SmfFile> parse(const std::string& bytes, int& error) {
    return engine::midi::SmfFile::parse(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size(),
                                        error);
}
inline std::shared_ptr<const engine::midi::SmfFile> parse(const std::string& bytes) {
    int error = 0;
    return parse(bytes, error);
}

} // namespace miditest
