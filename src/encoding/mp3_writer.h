// cMp3Writer: a fixed block with a file behind it. The encoder fills the block through its
// address and WriteBufferToFile passes the first bytes on to the file, exactly as given. Every
// failure is raised as a RaisedError numbered on 29870; the object stays usable afterwards.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace velvora::encoding {

class cMp3Writer {
  public:
    // `appName` begins the source of every raised error.
    explicit cMp3Writer(std::string appName);
    ~cMp3Writer();
    cMp3Writer(const cMp3Writer&) = delete;
    cMp3Writer& operator=(const cMp3Writer&) = delete;

    // Closes the file, if one is open.
    void CloseFile();
    const std::string& Filename() const { return m_sFileName; }
    // Creates the file anew (an existing one is emptied), making the block first if there is none.
    void Filename(const std::string& path);
    std::int32_t BufferSize() const { return m_lBufferSize; }
    // Replaces the block at once, open file or not.
    void BufferSize(std::int32_t bytes);
    std::uint8_t* BufferPointer() const { return m_lPtr; }
    // Writes the block's first `bytes` bytes to the file.
    bool WriteBufferToFile(std::int32_t bytes);

    bool isOpen() const { return m_hFile >= 0; }

  private:
    int OpenFile(const std::string& path);
    bool AllocateBuffer(std::int32_t size);
    void FreeBuffer();
    [[noreturn]] void RaiseError(const std::string& routine, int code) const;

    std::string m_appName;
    std::string m_sFileName;
    std::unique_ptr<std::uint8_t[]> m_hMem;
    std::uint8_t* m_lPtr = nullptr;
    std::int32_t m_lBufferSize = 8192;
    int m_hFile = -1;
};

} // namespace velvora::encoding
