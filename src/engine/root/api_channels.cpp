// Channel operations: play, pause, stop, positions, attributes, levels, sample data, syncs.
#include "api.h"
#include "common/errors.h"
#include "common/steady_clock.h"
#include "pipeline/playback.h"
#include "pipeline/syncs.h"
#include "root/engine.h"

#include <kiss_fftr.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

using namespace engine;

constexpr QWORD kFailPos = ~QWORD{0};
constexpr DWORD kFailDword = ~DWORD{0};

ChannelPtr channelOf(DWORD handle) {
    return Engine::instance().channel(handle);
}

// Reads the last `frames` frames of a channel: what was heard (playing), or freshly decoded
// (decoding). Stereo float out.
bool recentFrames(Channel& ch, std::vector<float>& out, unsigned frames) {
    out.assign(static_cast<std::size_t>(frames) * 2, 0.0f);
    if (ch.decodeOnly()) {
        std::vector<float> raw(static_cast<std::size_t>(frames) * ch.chans);
        const unsigned n = ch.pull(raw.data(), frames, PullContext{});
        if (n == 0) return false;
        for (unsigned f = 0; f < n; ++f) {
            const float* in = &raw[static_cast<std::size_t>(f) * ch.chans];
            out[f * 2] = in[0];
            out[f * 2 + 1] = ch.chans > 1 ? in[1] : in[0];
        }
        return true;
    }
    Playback* pb = ch.playback();
    if (!pb || pb->state.load() == Playback::kStopped) return false;
    return pb->lastHeard(out.data(), frames);
}

DWORD fft2048(Channel& ch, float* bins) {
    constexpr unsigned kSize = 2048;
    std::vector<float> frames;
    if (!recentFrames(ch, frames, kSize)) return fail(BASS_ERROR_NOPLAY, kFailDword);
    thread_local kiss_fftr_cfg cfg = kiss_fftr_alloc(kSize, 0, nullptr, nullptr);
    std::vector<float> in(kSize);
    std::vector<kiss_fft_cpx> spectrum(kSize / 2 + 1);
    const double pi = std::acos(-1.0);
    for (unsigned i = 0; i < kSize; ++i) {
        const float hann = static_cast<float>(0.5 - 0.5 * std::cos(2 * pi * i / kSize));
        in[i] = 0.5f * (frames[i * 2] + frames[i * 2 + 1]) * hann;
    }
    kiss_fftr(cfg, in.data(), spectrum.data());
    // A full-scale sine on a bin: |X| = N/2 times the window's mean of 0.5.
    const float scale = 4.0f / kSize;
    for (unsigned k = 0; k < kSize / 2; ++k) bins[k] = std::hypot(spectrum[k].r, spectrum[k].i) * scale;
    return ok<DWORD>(kSize / 2 * sizeof(float));
}

} // namespace

BOOL BASS_ChannelPlay(DWORD handle, BOOL restart) {
    ChannelPtr ch = channelOf(handle);
    if (!ch) return fail(BASS_ERROR_HANDLE);
    if (ch->decodeOnly()) return fail(BASS_ERROR_DECODE);
    const double now = Engine::instance().heardFrame();
    const double from = restart ? 0.0 : ch->heardFrame();
    if (!ch->play(restart != 0)) return fail(BASS_ERROR_START);
    ch->startedPos.store(from, std::memory_order_relaxed);
    const double started = steadySeconds();
    ch->startedTime.store(started, std::memory_order_relaxed);
    ch->startedFrame.store(now, std::memory_order_release);
    Engine::instance().lastPlayStarted.store(started, std::memory_order_release);
    return ok(1);
}

BOOL BASS_ChannelPause(DWORD handle) {
    ChannelPtr ch = channelOf(handle);
    if (!ch) return fail(BASS_ERROR_HANDLE);
    if (ch->decodeOnly()) return fail(BASS_ERROR_DECODE);
    if (!ch->pause()) return fail(BASS_ERROR_NOPLAY);
    return ok(1);
}

