// Tempo detection with SoundTouch's BPMDetect: a measure of a span of a decoding stream, and a
// running measure of a channel's audio that reports on the sync thread as each span is heard.
#include "api.h"
#include "common/errors.h"
#include "pipeline/chain.h"
#include "pipeline/syncs.h"
#include "root/engine.h"

#include <soundtouch/BPMDetect.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <map>
#include <mutex>

namespace {

using namespace engine;

constexpr DWORD kFreeSource = 0x10000; // free the stream once measured
// The internal event a running measure raises at the end of each span (data: the tempo's bits).
constexpr DWORD kTempoEvent = 0x00fe00b1; // clear of the mix-time and one-time bits

// Brings a tempo into [low, high] by doubling or halving; 0 stays 0 (no tempo found).
float fold(float bpm, DWORD minMax) {
    const auto low = static_cast<float>(minMax & 0xffff);
    const auto high = static_cast<float>(minMax >> 16);
    if (bpm <= 0 || minMax == 0 || (high > 0 && low > high)) return bpm;
    for (int i = 0; i < 8 && low > 0 && bpm < low; ++i) bpm *= 2;
    for (int i = 0; i < 8 && high > 0 && bpm > high; ++i) bpm /= 2;
    return bpm;
}

// The running measure: feeds the channel's final samples to a detector and, every period, raises
// the tempo of the span just produced; the sync fires when that span has been heard.
class TempoTap final : public Tap {
  public:
    TempoTap(DWORD freq, DWORD chans, double period, DWORD minMax)
        : freq_(freq), chans_(chans), minMax_(minMax),
          periodFrames_(std::max<std::uint64_t>(1, static_cast<std::uint64_t>(period * freq))) {
        detector_ = std::make_unique<soundtouch::BPMDetect>(static_cast<int>(chans), static_cast<int>(freq));
    }
    void consume(Channel& ch, const float* buffer, unsigned frames) override {
        while (frames > 0) {
            const auto n = static_cast<unsigned>(std::min<std::uint64_t>(frames, periodFrames_ - seen_));
            detector_->inputSamples(buffer, static_cast<int>(n));
            buffer += static_cast<std::size_t>(n) * chans_;
            frames -= n;
            seen_ += n;
            if (seen_ >= periodFrames_) {
                const float bpm = fold(std::max(0.0f, detector_->getBpm()), minMax_);
                ch.raise(kTempoEvent, std::bit_cast<DWORD>(bpm));
                detector_ = std::make_unique<soundtouch::BPMDetect>(static_cast<int>(chans_),
                                                                    static_cast<int>(freq_));
                seen_ = 0;
            }
        }
    }

  private:
    DWORD freq_, chans_, minMax_;
    std::uint64_t periodFrames_, seen_ = 0;
    std::unique_ptr<soundtouch::BPMDetect> detector_;
};

// Running measures by channel: the sync that reports them and the caller's callback.
struct Watch {
    HSYNC sync;
    BPMPROC* proc;
    void* user;
};
std::mutex watchMutex;
std::map<DWORD, Watch> watches; // by channel handle

void reportTempo(HSYNC sync, DWORD channel, DWORD data, void*) {
    Watch w{};
    {
        std::lock_guard lock(watchMutex);
        auto it = watches.find(channel);
        if (it == watches.end() || it->second.sync != sync) return; // freed meanwhile
        w = it->second;
    }
    w.proc(channel, std::bit_cast<float>(data), w.user);
}

void removeWatch(Channel& ch) {
    HSYNC sync = 0;
    {
        std::lock_guard lock(watchMutex);
        if (auto it = watches.find(ch.handle); it != watches.end()) {
            sync = it->second.sync;
            watches.erase(it);
        }
    }
    if (sync) Engine::instance().syncs().remove(ch.handle, sync);
    std::lock_guard lock(ch.produceMutex());
    ch.processing().setTap(ProcessingChain::kTempo, nullptr);
}

} // namespace

