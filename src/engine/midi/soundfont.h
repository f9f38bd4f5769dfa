// A loaded SF2 soundfont. The synthesizer side (FluidSynth) loads the samples when a stream
// first renders with it; here is what the file says about itself.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

namespace engine {

namespace midi {
class SharedFluidFont;
}

class SoundFont {
  public:
    std::string path;
    std::string name;
    std::string copyright;
    std::string comment;
    std::uint32_t sampleBytes = 0;
    std::atomic<std::uint32_t> loadedBytes{0};
    std::atomic<float> volume{1.0f};

    // The synthesizer's copy of the font, loaded by the first stream that renders with it and
    // shared by every stream after (null when FluidSynth cannot read the file).
    std::shared_ptr<midi::SharedFluidFont> samples();

  private:
    std::mutex samplesMutex_;
    std::shared_ptr<midi::SharedFluidFont> samples_;
    bool samplesTried_ = false;
};

// Reads the RIFF structure of an SF2 file. Returns false with a BASS error code in `error` when
// the file cannot be opened or is not a soundfont.
bool readSoundFontInfo(const std::string& path, SoundFont& out, int& error);

// A path given to a file-opening operation: UTF-8 text, or a wide string with BASS_UNICODE.
std::string pathArgument(const void* file, std::uint32_t flags);

} // namespace engine
