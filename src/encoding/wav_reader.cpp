#include "encoding/wav_reader.h"

#include "encoding/raised_error.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

namespace velvora::encoding {

namespace {

// The format chunk is read into a buffer of this many bytes; a longer chunk is cut there.
constexpr std::int64_t kFormatBufferBytes = 50;

// The block is four times the read size: the read size in bytes, allocated as if it counted frames.
constexpr std::int64_t kBlockFactor = 4;

WaveFormat formatFrom(const unsigned char* b) {
    WaveFormat f;
    f.formatTag = le16(b);
    f.channels = le16(b + 2);
    f.samplesPerSec = le32(b + 4);
    f.avgBytesPerSec = le32(b + 8);
    f.blockAlign = le16(b + 12);
    f.bitsPerSample = le16(b + 14);
    f.extraSize = le16(b + 16);
    return f;
}

} // namespace

cWavReader::cWavReader(std::string appName) : m_appName(std::move(appName)) {}

cWavReader::~cWavReader() {
    CloseFile();
}

void cWavReader::Filename(const std::string& path) {
    if (OpenFile(path)) m_sFileName = path;
}

void cWavReader::CloseFile() {
    m_file.close();
    FreeBuffer();
    m_lReadBytes = 0;
    m_lDataOffset = 0;
    m_lAudioLength = 0;
}

bool cWavReader::OpenFile(const std::string& path) {
    CloseFile();
    if (path.empty()) return false;
    if (!m_file.open(path)) RaiseError(2);

    RiffChunk wave;
    if (!m_file.descendIntoForm(wave, fourCC("WAVE"))) {
        CloseFile();
        RaiseError(3);
    }
    RiffChunk fmt;
    if (!m_file.descendIntoChunk(fmt, fourCC("fmt "), wave)) {
        CloseFile();
        RaiseError(4);
    }
    unsigned char text[kFormatBufferBytes] = {};
    if (m_file.read(text, std::min<std::int64_t>(fmt.size, kFormatBufferBytes)) < 0) {
        CloseFile();
        RaiseError(5);
    }
    m_file.ascend(fmt);
    m_tFormat = formatFrom(text);
    if (m_tFormat.bitsPerSample != 16 || m_tFormat.channels != 2) {
        CloseFile();
        RaiseError(1);
    }

    // A data chunk that runs past the file's end (a cut file) is not entered: its missing
    // samples could never be read.
    RiffChunk data;
    if (!m_file.descendIntoChunk(data, fourCC("data"), wave) ||
        data.dataOffset + std::int64_t(data.size) > m_file.size()) {
        CloseFile();
        RaiseError(6);
    }
    m_lDataOffset = m_file.tell();
    m_lAudioLength = data.size;
    if (!AllocBuffer()) {
        CloseFile();
        RaiseError(7);
    }
    return true;
}

bool cWavReader::AllocBuffer() {
    FreeBuffer();
    const std::int64_t bytes = m_lBufferBytes * kBlockFactor;
    // The block must hold at least one frame and stay addressable with 32 bits.
    if (m_lBufferBytes < 4 || bytes > std::numeric_limits<std::int32_t>::max()) return false;
    m_hMem.reset(new (std::nothrow) std::int16_t[static_cast<std::size_t>(bytes / 2)]());
    m_lPtr = m_hMem.get();
    return m_lPtr != nullptr;
}

void cWavReader::FreeBuffer() {
    m_lPtr = nullptr;
    m_hMem.reset();
}

bool cWavReader::Read() {
    if (!m_file.isOpen()) RaiseError(6);
    const std::int64_t left = (m_lDataOffset + m_lAudioLength) - m_file.tell();
    // The data chunk lay whole within the file at the open; a read that comes up short means the
    // file was cut meanwhile, and there is no more data to give.
    if (m_lBufferBytes < left) {
        if (m_file.read(m_lPtr, m_lBufferBytes) != m_lBufferBytes) RaiseError(6);
        m_lReadBytes = m_lBufferBytes;
        return true;
    }
    if (left > 0) {
        if (m_file.read(m_lPtr, left) != left) RaiseError(6);
        m_lReadBytes = left;
    }
    return false;
}

std::int64_t cWavReader::BufferStartPosition() const {
    return m_file.tell() - m_lDataOffset;
}

void cWavReader::SeekAbsolute(std::int32_t frame) {
    if (std::int64_t(frame) * 4 > m_lAudioLength || frame < 0) RaiseError(8);
    m_file.seek(m_lDataOffset + std::int64_t(frame) * 4, RiffFile::Origin::Start);
}

void cWavReader::SeekRelative(std::int32_t frames) {
    // The present place is taken by a seek to the file's second byte, which is where the
    // relative move then starts from.
    const std::int64_t now = m_file.seek(1, RiffFile::Origin::Start) - m_lDataOffset;
    const std::int64_t to = now + std::int64_t(frames) * 4;
    if (to > m_lAudioLength || to < 0) RaiseError(8);
    m_file.seek(std::int64_t(frames) * 4, RiffFile::Origin::Current);
}

void cWavReader::ReadBufferSize(std::int32_t frames) {
    if (m_file.isOpen()) RaiseError(9);
    m_lBufferBytes = std::int64_t(frames) * 4;
}

void cWavReader::RaiseError(int code) const {
    throw wavReaderError(m_appName, code);
}

} // namespace velvora::encoding
