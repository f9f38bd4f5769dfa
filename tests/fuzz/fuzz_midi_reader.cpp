// Fuzzes the Standard MIDI File reader: parse, then walk every event, mark and tempo point and
// convert their positions through the tempo map both ways.
#include "engine/midi/smf_reader.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace engine::midi;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    int error = 0;
    auto file = SmfFile::parse(data, size, error);
    if (!file) {
        if (error == 0) std::abort();
        return 0;
    }
    const TempoMap map(*file, 44100);
    std::uint64_t last = 0, sum = 0;
    for (const SmfEvent& e : file->events()) {
        if (e.tick < last || e.tick > file->lengthTicks()) std::abort();
        last = e.tick;
        if (e.length) sum += file->payload(e)[e.length - 1]; // the payload lies within the file
        // A tick's frame is the first at or after its moment, so it maps back to the tick itself
        // (or, when ticks are shorter than frames, to a later tick sharing that frame); and a
        // frame's tick never starts after that frame.
        const std::uint64_t frame = map.frameOfTick(e.tick);
        const std::uint64_t back = map.tickOfFrame(frame);
        if (back < e.tick || map.frameOfTick(back) > frame) std::abort();
    }
    for (MarkType type : {MarkType::Lyric, MarkType::Text})
        for (const SmfMark& m : file->marks(type))
            if (m.event >= file->events().size() || file->events()[m.event].tick != m.tick) std::abort();
    std::uint64_t previousFrame = 0;
    for (const TempoMap::Segment& s : map.segments()) {
        if (s.frame < previousFrame || map.tempoAtTick(s.tick) == 0) std::abort();
        previousFrame = s.frame;
    }
    return static_cast<int>(sum & 0);
}
