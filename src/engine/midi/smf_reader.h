// Standard MIDI File reading: the tracks of a file merged into one time-ordered list of events,
// the marks (lyric and text events) and the tempo map that turns ticks into sample frames.
//
// Formats 0 and 1 merge their tracks on one time line. Format 2 tracks are independent sequences;
// they are played one after another: each track starts at the tick where the previous one ended
// (its end-of-track event), and a tempo set in one track stays in force into the next until that
// track sets its own.
//
// Damaged files: a track whose data ends early or holds a byte that cannot start an event is cut
// at the last complete event before it; the rest of the file is still read. A file with no
// readable header or no track at all is refused.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace engine::midi {

struct SmfEvent {
    std::uint64_t tick = 0;  // on the merged time line
    std::uint32_t track = 0; // index of the track chunk it came from, from 0
    std::uint8_t status = 0; // 0x80..0xEF channel message, 0xF0 / 0xF7 sysex, 0xFF meta
    std::uint8_t type = 0;   // the meta type for 0xFF, else 0
    std::uint8_t data1 = 0;  // channel message data bytes
    std::uint8_t data2 = 0;
    std::uint32_t offset = 0; // sysex / meta payload: where it starts in the file, and its length
    std::uint32_t length = 0;

    bool isChannel() const { return status >= 0x80 && status < 0xf0; }
    bool isMeta(std::uint8_t t) const { return status == 0xff && type == t; }
    int channel() const { return status & 0x0f; }
    int command() const { return status & 0xf0; }
};

enum class MarkType { Lyric, Text };

struct SmfMark {
    std::uint32_t track = 0;
    std::uint64_t tick = 0;
    std::uint32_t event = 0; // index in SmfFile::events()
    std::string text;        // the event's bytes as they are in the file
};

struct TempoPoint {
    std::uint64_t tick = 0;
    std::uint32_t usPerQuarter = 500000;
};

constexpr std::uint32_t kDefaultTempo = 500000; // 120 beats per minute until a file says otherwise

class SmfFile {
  public:
    // Reads a file from memory; the bytes are copied. Returns null with `error` set to a BASS error
    // code (BASS_ERROR_FILEFORM) when the data is not a MIDI file.
    static std::shared_ptr<const SmfFile> parse(const std::uint8_t* data, std::size_t size, int& error);
    // Reads a file from disk: BASS_ERROR_FILEOPEN when it cannot be read.
    static std::shared_ptr<const SmfFile> load(const std::string& path, int& error);

    int format() const { return format_; }
    std::uint32_t declaredTracks() const { return declaredTracks_; }
    std::uint32_t trackCount() const { return trackCount_; }
    // Ticks per quarter note. For an SMPTE-timed file, ticks per second, with the tempo fixed at
    // one quarter note per second (file tempo events then do not change the time line).
    std::uint32_t division() const { return division_; }
    bool smpte() const { return smpte_; }
    // True when some part of the file was damaged and skipped or cut.
    bool damaged() const { return damaged_; }

    const std::vector<SmfEvent>& events() const { return events_; }
    const std::vector<SmfMark>& marks(MarkType type) const {
        return type == MarkType::Lyric ? lyrics_ : texts_;
    }
    // The tempo in force from each point on; always starts with a point at tick 0.
    const std::vector<TempoPoint>& tempos() const { return tempos_; }
    // The end of the song: the last end-of-track (or last event) of any track; for format 2, the
    // end of the last track.
    std::uint64_t lengthTicks() const { return lengthTicks_; }

    // The payload bytes of a sysex or meta event (empty for channel messages).
    const std::uint8_t* payload(const SmfEvent& e) const { return bytes_.data() + e.offset; }

  private:
    std::vector<std::uint8_t> bytes_;
    int format_ = 0;
    std::uint32_t declaredTracks_ = 0;
    std::uint32_t trackCount_ = 0;
    std::uint32_t division_ = 0;
    bool smpte_ = false;
    bool damaged_ = false;
    std::vector<SmfEvent> events_;
    std::vector<SmfMark> lyrics_, texts_;
    std::vector<TempoPoint> tempos_;
    std::uint64_t lengthTicks_ = 0;

    bool read(int& error);
};

// Exact arithmetic of one tempo: a run of `ticks` at `usPerQuarter` lasts this many frames,
// rounded up, so that a tick's frame is the first frame at or after its exact moment; and the
// inverse, rounded down. While a tick lasts at least one frame (any real tempo at audio rates),
// framesToTicks(ticksToFrames(t)) == t.
std::uint64_t ticksToFrames(std::uint64_t ticks, std::uint32_t usPerQuarter, std::uint32_t division,
                            std::uint32_t rate);
std::uint64_t framesToTicks(std::uint64_t frames, std::uint32_t usPerQuarter, std::uint32_t division,
                            std::uint32_t rate);

// The file's tempo map at one sample rate: ticks to frames and back, both ways exact.
class TempoMap {
  public:
    TempoMap() = default;
    TempoMap(const SmfFile& file, std::uint32_t rate);

    struct Segment {
        std::uint64_t tick = 0;
        std::uint64_t frame = 0;
        std::uint32_t usPerQuarter = kDefaultTempo;
    };

    std::uint32_t rate() const { return rate_; }
    std::uint32_t division() const { return division_; }
    std::uint64_t frameOfTick(std::uint64_t tick) const;
    std::uint64_t tickOfFrame(std::uint64_t frame) const;
    // The segment in force at a tick (the last one starting at or before it).
    const Segment& segmentAtTick(std::uint64_t tick) const;
    std::uint32_t tempoAtTick(std::uint64_t tick) const { return segmentAtTick(tick).usPerQuarter; }
    const std::vector<Segment>& segments() const { return segments_; }

  private:
    std::uint32_t rate_ = 44100;
    std::uint32_t division_ = 96;
    std::vector<Segment> segments_;
};

} // namespace engine::midi
