// The ID3v2.3 reader: the tag at the head of an MP3 file, read into the values below, with the
// synchronised lyric frame (SYLT) as timed entries. Only major version 3 counts as a tag. It reads
// and never writes.
//
// The reader walks the frames one after the other from the file, and a running position counted
// from the tag's header decides when the tag is over. Frame sizes of text frames are taken as
// synchsafe integers, as the tag's own size is, while USLT, SYLT and APIC sizes are plain; the two
// agree for small frames only, and a larger text frame puts every frame behind it out of step. An
// extended header is read as 13 bytes (18 with a CRC), which is also out of step with the
// frames behind it. These are the reader's known ways and are kept.
//
// A read runs on the UI thread: it yields to the window system between frames, so the window's
// handlers may run in the middle of it, and it may show a message box. A file whose bytes end
// early ends the read with what was gathered; no read goes outside the file and no buffer is
// larger than the frame being read.
#pragma once

#include "platform/clock.h"
#include "platform/dialogs.h"
#include "tags/byte_source.h"

#include <cstdint>
#include <string>
#include <vector>

namespace velvora::tags {

// One timed entry of a synchronised lyric frame: the time stamp as the frame gives it, and the text.
struct SyltEvent {
    float time = 0;
    std::string text;
};

class modID3V230Reader {
  public:
    // The reader yields to `clock` once for each frame, and shows the one message it has through
    // `dialogs`.
    modID3V230Reader(platform::Dialogs& dialogs, platform::Clock& clock) : dialogs_(dialogs), clock_(clock) {}

    // Reads the tag of the file at `path`. A file that cannot be opened leaves every value as it
    // was. With `testOnly` only id3HasTag is set; with `skipUnknown` frames the reader does not
    // know are passed over instead of gathered in id3Others.
    void ReadID3v23(const std::string& path, bool skipUnknown, bool testOnly);
    void ReadID3v23(ByteSource& file, bool skipUnknown, bool testOnly);

    // Results: every one is emptied at the start of a read. Texts are UTF-8.
    std::string id3Title, id3Artist, id3Album, id3Year, id3Comment;
    std::uint8_t id3Track = 0, id3TrackTotal = 0;
    std::string id3Genre, id3Composer, id3OrigArtist, id3Rights, id3Urls, id3EncodedBy;
    std::string id3UnsyncLyrics, id3SyncText;
    std::string id3PicOffsets, id3PicSizes, id3PicTypes, id3PicInfo;
    std::string id3Subtitle, id3Language, id3Others;
    bool id3HasTag = false;
    bool id3ExtHeader = false, id3HasCrc = false;
    double id3Crc = 0;
    // Always one element longer than the entries stored: each stored entry is followed by a new,
    // empty one.
    std::vector<SyltEvent> syltEvents{SyltEvent{}};
    std::vector<std::string> syltLines;
    std::string syltDescriptor;
    std::int16_t syltEventCount = 0;

    static constexpr const char* kUnsyncMessage =
        "This ID3 Tag is Unsyncronized.  This application is not equipped to read this kind of ID3 Tag.";

  private:
    void clear();
    // Decodes one frame's bytes by its id; `frameStart` is the running position of its data.
    void decodeFrame(const std::string& id, const std::vector<std::uint8_t>& data, bool skipUnknown);
    // Fills syltEvents, syltLines and syltDescriptor from a SYLT frame; returns the whole text.
    std::string readSylt(const std::vector<std::uint8_t>& data);
    void readPicture(const std::vector<std::uint8_t>& data);
    void readTrack(const std::string& text);

    platform::Dialogs& dialogs_;
    platform::Clock& clock_;
};

// One character for each byte, decoded as UTF-8 when the bytes are valid UTF-8, else as
// Windows-1252.
std::string TagBytesToString(const std::uint8_t* bytes, std::size_t n);
// b0 * 2^21 + b1 * 2^14 + b2 * 2^7 + b3, each byte taken whole.
std::uint32_t SynchsafeSize(const std::uint8_t* b);
// The 32-bit big-endian value of four bytes.
std::uint32_t PlainSize(const std::uint8_t* b);
// The name of an APIC picture type, 0 to 20; empty for any other.
std::string PictureTypeName(int type);

} // namespace velvora::tags
