// Plays a parsed MIDI file through FluidSynth. The sequencing is ours: the synthesizer is run up to
// each event's frame and the event is applied there, through a tempo that the file and the caller
// both steer.
//
// Time line: the renderer's frames count from the start of the song. Without a tempo from outside
// they are exactly the file's tempo map (TempoMap); a tempo event from outside changes the length
// of the ticks that follow, until the file's next tempo event, and frames then count the audio as
// it was rendered.
//
// The synthesizer is made only when audio is first asked for, so a renderer used only to read
// positions and marks costs no more than the parse. Not thread-safe: the owner serializes calls.
#pragma once

#include "smf_reader.h"

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

typedef struct _fluid_hashtable_t fluid_settings_t;
typedef struct _fluid_synth_t fluid_synth_t;

namespace engine {
class SoundFont;
}

namespace engine::midi {

class SharedFluidFont;

struct FontUse {
    std::shared_ptr<SoundFont> font;
    int preset = -1; // -1: every preset of the font
    int bank = 0;
};

// Something in the file that the owner reports (syncs) at the moment it is played.
struct RenderCue {
    enum class Kind { Lyric, Text, Tempo };
    Kind kind = Kind::Lyric;
    std::uint32_t index = 0; // the mark's index (Lyric, Text)
    std::uint32_t value = 0; // microseconds per quarter note (Tempo)
    std::uint64_t tick = 0;
    std::uint64_t frame = 0; // on the renderer's time line
};

// Events that can be sent from outside.
constexpr int kEventVolume = 12;         // channel volume 0..127
constexpr int kEventTempo = 62;          // microseconds per quarter note
constexpr int kEventTranspose = 0x10001; // 100 + semitones, for notes started afterwards

class MidiRenderer {
  public:
    MidiRenderer(std::shared_ptr<const SmfFile> file, std::uint32_t rate);
    ~MidiRenderer();
    MidiRenderer(const MidiRenderer&) = delete;
    MidiRenderer& operator=(const MidiRenderer&) = delete;

    const SmfFile& file() const { return *file_; }
    const TempoMap& tempoMap() const { return map_; }
    std::uint32_t rate() const { return map_.rate(); }

    // The fonts to play with, first one first. On a live synthesizer they are swapped at once. With
    // several fonts the gain follows the first font's volume.
    void setFonts(std::vector<FontUse> fonts);

    // Where the next rendered frame is.
    std::uint64_t positionFrame() const { return frame_; }
    std::uint64_t positionTick() const { return tickAtLive(frame_); }
    // The tick being played at a frame already passed (up to several seconds back, and not before
    // the last seek), for the position the listener hears.
    std::uint64_t tickAtFrame(std::uint64_t frame) const;
    // The song's end (the file's tempo map; on the time line as rendered, see endFrame()).
    std::uint64_t lengthTicks() const { return file_->lengthTicks(); }
    std::uint64_t lengthFrames() const { return map_.frameOfTick(file_->lengthTicks()); }
    // The end on the time line as it is now being rendered.
    std::uint64_t endFrame() const { return frameOfLive(file_->lengthTicks()); }
    bool ended() const { return frame_ >= endFrame() && next_ >= file_->events().size(); }

    // Seeks without rendering. The synthesizer (if there is one) takes the state of the new
    // position: programs, controllers, pitch bend and the tempo in force; sounding notes are
    // released. A tempo set from outside is dropped. Positions past the end are clamped to it.
    void seekTick(std::uint64_t tick);
    void seekFrame(std::uint64_t frame);

    // An event from outside (kEvent*); false when the event or its value is not supported.
    bool sendEvent(int channel, int event, int param);
    // The tempo in force, microseconds per quarter note.
    std::uint32_t tempo() const { return tempo_; }

    struct Result {
        std::uint32_t frames = 0;     // frames written
        std::optional<RenderCue> cue; // rendering stopped right after applying this event
        bool ended = false;           // the song's end was reached
    };
    // Renders up to `frames` frames of interleaved stereo float into `out`. It stops early right
    // after applying a lyric, text or tempo event, so that the owner can run its callbacks (which
    // may send events) before any later audio exists; call again to go on. Creates the synthesizer
    // on first use.
    Result render(float* out, std::uint32_t frames);

    // Renders `frames` frames (fewer only at the end), calling `onCue` for each cue at its moment.
    std::uint32_t renderAll(float* out, std::uint32_t frames,
                            const std::function<void(const RenderCue&)>& onCue);

    bool hasSynth() const { return synth_ != nullptr; }
    // Makes the synthesizer (and loads its fonts) now rather than at the first render, e.g. when a
    // stream starts playing, so that the font load does not fall on the rendering thread.
    void prepare();

  private:
    struct Anchor {
        std::uint64_t frame;
        std::uint64_t tick;
        std::uint32_t usPerQuarter;
    };
    struct External {
        int channel, event, param;
    };

    std::shared_ptr<const SmfFile> file_;
    TempoMap map_;
    std::vector<FontUse> fonts_;
    std::vector<std::shared_ptr<SharedFluidFont>> loaded_;
    std::vector<int> fontIds_;

    fluid_settings_t* settings_ = nullptr;
    fluid_synth_t* synth_ = nullptr;
    float gain_ = -1.0f;
    bool synthTried_ = false;
    std::array<std::array<std::uint8_t, 128>, 16> ccDefaults_{};

    std::uint64_t frame_ = 0;
    std::size_t next_ = 0; // next event to apply
    std::uint32_t tempo_ = kDefaultTempo;
    Anchor anchor_{};
    std::deque<Anchor> history_;
    std::array<int, 16> transpose_{};
    std::array<std::array<std::int16_t, 128>, 16> sounding_{}; // key actually played, per key
    std::vector<External> pending_;                            // sent before the synthesizer existed

    std::uint64_t frameOfLive(std::uint64_t tick) const;
    std::uint64_t tickAtLive(std::uint64_t frame) const;
    void setAnchor(const Anchor& a);
    void seekTo(std::uint64_t frame, std::uint64_t tick);
    bool createSynth();
    void loadFonts();
    void chase();
    void applyEvent(const SmfEvent& e, bool chasing);
    void applyExternal(const External& x);
    void updateGain();
};

} // namespace engine::midi
