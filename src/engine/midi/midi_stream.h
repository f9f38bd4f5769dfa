// A MIDI file played as a channel: the renderer (FluidSynth under our own sequencing) behind the
// playback pipeline.
//
// Time line: the stream's frames are the renderer's frames. Without a tempo sent from outside they
// are exactly the file's tempo map, so byte and tick positions convert both ways exactly; with one,
// a tick position is read from the time line as it was rendered.
//
// Events: each lyric and text event raises BASS_SYNC_MIDI_LYRIC / BASS_SYNC_MIDI_TEXT with the
// mark's index, each tempo event BASS_SYNC_MIDI_EVENT with the tempo (param 62), at its exact frame;
// produce() returns right there so that a mix-time sync runs before any later audio exists.
//
// Events sent from outside (BASS_MIDI_StreamEvent) are queued and applied before the next rendered
// block, or at once when nothing is rendering, so they may be sent from any thread, including a
// mix-time sync of this very stream.
#pragma once

#include "midi/midi_renderer.h"
#include "midi/smf_reader.h"
#include "pipeline/channel.h"

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

namespace engine {

class MidiStream final : public Channel {
  public:
    // Reads the file at `path`, or `bytes` when not empty. Returns null with a BASS error code in
    // `error`. `freq` 0 means 44100. `fonts` are its soundfonts to begin with.
    static std::shared_ptr<MidiStream> open(const std::string& path, const std::vector<std::uint8_t>& bytes,
                                            DWORD flags, DWORD freq, std::vector<midi::FontUse> fonts,
                                            int& error);
    MidiStream(std::shared_ptr<const midi::SmfFile> file, DWORD flags, DWORD freq);

    unsigned produce(float* out, unsigned frames, bool* ended) override;
    double positionFrame() const override;
    std::int64_t lengthFrames() const override;
    bool seekFrame(std::uint64_t frame) override;

    bool toFrame(QWORD pos, DWORD mode, std::uint64_t& frame) const override;
    bool fromFrame(double frame, DWORD mode, QWORD& pos) const override;
    bool lengthIn(DWORD mode, QWORD& out) const override;

    // Soundfonts in use, resolved from their handles.
    bool setFonts(std::vector<midi::FontUse> fonts);
    // Makes the synthesizer and loads the fonts on the caller's thread before the first play, so
    // that the font load does not fall on the update thread.
    bool play(bool restart) override;

    // Marks of one type (BASS_MIDI_MARK_LYRIC / _TEXT); null for another type.
    const std::vector<midi::SmfMark>* marks(DWORD type) const;
    // The byte position of a tick on the file's tempo map.
    QWORD bytesOfTick(std::uint64_t tick) const;

    // Checks and queues an event from outside; false when the event or its value is not supported.
    bool sendEvent(DWORD chan, DWORD event, DWORD param);
    // The tempo in force (including one sent and not yet applied), microseconds per quarter note.
    DWORD tempo() const;

    const midi::SmfFile& file() const { return *file_; }
    bool hasSynth();

  private:
    struct Pending {
        int chan, event, param;
    };
    std::shared_ptr<const midi::SmfFile> file_;
    midi::MidiRenderer renderer_; // used under produceMutex()

    mutable std::mutex eventMutex_; // guards pending_; taken after produceMutex()
    std::vector<Pending> pending_;
    std::atomic<bool> hasPending_{false};
    std::atomic<std::uint32_t> tempo_{midi::kDefaultTempo};

    // Applies the queued events to the renderer (produceMutex() held).
    void applyPending();
};

} // namespace engine
