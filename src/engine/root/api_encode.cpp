// The encoder tap: what a channel produces, after its DSP and effects, written as a 16-bit PCM WAV.
// The samples are written on the producing thread (the update thread for a playing channel, never
// the device callback); BASS_Encode_Stop, or the freeing of the channel, completes the header.
#include "api.h"
#include "common/errors.h"
#include "pipeline/chain.h"
#include "root/engine.h"

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace {

using namespace engine;

void putLE(unsigned char* p, std::uint32_t v, int bytes) {
    for (int i = 0; i < bytes; ++i) p[i] = static_cast<unsigned char>(v >> (8 * i));
}

class WavTap final : public Tap {
  public:
    WavTap(std::FILE* file, DWORD freq, DWORD chans) : file_(file), freq_(freq), chans_(chans) {
        writeHeader(); // sizes 0 until finished
    }
    ~WavTap() override { finish(); }

    void consume(Channel&, const float* buffer, unsigned frames) override {
        if (!file_ || failed_) return;
        const std::size_t samples = static_cast<std::size_t>(frames) * chans_;
        pcm_.resize(samples);
        convertSamples(buffer, samples, false, pcm_.data());
        // Little-endian on disk, as the machine stores them on every platform we build for.
        const std::size_t bytes = samples * 2;
        if (dataBytes_ + bytes > 0xffffffffull - 44) {
            failed_ = true; // a WAV cannot hold more; the file ends where it is
            return;
        }
        if (std::fwrite(pcm_.data(), 1, bytes, file_) != bytes) failed_ = true;
        dataBytes_ += bytes;
    }

    void finish() override {
        if (!file_) return;
        writeHeader();
        std::fclose(file_);
        file_ = nullptr;
    }

  private:
    void writeHeader() {
        unsigned char h[44] = {'R', 'I', 'F', 'F', 0, 0, 0, 0, 'W', 'A', 'V', 'E', 'f', 'm', 't', ' '};
        putLE(h + 4, static_cast<std::uint32_t>(36 + dataBytes_), 4);
        putLE(h + 16, 16, 4);
        putLE(h + 20, 1, 2); // PCM
        putLE(h + 22, chans_, 2);
        putLE(h + 24, freq_, 4);
        putLE(h + 28, freq_ * chans_ * 2, 4);
        putLE(h + 32, chans_ * 2, 2);
        putLE(h + 34, 16, 2);
        std::copy_n("data", 4, h + 36);
        putLE(h + 40, static_cast<std::uint32_t>(dataBytes_), 4);
        const long at = std::ftell(file_);
        std::fseek(file_, 0, SEEK_SET);
        std::fwrite(h, 1, sizeof h, file_);
        if (at > 0) std::fseek(file_, at, SEEK_SET);
        std::fflush(file_);
    }

    std::FILE* file_;
    DWORD freq_, chans_;
    std::uint64_t dataBytes_ = 0;
    bool failed_ = false;
    std::vector<std::int16_t> pcm_;
};

// Encoder handles: the channel each one taps.
struct Encoders {
    std::mutex mutex;
    std::unordered_map<DWORD, DWORD> channelOf; // encoder handle -> channel handle
    DWORD next = 1;
};
Encoders& encoders() {
    static Encoders e;
    return e;
}
constexpr DWORD kEncoderTag = 0x6u << 28;

} // namespace

HENCODE BASS_Encode_Start(DWORD handle, const char* cmdline, DWORD flags, void* proc, void* user) {
    (void)user;
    ChannelPtr ch = Engine::instance().channel(handle);
    if (!ch) return fail<HENCODE>(BASS_ERROR_HANDLE, 0);
    if (!cmdline || !*cmdline || proc) return fail<HENCODE>(BASS_ERROR_ILLPARAM, 0);
    if (!(flags & BASS_ENCODE_PCM)) return fail<HENCODE>(BASS_ERROR_NOTAVAIL, 0); // no other encoder
    {
        std::lock_guard lock(ch->produceMutex());
        if (ch->processing().tap(ProcessingChain::kEncoder)) return fail<HENCODE>(BASS_ERROR_ALREADY, 0);
    }
    std::FILE* file = std::fopen(cmdline, "wb");
    if (!file) return fail<HENCODE>(BASS_ERROR_FILEOPEN, 0);
    auto tap = std::make_shared<WavTap>(file, ch->freq, ch->chans);
    {
        std::lock_guard lock(ch->produceMutex());
        if (ch->freed()) return fail<HENCODE>(BASS_ERROR_HANDLE, 0);
        ch->processing().setTap(ProcessingChain::kEncoder, tap);
    }
    Encoders& e = encoders();
    std::lock_guard lock(e.mutex);
    const DWORD h = kEncoderTag | (e.next++ & 0x0fffffff);
    if ((e.next & 0x0fffffff) == 0) e.next = 1;
    e.channelOf[h] = handle;
    return ok(h);
}

BOOL BASS_Encode_Stop(DWORD handle) {
    DWORD channel = handle;
    {
        Encoders& e = encoders();
        std::lock_guard lock(e.mutex);
        if (auto it = e.channelOf.find(handle); it != e.channelOf.end()) channel = it->second;
        std::erase_if(e.channelOf, [&](const auto& kv) { return kv.second == channel; });
    }
    ChannelPtr ch = Engine::instance().channel(channel);
    if (!ch) return fail(BASS_ERROR_HANDLE);
    std::lock_guard lock(ch->produceMutex());
    if (!ch->processing().tap(ProcessingChain::kEncoder)) return fail(BASS_ERROR_HANDLE);
    ch->processing().setTap(ProcessingChain::kEncoder, nullptr); // completes the header
    return ok(1);
}
