// The base of everything that has a channel handle: file, tempo, mixer and MIDI streams, captures.
//
// How a stream kind plugs in:
//  1. Derive from Channel, fill in freq/chans/flags, and implement produce(): it writes up to
//     `frames` interleaved float frames (chans per frame, at freq) and returns how many it wrote.
//     It returns 0 with `*ended = true` at the end of the stream (the pipeline then raises the end
//     event, loops when BASS_SAMPLE_LOOP is set, and reports the channel inactive once heard).
//     produce() is always called with produceMutex() held, on whatever thread pulls the channel: the
//     engine's update thread for a playing channel, the caller of BASS_ChannelGetData for a decoding
//     one, the producer of the mixer it belongs to. It may block briefly; it is never the device
//     callback.
//  2. Positions: implement positionFrame() (the frame of the stream's own timeline that produce()
//     will write next), lengthFrames() and seekFrame() (called with produceMutex() held). Byte
//     positions are derived from frames by the base; a stream with another unit (MIDI ticks, mode
//     BASS_POS_MIDI_TICK) overrides toFrame()/fromFrame()/lengthIn() for that mode and calls the
//     base for bytes.
//  3. Events: inside produce(), call raise(type, data) at the output frame where an event happens
//     and return right there (the frames written so far end at the event). The pipeline then calls
//     the mix-time syncs of that type on the producing thread before asking for more frames (so a
//     tempo change made in one applies from that frame), and queues the delayed syncs for the moment
//     that frame is heard. Types are the sync types (BASS_SYNC_END is raised by the pipeline).
//     See sync/syncs.h for how syncs match.
//  4. Changes from the API (attributes, MIDI events) are made under produceMutex() or through a
//     queue of the stream's own that produce() drains at the start of the next block.
#pragma once

#include "api.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

namespace engine {

class Playback;
class ProcessingChain;

// Where the frames of one pull end up: `top` is the playing channel whose ring buffer carries them
// (null when they are read by BASS_ChannelGetData), `ringBase` the ring index of the first frame,
// `scale` ring frames per frame of this channel (rate conversion on the way).
struct PullContext {
    Playback* top = nullptr;
    std::uint64_t topEpoch = 0;
    double ringBase = 0;
    double scale = 1;
};

class Channel : public std::enable_shared_from_this<Channel> {
  public:
    Channel();
    virtual ~Channel();

    DWORD handle = 0;
    DWORD freq = 44100;
    DWORD chans = 2;
    DWORD flags = 0;
    DWORD ctype = BASS_CTYPE_STREAM;

    bool decodeOnly() const { return (flags & BASS_STREAM_DECODE) != 0; }
    bool isFloat() const { return (flags & BASS_SAMPLE_FLOAT) != 0; }
    unsigned bytesPerFrame() const { return chans * (isFloat() ? 4u : 2u); }

    // --- Producing audio (see the top of this file) ---
    virtual unsigned produce(float* out, unsigned frames, bool* ended) { return *ended = true, 0u; }
    virtual double positionFrame() const { return 0; }
    // Total frames, or -1 when unknown (mixers).
    virtual std::int64_t lengthFrames() const { return -1; }
    virtual bool seekFrame(std::uint64_t frame) { return false; }
    std::recursive_mutex& produceMutex() { return produceMutex_; }

    // --- DSP, effects and taps (processing/chain.h) ---
    // They run on each block right after produce(), on the producing thread, with produceMutex()
    // held. processing() creates the chain on first use; call it with produceMutex() held.
    ProcessingChain& processing();
    void runProcessing(float* out, unsigned frames);
    // A channel that is not produced through pull() (a capture) has its own level: the peaks of
    // its last 20 ms as BASS_ChannelGetLevel gives them. False when it has none of its own.
    virtual bool ownLevel(DWORD& level) { return false; }

