// cWavReader: reads a stereo 16-bit WAV file block by block into one fixed block whose address it
// hands out, so that the samples reach the encoder without a copy. Counts in stereo frames of four
// bytes. Every failure is raised as a RaisedError numbered on 29670.
//
// Read delivers the file's last block with the result false, so a caller that stops at false
// never uses that block.
#pragma once

#include "encoding/riff_file.h"

#include <cstdint>
#include <memory>
#include <string>

namespace velvora::encoding {

// The first 18 bytes of a "fmt " chunk.
struct WaveFormat {
    std::uint16_t formatTag = 0;
    std::uint16_t channels = 0;
    std::uint32_t samplesPerSec = 0;
    std::uint32_t avgBytesPerSec = 0;
    std::uint16_t blockAlign = 0;
    std::uint16_t bitsPerSample = 0;
    std::uint16_t extraSize = 0;
};

class cWavReader {
  public:
    // `appName` begins the source of every raised error.
    explicit cWavReader(std::string appName);
    ~cWavReader();
    cWavReader(const cWavReader&) = delete;
    cWavReader& operator=(const cWavReader&) = delete;

    const std::string& Filename() const { return m_sFileName; }
    // Opens the file; the name is kept only when the open succeeds.
    void Filename(const std::string& path);
    // Closes the file and frees the block.
    void CloseFile();
    // False for an empty path; raises for a file that cannot be read as stereo 16-bit WAV.
    bool OpenFile(const std::string& path);
    // Reads the next block: true while more than one block remains, false for the last one (then
    // ReadSize tells how much it held) and for no data left.
    bool Read();
    // Bytes from the first sample to the file position.
    std::int64_t BufferStartPosition() const;
    // Frames in the data chunk.
    std::int64_t AudioLength() const { return m_lAudioLength / 4; }
    void SeekAbsolute(std::int32_t frame);
    void SeekRelative(std::int32_t frames);
    // Block size in frames; cannot change while a file is open.
    std::int32_t ReadBufferSize() const { return static_cast<std::int32_t>(m_lBufferBytes / 4); }
    void ReadBufferSize(std::int32_t frames);
    // Frames the last Read delivered.
    std::int32_t ReadSize() const { return static_cast<std::int32_t>(m_lReadBytes / 4); }
    // The block's samples: interleaved left and right; null while closed.
    const std::int16_t* ReadBufferPtr() const { return m_lPtr; }
    // The open file's format.
    const WaveFormat& Format() const { return m_tFormat; }

  private:
    bool AllocBuffer();
    void FreeBuffer();
    [[noreturn]] void RaiseError(int code) const;

    std::string m_appName;
    std::string m_sFileName;
    RiffFile m_file;
    WaveFormat m_tFormat;
    std::int64_t m_lDataOffset = 0;
    std::int64_t m_lAudioLength = 0;
    std::unique_ptr<std::int16_t[]> m_hMem;
    std::int16_t* m_lPtr = nullptr;
    std::int64_t m_lBufferBytes = 131072;
    std::int64_t m_lReadBytes = 0;
};

} // namespace velvora::encoding
