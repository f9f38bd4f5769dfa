// A loaded SF2 soundfont. The synthesizer side (FluidSynth) loads the samples when a stream
// first renders with it; here is what the file says about itself.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace engine {

class SoundFont {
  public:
    std::string path;
    std::string name;
    std::string copyright;
    std::string comment;
    std::uint32_t sampleBytes = 0;
    std::atomic<std::uint32_t> loadedBytes{0};
    std::atomic<float> volume{1.0f};
};

// Reads the RIFF structure of an SF2 file. Returns false with a BASS error code in `error` when
// the file cannot be opened or is not a soundfont.
bool readSoundFontInfo(const std::string& path, SoundFont& out, int& error);

// A path given to a file-opening operation: UTF-8 text, or a wide string with BASS_UNICODE.
std::string pathArgument(const void* file, std::uint32_t flags);

} // namespace engine