    // Pulls up to `frames` frames through the pipeline: produce(), events and their mix-time syncs,
    // loop points and the end. Returns the frames written; fewer only at the end (or while a
    // mixer without a source stalls). Mixers override it to pull their sources.
    virtual unsigned pull(float* out, unsigned frames, const PullContext& ctx);
    // One step of pull(): some frames and the events raised on the way. The default locks
    // produceMutex(), calls produce() and notes where the frames go; a mixer overrides it so that
    // no lock of its own is held while its sources are pulled.
    virtual unsigned pullStep(float* out, unsigned frames, const PullContext& ctx, bool* ended);
    // Raises an event at the end of what produce() has written so far (call from produce()).
    // `param` is what a sync's param must equal to match (the MIDI event type for
    // BASS_SYNC_MIDI_EVENT); other types match whatever their param.
    void raise(DWORD type, DWORD data, DWORD param = 0);

    // --- Positions ---
    // Position and length conversions for BASS_POS_BYTE (0); MIDI streams add BASS_POS_MIDI_TICK.
    virtual bool toFrame(QWORD pos, DWORD mode, std::uint64_t& frame) const;
    virtual bool fromFrame(double frame, DWORD mode, QWORD& pos) const;
    virtual bool lengthIn(DWORD mode, QWORD& out) const;
    // Moves the stream (API side): takes the locks, seeks, flushes what is buffered, raises the
    // set-position event.
    bool setPosition(std::uint64_t frame);
    // The frame of the stream's timeline that is being heard now (a playing channel, or a source
    // of a playing mixer), else the next frame to be produced.
    double heardFrame();
    bool endReached() const { return ended_.load(std::memory_order_acquire); }
    void clearEnded() { ended_.store(false, std::memory_order_release); }

    // --- Attributes --- BASS_ATTRIB_VOL here; tempo streams add theirs.
    virtual bool setAttribute(DWORD attrib, float value);
    virtual bool getAttribute(DWORD attrib, float& value) const;
    float volume() const { return volume_.load(std::memory_order_relaxed); }

    // --- Playback (BASS_ChannelPlay etc.); capture channels override these ---
    virtual bool play(bool restart);
    virtual bool pause();
    virtual bool stop();
    virtual DWORD isActive();
    Playback* playback() const { return playback_.get(); }
    // The output frame being heard when BASS_ChannelPlay last started the channel (-1: never), and
    // the channel's own frame it started from.
    std::atomic<double> startedFrame{-1};
    std::atomic<double> startedPos{0};
    // The steady clock then, in seconds.
    std::atomic<double> startedTime{0};

    // Called once when the handle is freed (the object may live on while a thread still uses it).
    virtual void onFree();
    bool freed() const { return freed_.load(std::memory_order_acquire); }

  protected:
    std::atomic<float> volume_{1.0f};
    std::atomic<double> decodedPos_{0};
    // Notes that frames of this channel from `pos` on, `step` frames per ring frame, land at ring
    // index `ringStart` of ctx.top.
    void addMarker(const PullContext& ctx, double ringStart, double pos, double step);
    void resetMarkers(Playback* top, double floor, double target);
    // After a pull of `n` frames that took this channel from frame `from` to `to`, at `step` of its
    // frames per ring frame: notes where they land, then publishes the decoded position.
    void notePulled(const PullContext& ctx, unsigned n, double from, double to, double step);

  private:
    friend class Playback;
    struct Marker {
        double ring; // ring index of the top channel where this stretch starts
        double pos;  // this channel's frame there
        double step; // frames of this channel per ring frame
        unsigned segment;
    };
    std::recursive_mutex produceMutex_;
    std::unique_ptr<ProcessingChain> processing_;
    struct Event {
        DWORD type, data, param;
    };
    std::vector<Event> events_; // raised inside produce(), drained by pull()
    std::atomic<bool> ended_{false};
    std::atomic<bool> freed_{false};
    std::atomic<unsigned> seeks_{0};

    mutable std::mutex markMutex_;
    std::deque<Marker> markers_;
    std::weak_ptr<Channel> topOwner_;
    Playback* top_ = nullptr;
    double seekFloor_ = 0; // ring index before which the position is `seekTarget_`
    double seekTarget_ = -1;
    unsigned segment_ = 0;
    double lastHeard_ = -1;
    unsigned lastHeardSegment_ = 0;

    std::mutex playMutex_;
    std::unique_ptr<Playback> playback_;
};

using ChannelPtr = std::shared_ptr<Channel>;

// Converts interleaved float frames to the channel's sample format (16-bit clipped, or float).
void convertSamples(const float* in, std::size_t samples, bool toFloat, void* out);

} // namespace engine