BOOL BASS_ChannelStop(DWORD handle) {
    ChannelPtr ch = channelOf(handle);
    if (!ch) return fail(BASS_ERROR_HANDLE);
    if (!ch->stop()) return fail(BASS_ERROR_NOPLAY);
    return ok(1);
}

DWORD BASS_ChannelIsActive(DWORD handle) {
    ChannelPtr ch = channelOf(handle);
    if (!ch) return fail<DWORD>(BASS_ERROR_HANDLE, BASS_ACTIVE_STOPPED);
    return ok(ch->isActive());
}

QWORD BASS_ChannelGetLength(DWORD handle, DWORD mode) {
    ChannelPtr ch = channelOf(handle);
    if (!ch) return fail(BASS_ERROR_HANDLE, kFailPos);
    QWORD out = 0;
    if (!ch->lengthIn(mode, out)) return fail(BASS_ERROR_NOTAVAIL, kFailPos);
    return ok(out);
}

QWORD BASS_ChannelGetPosition(DWORD handle, DWORD mode) {
    ChannelPtr ch = channelOf(handle);
    if (!ch) return fail(BASS_ERROR_HANDLE, kFailPos);
    QWORD out = 0;
    if (!ch->fromFrame(ch->heardFrame(), mode, out)) return fail(BASS_ERROR_NOTAVAIL, kFailPos);
    return ok(out);
}

BOOL BASS_ChannelSetPosition(DWORD handle, QWORD pos, DWORD mode) {
    ChannelPtr ch = channelOf(handle);
    if (!ch) return fail(BASS_ERROR_HANDLE);
    std::uint64_t frame = 0;
    if (!ch->toFrame(pos, mode, frame)) return fail(BASS_ERROR_NOTAVAIL);
    const std::int64_t length = ch->lengthFrames();
    if (length >= 0 && frame > static_cast<std::uint64_t>(length)) return fail(BASS_ERROR_POSITION);
    if (!ch->setPosition(frame)) return fail(BASS_ERROR_POSITION);
    return ok(1);
}

double BASS_ChannelBytes2Seconds(DWORD handle, QWORD pos) {
    ChannelPtr ch = channelOf(handle);
    if (!ch) return fail(BASS_ERROR_HANDLE, -1.0);
    if (pos == kFailPos) return fail(BASS_ERROR_ILLPARAM, -1.0);
    return ok(static_cast<double>(pos / ch->bytesPerFrame()) / ch->freq);
}

QWORD BASS_ChannelSeconds2Bytes(DWORD handle, double pos) {
    ChannelPtr ch = channelOf(handle);
    if (!ch) return fail(BASS_ERROR_HANDLE, kFailPos);
    if (!(pos >= 0) || !std::isfinite(pos)) return fail(BASS_ERROR_ILLPARAM, kFailPos);
    return ok(static_cast<QWORD>(pos * ch->freq + 1e-9) * ch->bytesPerFrame());
}

BOOL BASS_ChannelSetAttribute(DWORD handle, DWORD attrib, float value) {
    ChannelPtr ch = channelOf(handle);
    if (!ch) return fail(BASS_ERROR_HANDLE);
    if (!std::isfinite(value)) return fail(BASS_ERROR_ILLPARAM);
    if (!ch->setAttribute(attrib, value)) return fail(BASS_ERROR_ILLTYPE);
    return ok(1);
}

BOOL BASS_ChannelGetAttribute(DWORD handle, DWORD attrib, float* value) {
    ChannelPtr ch = channelOf(handle);
    if (!ch) return fail(BASS_ERROR_HANDLE);
    if (!value) return fail(BASS_ERROR_ILLPARAM);
    if (!ch->getAttribute(attrib, *value)) return fail(BASS_ERROR_ILLTYPE);
    return ok(1);
}

