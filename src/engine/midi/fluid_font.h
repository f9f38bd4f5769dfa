// Soundfont samples shared by every FluidSynth synthesizer of the process.
//
// A font is parsed and its samples loaded once, into a small holder synthesizer that keeps it
// alive. Each stream's synthesizer gets a light view of it (a fluid_sfont_t whose presets are the
// holder's own), so voices in any synthesizer play from the one copy of the samples. FluidSynth
// keeps plain reference counts on the shared font and its samples, so every call into a
// synthesizer that uses shared fonts is made under fluidLock().
#pragma once

#include <fluidsynth.h>

#include <memory>
#include <mutex>
#include <string>

namespace engine::midi {

// Serializes all calls into synthesizers that use shared fonts.
std::mutex& fluidLock();

// Silences FluidSynth's own console messages (once per process).
void quietFluidLog();

class SharedFluidFont {
  public:
    // The loaded font for a path: the same object while anyone holds it; null when FluidSynth
    // cannot read the file.
    static std::shared_ptr<SharedFluidFont> acquire(const std::string& path);
    ~SharedFluidFont();
    SharedFluidFont(const SharedFluidFont&) = delete;
    SharedFluidFont& operator=(const SharedFluidFont&) = delete;

    // A new view of the font for one synthesizer: pass it to fluid_synth_add_sfont, which takes
    // ownership. Call under fluidLock().
    fluid_sfont_t* makeView();

    const std::string& path() const { return path_; }

  private:
    SharedFluidFont() = default;
    std::string path_;
    fluid_settings_t* settings_ = nullptr;
    fluid_synth_t* holder_ = nullptr;
    fluid_sfont_t* font_ = nullptr;
};

} // namespace engine::midi
