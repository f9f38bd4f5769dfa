// Runs the ID3v2.3 reader over arbitrary bytes taken as a whole file, in each of its modes.
#include "platform/scripted/scripted_dialogs.h"
#include "platform/scripted/virtual_clock.h"
#include "tags/byte_source.h"
#include "tags/id3v23_reader.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static platform::ScriptedDialogs dialogs;
    static platform::VirtualClock clock;
    dialogs.clear();
    velvora::tags::MemoryBytes file(data, size);
    velvora::tags::modID3V230Reader reader(dialogs, clock);
    for (const bool skipUnknown : {false, true}) {
        reader.ReadID3v23(file, skipUnknown, false);
        // The entries array is always one longer than the count, and the count never negative.
        if (reader.syltEventCount < 0 ||
            reader.syltEvents.size() != static_cast<std::size_t>(reader.syltEventCount) + 1)
            __builtin_trap();
        // Each entry takes at least five bytes of the file: its terminator and time stamp.
        if (static_cast<std::size_t>(reader.syltEventCount) * 5 > size) __builtin_trap();
        // At most one message, and only for an unsynchronised tag.
        if (dialogs.shown().size() > (skipUnknown ? 2u : 1u)) __builtin_trap();
    }
    reader.ReadID3v23(file, false, true);
    if (reader.id3HasTag !=
        (size >= 10 && data[0] == 'I' && data[1] == 'D' && data[2] == '3' && data[3] == 3))
        __builtin_trap();
    return 0;
}
