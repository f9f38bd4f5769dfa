// The take's journal: while a take runs, a writer thread of its own appends the captured voice
// (handed over by the capture callback through a lock-free ring) and the backing track (followed
// as the encoder tap writes it) to two files in the TakeJournal folder beside TKKK; a second thread
// flushes them to the disk once a second. Each file starts with a small text header (song, date,
// rate, format). A take that ends normally removes the journal; one left behind by a crash is
// offered back at start-up.
#pragma once

#include "core/state/capture_journal.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace velvora::recording {

// Bytes before the samples in each journal file.
constexpr std::size_t kJournalHeaderBytes = 512;

struct JournalHeader {
    std::string song;
    std::string date;
    int rate = 44100;
    int channels = 2;
    int bits = 16;
};

// The header as the file's first kJournalHeaderBytes, and back; false when `bytes` is no journal.
std::vector<std::uint8_t> journalHeaderBytes(const JournalHeader& h);
bool parseJournalHeader(const std::uint8_t* bytes, std::size_t count, JournalHeader& h);

// A single-producer, single-consumer byte ring: the capture thread pushes, the writer pops.
class ByteRing {
  public:
    explicit ByteRing(std::size_t capacity) : buf_(capacity) {}
    // All of `count` or nothing; never blocks.
    bool push(const void* bytes, std::size_t count) noexcept;
    // Up to `max` bytes into `out`; the count taken.
    std::size_t pop(std::uint8_t* out, std::size_t max) noexcept;

  private:
    std::vector<std::uint8_t> buf_;
    std::atomic<std::size_t> head_{0}; // total pushed
    std::atomic<std::size_t> tail_{0}; // total popped
};

class TakeJournal final : public CaptureJournal {
  public:
    struct Paths {
        std::string voice;         // the voice's journal
        std::string backing;       // the backing track's journal
        std::string backingSource; // the file the encoder tap writes; none when empty
    };
    // Called once, on the writer thread, when the journal stops for want of room.
    using Stopped = std::function<void()>;

    // Creates both files with their headers and starts the writer; null when they cannot be made.
    static std::unique_ptr<TakeJournal> open(const Paths& paths, const JournalHeader& voice,
                                             const JournalHeader& backing, Stopped stopped);
    ~TakeJournal() override;

    void append(const void* bytes, std::size_t count) noexcept override;
    // Writes what is pending and stops the writer; the files stay.
    void close();
    // Writes past `bytes` in a file fail as on a full disk; for tests of that case.
    void setLimit(std::uint64_t bytes) { limit_ = bytes; }
    bool stopped() const { return failed_.load(); }

  private:
    TakeJournal(const Paths& paths, Stopped stopped);
    void run();
    void syncEverySecond();
    void drain();
    bool writeAll(int fd, std::uint64_t& written, const std::uint8_t* bytes, std::size_t count);
    void fail();

    Paths paths_;
    Stopped stopped_;
    int voiceFd_ = -1;
    int backingFd_ = -1;
    std::uint64_t voiceWritten_ = 0;
    std::uint64_t backingWritten_ = 0;
    std::uint64_t backingCopied_ = 0; // bytes of the encoder's file copied so far
    std::uint64_t limit_ = ~std::uint64_t{0};
    ByteRing ring_;
    std::vector<std::uint8_t> chunk_;
    std::atomic<bool> failed_{false};
    std::atomic<bool> quit_{false};
    std::mutex wakeMutex_;
    std::condition_variable wake_;
    std::thread writer_;
    std::thread syncer_;
};

// What a journal left behind holds, read from its two files.
struct JournalFound {
    JournalHeader voice;
    std::uint64_t voiceBytes = 0;   // whole frames only
    std::uint64_t backingBytes = 0; // whole frames of the backing track's samples
    bool hasBacking = false;
    int backingRate = 0, backingChannels = 0;
};
bool readJournal(const std::string& voicePath, const std::string& backingPath, JournalFound& found);

// Writes the journal's voice and backing track as two WAV files; false when either cannot be made.
bool writeRecoveredTake(const std::string& voicePath, const std::string& backingPath,
                        const JournalFound& found, const std::string& voiceWav,
                        const std::string& backingWav);

} // namespace velvora::recording