float BASS_FX_BPM_DecodeGet(DWORD chan, double startSec, double endSec, DWORD minMaxBPM, DWORD flags,
                            BPMPROGRESSPROC* proc, void* user) {
    ChannelPtr ch = Engine::instance().channel(chan);
    if (!ch) return fail(BASS_ERROR_HANDLE, 0.0f);
    if (!ch->decodeOnly()) return fail(BASS_ERROR_DECODE, 0.0f);
    if (!std::isfinite(startSec) || !std::isfinite(endSec) || startSec < 0 || endSec <= startSec)
        return fail(BASS_ERROR_ILLPARAM, 0.0f);
    const auto startFrame = static_cast<std::uint64_t>(startSec * ch->freq);
    const std::int64_t length = ch->lengthFrames();
    if (length >= 0 && startFrame >= static_cast<std::uint64_t>(length))
        return fail(BASS_ERROR_POSITION, 0.0f);
    std::uint64_t endFrame = static_cast<std::uint64_t>(std::min(endSec * ch->freq, 1e15));
    if (length >= 0)
        endFrame = std::min(endFrame, static_cast<std::uint64_t>(length)); // a shorter file: to its end

    const double saved = ch->heardFrame();
    if (!ch->setPosition(startFrame)) return fail(BASS_ERROR_POSITION, 0.0f);
    soundtouch::BPMDetect detector(static_cast<int>(ch->chans), static_cast<int>(ch->freq));
    std::vector<float> buf(static_cast<std::size_t>(4096) * ch->chans);
    const std::uint64_t total = endFrame - startFrame;
    std::uint64_t done = 0;
    while (done < total) {
        const auto want = static_cast<unsigned>(std::min<std::uint64_t>(4096, total - done));
        const unsigned got = ch->pull(buf.data(), want, PullContext{});
        if (got == 0) break;
        detector.inputSamples(buf.data(), static_cast<int>(got));
        done += got;
        if (proc)
            proc(chan, static_cast<float>(100.0 * static_cast<double>(done) / static_cast<double>(total)),
                 user);
        if (ch->endReached()) break;
    }
    const float bpm = fold(std::max(0.0f, detector.getBpm()), minMaxBPM);
    if (flags & kFreeSource)
        Engine::instance().freeChannel(chan);
    else
        ch->setPosition(static_cast<std::uint64_t>(std::max(0.0, saved))); // where the reader left it
    return ok(bpm);
}

BOOL BASS_FX_BPM_CallbackSet(DWORD handle, BPMPROC* proc, double periodSec, DWORD minMaxBPM, DWORD flags,
                             void* user) {
    (void)flags;
    ChannelPtr ch = Engine::instance().channel(handle);
    if (!ch) return fail(BASS_ERROR_HANDLE);
    if (!proc || !std::isfinite(periodSec) || periodSec <= 0 || periodSec > 3600)
        return fail(BASS_ERROR_ILLPARAM);
    removeWatch(*ch); // a second call replaces the first
    const HSYNC sync = Engine::instance().syncs().set(handle, kTempoEvent, 0, &reportTempo, nullptr);
    {
        std::lock_guard lock(watchMutex);
        watches[handle] = Watch{sync, proc, user};
    }
    std::lock_guard lock(ch->produceMutex());
    if (ch->freed()) return fail(BASS_ERROR_HANDLE);
    ch->processing().setTap(ProcessingChain::kTempo,
                            std::make_shared<TempoTap>(ch->freq, ch->chans, periodSec, minMaxBPM));
    return ok(1);
}

BOOL BASS_FX_BPM_Free(DWORD handle) {
    ChannelPtr ch = Engine::instance().channel(handle);
    if (!ch) return fail(BASS_ERROR_HANDLE);
    removeWatch(*ch);
    return ok(1);
}

BOOL BASS_FX_BPM_BeatFree(DWORD handle) {
    // Beat positions are not tracked, so there is nothing to free beyond checking the handle.
    if (!Engine::instance().channel(handle)) return fail(BASS_ERROR_HANDLE);
    return ok(1);
}