DWORD BASS_ChannelGetLevel(DWORD handle) {
    ChannelPtr ch = channelOf(handle);
    if (!ch) return fail(BASS_ERROR_HANDLE, kFailDword);
    if (DWORD own = 0; ch->ownLevel(own)) return ok(own); // a capture: its last 20 ms captured
    const unsigned frames = std::max(1u, (ch->decodeOnly() ? ch->freq : Engine::instance().rate()) / 50);
    std::vector<float> recent;
    if (!recentFrames(*ch, recent, frames)) return fail(BASS_ERROR_NOPLAY, kFailDword);
    float left = 0, right = 0;
    for (unsigned f = 0; f < frames; ++f) {
        left = std::max(left, std::abs(recent[f * 2]));
        right = std::max(right, std::abs(recent[f * 2 + 1]));
    }
    const auto word = [](float v) {
        return static_cast<DWORD>(std::min(32768.0f, std::round(v * 32768.0f)));
    };
    return ok(word(left) | (word(right) << 16));
}

DWORD BASS_ChannelGetData(DWORD handle, void* buffer, DWORD length) {
    ChannelPtr ch = channelOf(handle);
    if (!ch) return fail(BASS_ERROR_HANDLE, kFailDword);
    if (length == BASS_DATA_FFT2048) {
        if (!buffer) return fail(BASS_ERROR_ILLPARAM, kFailDword);
        return fft2048(*ch, static_cast<float*>(buffer));
    }
    if ((length & 0x80000000u) != 0) return fail(BASS_ERROR_ILLPARAM, kFailDword); // other FFT sizes
    const bool asFloat = ch->isFloat() || (length & BASS_DATA_FLOAT);
    length &= ~BASS_DATA_FLOAT;
    if (!buffer && length) return fail(BASS_ERROR_ILLPARAM, kFailDword);
    const unsigned sampleBytes = asFloat ? 4 : 2;
    if (!ch->decodeOnly()) {
        // A playing channel: the latest frames heard, without taking them from the playback.
        Playback* pb = ch->playback();
        if (!pb || pb->state.load() == Playback::kStopped) return fail(BASS_ERROR_NOPLAY, kFailDword);
        const unsigned frames = std::min<unsigned>(length / (2 * sampleBytes), Playback::kHistoryFrames / 2);
        std::vector<float> recent(static_cast<std::size_t>(frames) * 2);
        pb->lastHeard(recent.data(), frames);
        convertSamples(recent.data(), recent.size(), asFloat, buffer);
        return ok<DWORD>(frames * 2 * sampleBytes);
    }
    const unsigned frames = length / (ch->chans * sampleBytes);
    if (ch->endReached()) return fail(BASS_ERROR_ENDED, kFailDword);
    thread_local std::vector<float> scratch;
    scratch.resize(static_cast<std::size_t>(frames) * ch->chans);
    const unsigned got = frames ? ch->pull(scratch.data(), frames, PullContext{}) : 0;
    if (got == 0 && ch->endReached()) return fail(BASS_ERROR_ENDED, kFailDword);
    convertSamples(scratch.data(), static_cast<std::size_t>(got) * ch->chans, asFloat, buffer);
    return ok<DWORD>(got * ch->chans * sampleBytes);
}

HSYNC BASS_ChannelSetSync(DWORD handle, DWORD type, QWORD param, SYNCPROC* proc, void* user) {
    ChannelPtr ch = channelOf(handle);
    if (!ch) return fail<HSYNC>(BASS_ERROR_HANDLE, 0);
    if (!proc) return fail<HSYNC>(BASS_ERROR_ILLPARAM, 0);
    const DWORD base = type & ~(BASS_SYNC_MIXTIME | BASS_SYNC_ONETIME);
    switch (base) {
    case BASS_SYNC_END:
    case BASS_SYNC_SETPOS:
    case BASS_SYNC_MIDI_LYRIC:
    case BASS_SYNC_MIDI_TEXT:
    case BASS_SYNC_MIDI_EVENT:
        break;
    default:
        return fail<HSYNC>(BASS_ERROR_ILLTYPE, 0);
    }
    return ok(Engine::instance().syncs().set(handle, type, param, proc, user));
}

BOOL BASS_ChannelRemoveSync(DWORD handle, HSYNC sync) {
    if (!channelOf(handle)) return fail(BASS_ERROR_HANDLE);
    if (!Engine::instance().syncs().remove(handle, sync)) return fail(BASS_ERROR_HANDLE);
    return ok(1);
}
