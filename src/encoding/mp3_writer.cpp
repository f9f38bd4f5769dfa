#include "encoding/mp3_writer.h"

#include "encoding/raised_error.h"

#include <cerrno>
#include <fcntl.h>
#include <new>
#include <unistd.h>

namespace velvora::encoding {

cMp3Writer::cMp3Writer(std::string appName) : m_appName(std::move(appName)) {}

cMp3Writer::~cMp3Writer() {
    CloseFile();
    FreeBuffer();
}

void cMp3Writer::CloseFile() {
    if (m_hFile >= 0) ::close(m_hFile);
    m_hFile = -1;
}

void cMp3Writer::Filename(const std::string& path) {
    CloseFile();
    m_sFileName = path;
    if (!m_hMem && !AllocateBuffer(m_lBufferSize)) return;
    m_hFile = OpenFile(path);
}

void cMp3Writer::BufferSize(std::int32_t bytes) {
    if (AllocateBuffer(bytes)) m_lBufferSize = bytes;
}

int cMp3Writer::OpenFile(const std::string& path) {
    const int fd = path.empty() ? -1 : ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0) RaiseError("OpenFile", 2);
    return fd;
}

bool cMp3Writer::AllocateBuffer(std::int32_t size) {
    FreeBuffer();
    // A block of no bytes still has an address, as the write of no bytes needs one.
    if (size >= 0) m_hMem.reset(new (std::nothrow) std::uint8_t[size > 0 ? std::size_t(size) : 1]());
    m_lPtr = m_hMem.get();
    if (!m_lPtr) RaiseError("AllocateBuffer", 1);
    return true;
}

void cMp3Writer::FreeBuffer() {
    m_lPtr = nullptr;
    m_hMem.reset();
}

bool cMp3Writer::WriteBufferToFile(std::int32_t bytes) {
    if (bytes > m_lBufferSize || bytes < 0) RaiseError("WriteBufferToFile", 3);
    if (m_hFile < 0 || !m_lPtr) RaiseError("WriteBufferToFile", 4);
    std::int32_t written = 0;
    while (written < bytes) {
        const ssize_t n = ::write(m_hFile, m_lPtr + written, std::size_t(bytes - written));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        written += static_cast<std::int32_t>(n);
    }
    if (written != bytes) RaiseError("WriteBufferToFile", 5);
    return true;
}

void cMp3Writer::RaiseError(const std::string& routine, int code) const {
    throw mp3WriterError(m_appName, routine, code);
}

} // namespace velvora::encoding
