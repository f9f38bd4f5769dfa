// The encoder's plain entry points over libmp3lame. A stream is configured by one 331-byte record
// whose fields map onto LAME's own setters, so that what the record says (rates, mode, bit rate,
// preset, header bits, reservoir) is what the encoder does. Input is always interleaved stereo
// 16-bit samples; the record's mode decides the output's channels.
//
// With the VBR header asked for, LAME reserves the header's frame at the stream's start: a valid
// frame of silence to players. These entry points never see the file, so the frame stays as
// reserved; a player hears 1152 more samples of silence before the first sound.
//
// Threads: any thread may call; one stream is used by one thread at a time. Handles are looked up
// in a table under a lock, so a closed or unknown handle is refused, never followed.
#pragma once

#include <cstddef>
#include <cstdint>

namespace velvora::encoding {

// Statuses: 0 for success, the others as the encoder's error texts number them.
constexpr std::uint32_t kBeOk = 0;
constexpr std::uint32_t kBeInvalidFormat = 1;
constexpr std::uint32_t kBeInvalidFormatParameters = 2;
constexpr std::uint32_t kBeOutOfHandles = 3;
constexpr std::uint32_t kBeInvalidHandle = 4;
constexpr std::uint32_t kBeBufferTooSmall = 5;

// Values of the record's fields.
constexpr std::uint32_t kBeConfigLame = 256;
constexpr std::int32_t kModeStereo = 0, kModeJointStereo = 1, kModeDualChannel = 2, kModeMono = 3;
constexpr std::uint32_t kMpeg2 = 0, kMpeg1 = 1;
// Quality presets.
constexpr std::int32_t kPresetNone = -1, kPresetNormal = 0, kPresetLow = 1, kPresetHigh = 2, kPresetVoice = 3,
                       kPresetR3mix = 4, kPresetVeryHigh = 5, kPresetStandard = 6, kPresetFastStandard = 7,
                       kPresetExtreme = 8, kPresetFastExtreme = 9, kPresetInsane = 10, kPresetAbr = 11,
                       kPresetCbr = 12, kPresetMedium = 13, kPresetFastMedium = 14;
// VBR methods.
constexpr std::int32_t kVbrMethodNone = -1, kVbrMethodDefault = 0, kVbrMethodOld = 1, kVbrMethodNew = 2,
                       kVbrMethodMtrh = 3, kVbrMethodAbr = 4;

#pragma pack(push, 1)
// The configuration record: little-endian, packed, 331 bytes.
struct BeConfig {
    std::uint32_t configKind;
    std::uint32_t structVersion;
    std::uint32_t structSize;
    std::uint32_t inputRate;
    // 0: the rate of the record's MPEG version nearest to the input's.
    std::uint32_t outputRate;
    std::int32_t mode;
    // kbit/s: the constant rate, or the least rate of a VBR stream.
    std::uint32_t bitrate;
    // kbit/s, for VBR and ABR; 0 leaves it to the encoder.
    std::uint32_t maxBitrate;
    std::int32_t preset;
    std::uint32_t mpegVersion;
    // No LAME setter corresponds; kept for the layout.
    std::uint32_t psyModel;
    std::uint32_t emphasis;
    std::int32_t privateBit;
    std::int32_t crc;
    std::int32_t copyright;
    std::int32_t original;
    std::int32_t writeVbrHeader;
    std::int32_t enableVbr;
    std::int32_t vbrQuality;
    // bit/s.
    std::uint32_t abrRate;
    std::int32_t vbrMethod;
    std::int32_t noReservoir;
    std::int32_t strictIso;
    // Low byte the quality, 0 (best) to 9; honoured only when the high byte is its complement.
    std::uint16_t quality;
    std::uint8_t reserved[237];
};

// The version record.
struct BeVersion {
    std::uint8_t dllMajor;
    std::uint8_t dllMinor;
    std::uint8_t major;
    std::uint8_t minor;
    std::uint8_t day;
    std::uint8_t month;
    // The year (two bytes, low first), then the home page, zero-ended.
    std::uint8_t yearAndHomePage[134];
    std::uint8_t alphaLevel;
    std::uint8_t betaLevel;
    std::uint8_t mmxEnabled;
    std::uint8_t reserved[125];
};
#pragma pack(pop)

static_assert(sizeof(BeConfig) == 331);
static_assert(offsetof(BeConfig, quality) == 92 && offsetof(BeConfig, reserved) == 94);
static_assert(offsetof(BeConfig, noReservoir) == 84 && offsetof(BeConfig, preset) == 32);

// Opens a stream. `samples` is the count of samples (both channels together) each chunk must
// hold, `bufferSize` the least output room in bytes a chunk or the final flush needs.
std::uint32_t beInitStream(const BeConfig* config, std::uint32_t* samples, std::uint32_t* bufferSize,
                           std::uint32_t* stream);
// Encodes `count` samples (interleaved stereo) into `output`, which holds at least `bufferSize`
// bytes; `written` receives the bytes produced.
std::uint32_t beEncodeChunk(std::uint32_t stream, std::uint32_t count, const std::int16_t* samples,
                            std::uint8_t* output, std::uint32_t* written);
// Flushes what the encoder still holds.
std::uint32_t beDeinitStream(std::uint32_t stream, std::uint8_t* output, std::uint32_t* written);
std::uint32_t beCloseStream(std::uint32_t stream);
void beVersion(BeVersion* version);

} // namespace velvora::encoding
