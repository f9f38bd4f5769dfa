// What the end and the head of an MP3 file say about it: the ID3v1 tag, a Lyrics3 v2 block, and
// the first MPEG frame header with a possible Xing header. The arithmetic is the module's own and
// simpler than the formats': the frequency is the figure in kilohertz with " Hz" behind it, one
// bit-rate table serves every layer, the frame search does not skip an ID3v2 tag, and a Xing frame
// count becomes seconds at 38, 38 and 39 frames a second in turn.
//
// The reader touches nothing but its own object and the file, which it only reads: any thread may
// use an object of its own.
#pragma once

#include "tags/byte_source.h"

#include <cstdint>
#include <optional>
#include <string>

namespace velvora::tags {

// The record a read hands back. Texts are UTF-8.
struct Mp3Info {
    std::string Path;
    std::string Title, Artist, Album, Year, Comment;
    // The ID3v1 genre byte plus 1; no value without a tag.
    std::optional<int> Genre;
    std::string Version, Layer, Frequency, BitRate, Duration, ChannelMode;
    std::string Crc, Copyrighted, Original, Emphasis, SizeMb;
    std::string LyricsText;
};

// Seconds and bit-rate text of a Xing (VBR) file.
struct XingResult {
    std::int32_t seconds = 0;
    std::string BitRate;
};

class mMP3 {
  public:
    // Reads the ID3v1 tag and the Lyrics3 block at the file's end, then the first frame header.
    // Every field of `info` but Path is emptied first; a file that cannot be read leaves them
    // empty. A read that fails half-way keeps what it had filled.
    void ReadEndTags(const std::string& path);
    void ReadEndTags(ByteSource& file);

    // The fields of the last read.
    Mp3Info info;
    bool hasId3v1 = false;
    // Set when a Lyrics3 block ends the file; never cleared by a read: the caller owns that.
    bool hasTagLyrics = false;
    // True when the Lyrics3 block was read whole.
    bool lyricTagFlag = false;
    // 1-based file position of "LYRICSBEGIN".
    std::int32_t lyrics3Start = 0;
    std::int32_t durationSeconds = 0;

    // The steps of a read, over the file it is reading.
    // The Lyrics3 block whose footer ends at `footer` (0-based offset of "LYRICS200"): true when it
    // was read whole, false when its start is not "LYRICSBEGIN" or there is no footer; no value
    // when a field runs outside the file.
    std::optional<bool> ReadLyrics3(ByteSource& file, long long footer);
    void ReadMpegHeader(ByteSource& file);

    // Seconds from a Xing frame count, and the bit rate they give over the whole file; no value when
    // the count gives no whole second (fewer than 58 frames), where the bit rate would divide by 0.
    static std::optional<XingResult> XingBitRate(std::uint64_t fileLength, std::int32_t frames);
    static bool InRange(long long value, long long low, long long high) {
        return value >= low && value <= high;
    }
};

} // namespace velvora::tags
