// The 44-byte header of a canonical PCM WAV file, kept as the three records it is made of: the
// RIFF record, the format record and the data record, written little-endian.
#pragma once

#include <array>
#include <cstdint>

namespace velvora::recording {

struct WavRiffHeader {
    std::uint32_t riffSize = 0; // bytes after this field: the whole file less 8
};

struct WavFmtHeader {
    std::uint16_t formatTag = 1; // PCM
    std::uint16_t channels = 2;
    std::uint32_t samplesPerSec = 44100;
    std::uint32_t avgBytesPerSec = 176400;
    std::uint16_t blockAlign = 4;
    std::uint16_t bitsPerSample = 16;
};

struct WavDataHeader {
    std::uint32_t dataSize = 0;
};

constexpr int kWavHeaderBytes = 44;
// Where the two sizes stand in the file.
constexpr int kRiffSizeOffset = 4;
constexpr int kDataSizeOffset = 40;

// The format record of PCM samples: block align and bytes per second follow from the rest.
WavFmtHeader pcmFormat(std::uint16_t channels, std::uint32_t rate, std::uint16_t bits);

// The three records as the file's first 44 bytes.
std::array<std::uint8_t, kWavHeaderBytes> headerBytes(const WavRiffHeader& riff, const WavFmtHeader& fmt,
                                                      const WavDataHeader& data);

void putLE32(std::uint8_t* at, std::uint32_t value);

} // namespace velvora::recording
