#include "recording/take_journal.h"

#include "core/staged_file.h"
#include "recording/wav_header.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <utility>

namespace velvora::recording {

namespace {

constexpr char kMagic[] = "VELVORA TAKE JOURNAL 1\n";
// Thirty seconds of the capture's stereo 16-bit sound (5 MB, beside a take that grows by 10 MB a
// minute): the writer falls that far behind only when the disk stalls, and the journal stops then
// rather than keep a gap. A capture fed faster than real time (a benchmark) still leaves the
// writer a few hundred milliseconds.
constexpr std::size_t kRingBytes = 30 * 176400;
constexpr std::size_t kChunkBytes = 64 * 1024;
// The writer looks often, so that a capture fed faster than real time (a benchmark) stays far from
// the ring's end.
constexpr auto kWake = std::chrono::milliseconds(20);
constexpr auto kSyncEvery = std::chrono::milliseconds(1000);

int openFresh(const std::string& path) {
    return ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
}

std::uint64_t fileSize(const std::string& path) {
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return 0;
    std::fseek(f, 0, SEEK_END);
    const long n = std::ftell(f);
    std::fclose(f);
    return n > 0 ? static_cast<std::uint64_t>(n) : 0;
}

bool readAt(std::FILE* f, std::uint64_t at, std::uint8_t* out, std::size_t n) {
    return std::fseek(f, static_cast<long>(at), SEEK_SET) == 0 && std::fread(out, 1, n, f) == n;
}

std::uint32_t le(const std::uint8_t* p, int bytes) {
    std::uint32_t v = 0;
    for (int i = bytes - 1; i >= 0; --i) v = v << 8 | p[i];
    return v;
}

// A WAV file whose header already counts its samples: finished, so no encoder is writing it now.
bool finishedWav(const std::string& path) {
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return false;
    std::uint8_t h[kWavHeaderBytes];
    const bool finished =
        readAt(f, 0, h, sizeof h) && std::memcmp(h, "RIFF", 4) == 0 && le(h + kDataSizeOffset, 4) != 0;
    std::fclose(f);
    return finished;
}

} // namespace

std::vector<std::uint8_t> journalHeaderBytes(const JournalHeader& h) {
    std::ostringstream text;
    text << kMagic << "rate=" << h.rate << "\nchannels=" << h.channels << "\nbits=" << h.bits
         << "\ndate=" << h.date << "\nsong=" << h.song << "\n";
    std::string s = text.str();
    // A long song name is cut; the header always ends with a newline and a zero.
    if (s.size() > kJournalHeaderBytes - 2) s = s.substr(0, kJournalHeaderBytes - 2) + "\n";
    std::vector<std::uint8_t> bytes(kJournalHeaderBytes, 0);
    std::copy(s.begin(), s.end(), bytes.begin());
    return bytes;
}

bool parseJournalHeader(const std::uint8_t* bytes, std::size_t count, JournalHeader& h) {
    if (count < kJournalHeaderBytes) return false;
    const std::string all(reinterpret_cast<const char*>(bytes), kJournalHeaderBytes);
    if (all.rfind(kMagic, 0) != 0) return false;
    std::istringstream text(all.substr(0, all.find('\0')));
    std::string line;
    std::getline(text, line);
    h = JournalHeader{};
    while (std::getline(text, line)) {
        const auto eq = line.find('=');
        if (eq == std::string::npos) continue;
        const std::string key = line.substr(0, eq), value = line.substr(eq + 1);
        if (key == "song")
            h.song = value;
        else if (key == "date")
            h.date = value;
        else if (key == "rate")
            h.rate = std::atoi(value.c_str());
        else if (key == "channels")
            h.channels = std::atoi(value.c_str());
        else if (key == "bits")
            h.bits = std::atoi(value.c_str());
    }
    return h.rate > 0 && h.rate <= 384000 && h.channels > 0 && h.channels <= 8 && h.bits == 16;
}

bool ByteRing::push(const void* bytes, std::size_t count) noexcept {
    const std::size_t head = head_.load(std::memory_order_relaxed);
    const std::size_t tail = tail_.load(std::memory_order_acquire);
    if (buf_.size() - (head - tail) < count) return false;
    const std::size_t at = head % buf_.size();
    const std::size_t first = std::min(count, buf_.size() - at);
    std::memcpy(buf_.data() + at, bytes, first);
    std::memcpy(buf_.data(), static_cast<const std::uint8_t*>(bytes) + first, count - first);
    head_.store(head + count, std::memory_order_release);
    return true;
}

std::size_t ByteRing::pop(std::uint8_t* out, std::size_t max) noexcept {
    const std::size_t tail = tail_.load(std::memory_order_relaxed);
    const std::size_t head = head_.load(std::memory_order_acquire);
    const std::size_t n = std::min(max, head - tail);
    const std::size_t at = tail % buf_.size();
    const std::size_t first = std::min(n, buf_.size() - at);
    std::memcpy(out, buf_.data() + at, first);
    std::memcpy(out + first, buf_.data(), n - first);
    tail_.store(tail + n, std::memory_order_release);
    return n;
}

TakeJournal::TakeJournal(const Paths& paths, Stopped stopped)
    : paths_(paths), stopped_(std::move(stopped)), ring_(kRingBytes), chunk_(kChunkBytes) {}

std::unique_ptr<TakeJournal> TakeJournal::open(const Paths& paths, const JournalHeader& voice,
                                               const JournalHeader& backing, Stopped stopped) {
    Paths followed = paths;
    // The encoder starts its file before the take does, its header counting no samples yet. A
    // finished file there is an earlier take's (this take's encoder did not start): its song was
    // not played now, so the journal keeps no backing track rather than that one.
    if (!followed.backingSource.empty() && finishedWav(followed.backingSource))
        followed.backingSource.clear();
    std::unique_ptr<TakeJournal> j(new TakeJournal(followed, std::move(stopped)));
    j->voiceFd_ = openFresh(paths.voice);
    j->backingFd_ = openFresh(paths.backing);
    const auto vh = journalHeaderBytes(voice), bh = journalHeaderBytes(backing);
    std::uint64_t unused = 0;
    if (j->voiceFd_ < 0 || j->backingFd_ < 0 || !j->writeAll(j->voiceFd_, unused, vh.data(), vh.size()) ||
        !j->writeAll(j->backingFd_, unused, bh.data(), bh.size())) {
        j->close();
        std::remove(paths.voice.c_str());
        std::remove(paths.backing.c_str());
        return nullptr;
    }
    j->writer_ = std::thread([p = j.get()] { p->run(); });
    j->syncer_ = std::thread([p = j.get()] { p->syncEverySecond(); });
    return j;
}

TakeJournal::~TakeJournal() {
    close();
}

void TakeJournal::append(const void* bytes, std::size_t count) noexcept {
    if (failed_.load(std::memory_order_relaxed)) return;
    // A full ring means the disk fell behind by seconds: rather than keep a journal with a gap in
    // it, the journal stops where it is, whole.
    if (!ring_.push(bytes, count)) failed_.store(true);
}

void TakeJournal::close() {
    if (writer_.joinable() || syncer_.joinable()) {
        {
            std::lock_guard lock(wakeMutex_);
            quit_ = true;
        }
        wake_.notify_all();
        if (writer_.joinable()) writer_.join();
        if (syncer_.joinable()) syncer_.join();
    }
    for (int* fd : {&voiceFd_, &backingFd_}) {
        if (*fd < 0) continue;
        ::fdatasync(*fd);
        ::close(*fd);
        *fd = -1;
    }
}

void TakeJournal::run() {
    for (;;) {
        bool quitting;
        {
            std::unique_lock lock(wakeMutex_);
            wake_.wait_for(lock, kWake, [&] { return quit_.load(); });
            quitting = quit_.load();
        }
        drain();
        if (quitting) return;
    }
}

void TakeJournal::syncEverySecond() {
    // A thread of its own, so that a disk slow to flush never keeps the writer from emptying the
    // ring meanwhile; the writes themselves reach the system's cache at once.
    std::unique_lock lock(wakeMutex_);
    while (!wake_.wait_for(lock, kSyncEvery, [&] { return quit_.load(); })) {
        if (failed_) continue;
        lock.unlock();
        ::fdatasync(voiceFd_);
        ::fdatasync(backingFd_);
        lock.lock();
    }
}

void TakeJournal::drain() {
    // The ring is emptied even when the journal has stopped, so that it never holds stale bytes.
    for (std::size_t n; (n = ring_.pop(chunk_.data(), chunk_.size())) > 0;)
        if (!failed_ && !writeAll(voiceFd_, voiceWritten_, chunk_.data(), n)) fail();
    if (failed_) {
        fail();
        return;
    }
    // The backing track: what the encoder tap has put in its file since the last look.
    if (paths_.backingSource.empty()) return;
    std::FILE* src = std::fopen(paths_.backingSource.c_str(), "rb");
    if (!src) return;
    std::fseek(src, 0, SEEK_END);
    const long end = std::ftell(src);
    while (end > 0 && backingCopied_ < static_cast<std::uint64_t>(end) && !failed_) {
        const std::size_t n = static_cast<std::size_t>(
            std::min<std::uint64_t>(chunk_.size(), static_cast<std::uint64_t>(end) - backingCopied_));
        if (!readAt(src, backingCopied_, chunk_.data(), n)) break;
        if (!writeAll(backingFd_, backingWritten_, chunk_.data(), n)) fail();
        backingCopied_ += n;
    }
    std::fclose(src);
}

bool TakeJournal::writeAll(int fd, std::uint64_t& written, const std::uint8_t* bytes, std::size_t count) {
    while (count > 0) {
        // Past the limit the disk is full: what fits is written, as a real disk would take it.
        const std::uint64_t room = std::min<std::uint64_t>(count, limit_ - std::min(limit_, written));
        if (room == 0) return false;
        const ssize_t n = ::write(fd, bytes, static_cast<std::size_t>(room));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        written += static_cast<std::uint64_t>(n);
        bytes += n;
        count -= static_cast<std::size_t>(n);
    }
    return true;
}

void TakeJournal::fail() {
    // Told once; what is in the files stays as it is.
    if (stopped_) std::exchange(stopped_, nullptr)();
    failed_ = true;
}

bool readJournal(const std::string& voicePath, const std::string& backingPath, JournalFound& found) {
    found = JournalFound{};
    std::FILE* f = std::fopen(voicePath.c_str(), "rb");
    if (!f) return false;
    std::vector<std::uint8_t> head(kJournalHeaderBytes);
    const bool ok =
        readAt(f, 0, head.data(), head.size()) && parseJournalHeader(head.data(), head.size(), found.voice);
    std::fclose(f);
    if (!ok) return false;
    const std::uint64_t align = static_cast<std::uint64_t>(found.voice.channels) * 2;
    const std::uint64_t size = fileSize(voicePath);
    found.voiceBytes = size > kJournalHeaderBytes ? (size - kJournalHeaderBytes) / align * align : 0;
    found.voiceBytes = std::min<std::uint64_t>(found.voiceBytes, 0xffffffffull - kWavHeaderBytes);

    // The backing journal holds the encoder's file from its first byte: its WAV header gives the
    // format, the samples follow.
    if (std::FILE* b = std::fopen(backingPath.c_str(), "rb")) {
        std::uint8_t wav[kWavHeaderBytes];
        JournalHeader bh;
        if (readAt(b, 0, head.data(), head.size()) && parseJournalHeader(head.data(), head.size(), bh) &&
            readAt(b, kJournalHeaderBytes, wav, sizeof wav) && std::memcmp(wav, "RIFF", 4) == 0 &&
            le(wav + 20, 2) == 1 && le(wav + 34, 2) == 16) {
            found.backingChannels = static_cast<int>(le(wav + 22, 2));
            found.backingRate = static_cast<int>(le(wav + 24, 4));
            const std::uint64_t balign = static_cast<std::uint64_t>(found.backingChannels) * 2;
            const std::uint64_t bsize = fileSize(backingPath);
            const std::uint64_t before = kJournalHeaderBytes + kWavHeaderBytes;
            if (found.backingChannels > 0 && found.backingChannels <= 8 && found.backingRate > 0) {
                found.hasBacking = true;
                found.backingBytes = bsize > before ? (bsize - before) / balign * balign : 0;
                found.backingBytes =
                    std::min<std::uint64_t>(found.backingBytes, 0xffffffffull - kWavHeaderBytes);
            }
        }
        std::fclose(b);
    }
    return true;
}

namespace {

// The samples of a journal from `from`, `bytes` of them, as a WAV file at `target`.
bool writeWav(const std::string& journal, std::uint64_t from, std::uint64_t bytes, int rate, int channels,
              const std::string& target) {
    std::FILE* in = std::fopen(journal.c_str(), "rb");
    if (!in) return false;
    StagedFile out;
    bool ok = out.open(target);
    if (ok) {
        WavRiffHeader riff;
        riff.riffSize = static_cast<std::uint32_t>(bytes + kWavHeaderBytes - 8);
        WavDataHeader data;
        data.dataSize = static_cast<std::uint32_t>(bytes);
        const auto header = headerBytes(
            riff, pcmFormat(static_cast<std::uint16_t>(channels), static_cast<std::uint32_t>(rate), 16),
            data);
        ok =
            out.write(header.data(), header.size()) && std::fseek(in, static_cast<long>(from), SEEK_SET) == 0;
        std::vector<std::uint8_t> chunk(kChunkBytes);
        for (std::uint64_t left = bytes; ok && left > 0;) {
            const std::size_t n = static_cast<std::size_t>(std::min<std::uint64_t>(left, chunk.size()));
            ok = std::fread(chunk.data(), 1, n, in) == n && out.write(chunk.data(), n);
            left -= n;
        }
        ok = ok && out.commit();
    }
    std::fclose(in);
    return ok;
}

} // namespace

bool writeRecoveredTake(const std::string& voicePath, const std::string& backingPath,
                        const JournalFound& found, const std::string& voiceWav,
                        const std::string& backingWav) {
    bool ok = writeWav(voicePath, kJournalHeaderBytes, found.voiceBytes, found.voice.rate,
                       found.voice.channels, voiceWav);
    if (found.hasBacking)
        ok = writeWav(backingPath, kJournalHeaderBytes + kWavHeaderBytes, found.backingBytes,
                      found.backingRate, found.backingChannels, backingWav) &&
             ok;
    return ok;
}

} // namespace velvora::recording
