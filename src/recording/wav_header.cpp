#include "recording/wav_header.h"

#include <algorithm>

namespace velvora::recording {

namespace {

void putLE16(std::uint8_t* at, std::uint16_t value) {
    at[0] = static_cast<std::uint8_t>(value);
    at[1] = static_cast<std::uint8_t>(value >> 8);
}

} // namespace

void putLE32(std::uint8_t* at, std::uint32_t value) {
    for (int i = 0; i < 4; ++i) at[i] = static_cast<std::uint8_t>(value >> (8 * i));
}

WavFmtHeader pcmFormat(std::uint16_t channels, std::uint32_t rate, std::uint16_t bits) {
    WavFmtHeader fmt;
    fmt.channels = channels;
    fmt.samplesPerSec = rate;
    fmt.bitsPerSample = bits;
    fmt.blockAlign = static_cast<std::uint16_t>(channels * bits / 8);
    fmt.avgBytesPerSec = rate * fmt.blockAlign;
    return fmt;
}

std::array<std::uint8_t, kWavHeaderBytes> headerBytes(const WavRiffHeader& riff, const WavFmtHeader& fmt,
                                                      const WavDataHeader& data) {
    std::array<std::uint8_t, kWavHeaderBytes> h{};
    std::copy_n("RIFF", 4, h.begin());
    putLE32(&h[4], riff.riffSize);
    std::copy_n("WAVE", 4, h.begin() + 8);
    std::copy_n("fmt ", 4, h.begin() + 12);
    putLE32(&h[16], 16);
    putLE16(&h[20], fmt.formatTag);
    putLE16(&h[22], fmt.channels);
    putLE32(&h[24], fmt.samplesPerSec);
    putLE32(&h[28], fmt.avgBytesPerSec);
    putLE16(&h[32], fmt.blockAlign);
    putLE16(&h[34], fmt.bitsPerSample);
    std::copy_n("data", 4, h.begin() + 36);
    putLE32(&h[40], data.dataSize);
    return h;
}

} // namespace velvora::recording
