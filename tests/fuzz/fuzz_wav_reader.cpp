// The WAV reader on arbitrary bytes: either a refusal with one of its own numbers and words, or a
// clean read of every frame the data chunk holds, block by block, in a bounded number of reads.
#include "encoding/raised_error.h"
#include "encoding/wav_reader.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace {

// The input lives in an anonymous in-memory file, opened by the reader through its /proc path, so
// that no disk is involved.
int memoryFile() {
    static const int fd = ::memfd_create("velvora_fuzz_wav", 0);
    return fd;
}

const std::string& scratchFile() {
    static const std::string path = "/proc/self/fd/" + std::to_string(memoryFile());
    return path;
}

bool write(const std::uint8_t* data, std::size_t size) {
    const int fd = memoryFile();
    if (fd < 0 || ::ftruncate(fd, 0) != 0) return false;
    std::size_t done = 0;
    while (done < size) {
        const ssize_t n = ::pwrite(fd, data + done, size - done, static_cast<off_t>(done));
        if (n <= 0) return false;
        done += static_cast<std::size_t>(n);
    }
    return true;
}

void checkRefusal(const velvora::encoding::RaisedError& e) {
    const int code = e.number() - velvora::encoding::kWavReaderErrorBase;
    if (code < 1 || code > 9) __builtin_trap();
    const auto expected = velvora::encoding::wavReaderError("fuzz", code);
    if (e.source() != expected.source() || e.description() != expected.description()) __builtin_trap();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (!write(data, size)) return 0;
    constexpr std::int32_t kBlock = 64;
    velvora::encoding::cWavReader reader("fuzz");
    reader.ReadBufferSize(kBlock);
    try {
        if (!reader.OpenFile(scratchFile())) __builtin_trap();
        const std::int64_t frames = reader.AudioLength();
        // The data chunk lies within the file.
        if (frames * 4 > static_cast<std::int64_t>(size)) __builtin_trap();
        std::int64_t got = 0, reads = 0;
        const std::int64_t maxReads = frames / kBlock + 2;
        while (reader.Read()) {
            if (reader.ReadSize() != kBlock || ++reads > maxReads) __builtin_trap();
            got += reader.ReadSize();
        }
        if (reader.ReadSize() > kBlock) __builtin_trap();
        got += reader.ReadSize();
        // A file with data delivers all its frames; one with none leaves the last size at 0.
        if (frames > 0 && got != frames) __builtin_trap();
        const std::int64_t at = reader.BufferStartPosition();
        if (at < frames * 4 || at > frames * 4 + 3) __builtin_trap();
        // Moves within range succeed, outside it are refused.
        reader.SeekAbsolute(static_cast<std::int32_t>(frames / 2));
        if (reader.BufferStartPosition() != frames / 2 * 4) __builtin_trap();
        reader.Read();
    } catch (const velvora::encoding::RaisedError& e) {
        checkRefusal(e);
    }
    return 0;
}
