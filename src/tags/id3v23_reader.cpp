#include "tags/id3v23_reader.h"
#include "tags/text_list.h"

#include "core/vb_text.h"

#include <cstring>

namespace velvora::tags {

namespace {

constexpr int kTagHeaderSize = 10;
constexpr int kFrameHeaderSize = 10;

bool isOneOf(const std::string& id, std::initializer_list<const char*> ids) {
    for (const char* candidate : ids)
        if (id == candidate) return true;
    return false;
}

// Frames whose size is a plain 32-bit value.
bool hasPlainSize(const std::string& id) {
    return isOneOf(id, {"USLT", "SYLT", "APIC"});
}

// The other frames the reader knows; their sizes are read as synchsafe.
bool isKnownSynchsafe(const std::string& id) {
    return isOneOf(id, {"WXXX", "TIT2", "TPE1", "TALB", "TYER", "COMM", "TCON", "TRCK", "TENC", "TCOM",
                        "TOPE", "TCOP", "TIT3", "TLAN"});
}

} // namespace

std::string TagBytesToString(const std::uint8_t* bytes, std::size_t n) {
    return vb::decodeText(std::string_view(reinterpret_cast<const char*>(bytes), n));
}

// Seven bits of each byte: a plain size of 128 or more read this way comes out wrong, which is
// how plain text-frame sizes are read on purpose (they agree below 128).
std::uint32_t SynchsafeSize(const std::uint8_t* b) {
    return (static_cast<std::uint32_t>(b[0] & 0x7f) << 21) + (static_cast<std::uint32_t>(b[1] & 0x7f) << 14) +
           (static_cast<std::uint32_t>(b[2] & 0x7f) << 7) + (b[3] & 0x7fu);
}

std::uint32_t PlainSize(const std::uint8_t* b) {
    return (static_cast<std::uint32_t>(b[0]) << 24) | (static_cast<std::uint32_t>(b[1]) << 16) |
           (static_cast<std::uint32_t>(b[2]) << 8) | b[3];
}

std::string PictureTypeName(int type) {
    static const char* const names[] = {"Other",
                                        "32x32 Icon",
                                        "Other Icon",
                                        "Front Cover",
                                        "Back Cover",
                                        "Leaflet Page",
                                        "Media",
                                        "Lead Performer",
                                        "Artist",
                                        "Conductor",
                                        "Band",
                                        "Composer",
                                        "Lyricist",
                                        "Recording Location",
                                        "During Recording",
                                        "During Performance",
                                        "Movie Capture",
                                        "A Bright Colored Fish???",
                                        "Illustration",
                                        "Band Logo",
                                        "Publisher Logo"};
    if (type < 0 || type >= static_cast<int>(std::size(names))) return {};
    return names[type];
}

void modID3V230Reader::clear() {
    for (std::string* s :
         {&id3Title,    &id3Artist,     &id3Album,      &id3Year,     &id3Comment,   &id3Genre,
          &id3Composer, &id3OrigArtist, &id3Rights,     &id3Urls,     &id3EncodedBy, &id3UnsyncLyrics,
          &id3SyncText, &id3PicOffsets, &id3PicSizes,   &id3PicTypes, &id3PicInfo,   &id3Subtitle,
          &id3Language, &id3Others,     &syltDescriptor})
        s->clear();
    id3Track = id3TrackTotal = 0;
    id3HasTag = id3ExtHeader = id3HasCrc = false;
    id3Crc = 0;
    syltEvents.assign(1, SyltEvent{});
    syltLines.clear();
    syltEventCount = 0;
}

void modID3V230Reader::ReadID3v23(const std::string& path, bool skipUnknown, bool testOnly) {
    FileBytes file(path);
    if (!file.isOpen()) return;
    ReadID3v23(file, skipUnknown, testOnly);
}

void modID3V230Reader::ReadID3v23(ByteSource& file, bool skipUnknown, bool testOnly) {
    clear();
    // From here a read that runs past the end of the file ends the whole read with what it has.
    std::uint8_t header[kTagHeaderSize];
    if (!file.read(0, kTagHeaderSize, header)) return;
    if (std::memcmp(header, "ID3", 3) != 0 || header[3] != 3) {
        id3HasTag = false;
        return;
    }
    // Only a read that asks for nothing else says that the tag is there.
    if (testOnly) {
        id3HasTag = true;
        return;
    }

    const bool unsynchronised = (header[5] & 0x80) != 0;
    const bool extendedHeader = (header[5] & 0x40) != 0;
    const long long tagSize = SynchsafeSize(header + 6);
    long long running = kTagHeaderSize;
    std::uint64_t at = kTagHeaderSize;

    if (unsynchronised) {
        dialogs_.msgBox(kUnsyncMessage, platform::vbInformation, "Velvora");
        return;
    }

    if (extendedHeader) {
        id3ExtHeader = true;
        std::uint8_t sizeBytes[5], flagBytes[3], paddingBytes[5];
        if (!file.read(at, sizeof sizeBytes, sizeBytes)) return;
        at += sizeof sizeBytes;
        if (!file.read(at, sizeof flagBytes, flagBytes)) return;
        at += sizeof flagBytes;
        if (!file.read(at, sizeof paddingBytes, paddingBytes)) return;
        at += sizeof paddingBytes;
        const std::uint32_t extendedSize = SynchsafeSize(sizeBytes);
        if (extendedSize == 10) {
            std::uint8_t crc[5];
            if (!file.read(at, sizeof crc, crc)) return;
            at += sizeof crc;
            id3HasCrc = true;
            id3Crc = SynchsafeSize(crc);
        }
        running = static_cast<long long>(extendedSize) + kTagHeaderSize + 4;
    }

    // An unknown frame passed over keeps the size of the frame before it.
    std::uint32_t size = 0;
    std::vector<std::uint8_t> data;
    do {
        clock_.doEvents();
        std::uint8_t frame[kFrameHeaderSize];
        if (!file.read(at, kFrameHeaderSize, frame)) return;
        at += kFrameHeaderSize;
        if (frame[0] == 0 && frame[1] == 0 && frame[2] == 0 && frame[3] == 0) return; // padding
        running += kFrameHeaderSize;
        const bool compressed = (frame[9] & 0x80) != 0;
        const bool encrypted = (frame[9] & 0x40) != 0;

        const std::string id(reinterpret_cast<const char*>(frame), 4);
        if (hasPlainSize(id))
            size = PlainSize(frame + 4);
        else if (isKnownSynchsafe(id) || !skipUnknown)
            size = SynchsafeSize(frame + 4);

        if (id == "APIC") {
            appendJoined(id3PicOffsets, std::to_string(running - kFrameHeaderSize));
            appendJoined(id3PicSizes, std::to_string(size));
        }

        // A frame may run past the tag's end; it is read as long as the file holds it.
        if (!file.readInto(static_cast<long long>(at), size, data)) return;
        at += size;
        running += size;
        if (!compressed && !encrypted) decodeFrame(id, data, skipUnknown);
    } while (tagSize - running > 0);
}

} // namespace velvora::tags
