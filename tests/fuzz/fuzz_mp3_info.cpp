// Runs the MPEG information reader (ID3v1, Lyrics3, first frame header, Xing) over arbitrary bytes
// taken as a whole file.
#include "tags/byte_source.h"
#include "tags/mpeg_info.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    velvora::tags::MemoryBytes file(data, size);
    velvora::tags::mMP3 module;
    module.ReadEndTags(file);
    const auto& info = module.info;
    // A whole Lyrics3 block is always also a lyric block seen.
    if (module.lyricTagFlag && !module.hasTagLyrics) __builtin_trap();
    // The ID3v1 fields come only with the tag, and its genre is a byte plus one.
    if (!module.hasId3v1 && (info.Genre || !info.Title.empty())) __builtin_trap();
    if (info.Genre && (*info.Genre < 1 || *info.Genre > 256)) __builtin_trap();
    // The technical fields are filled in order: none without the version.
    if (info.Version.empty() && !(info.Layer.empty() && info.BitRate.empty() && info.Duration.empty()))
        __builtin_trap();
    if (module.lyrics3Start != 0 &&
        (module.lyrics3Start < 1 || static_cast<std::size_t>(module.lyrics3Start) > size) &&
        module.lyricTagFlag)
        __builtin_trap();
    return 0;
}
