// Creating file, tempo and mixer streams.
#include "api.h"
#include "common/errors.h"
#include "midi/soundfont.h"
#include "root/engine.h"
#include "streams/file_stream.h"
#include "streams/mixer_stream.h"
#include "streams/tempo_stream.h"

namespace {

using namespace engine;

// Flags a file stream keeps; the rest (the wide-path flag and unknown bits) are dropped.
constexpr DWORD kStreamFlags =
    BASS_SAMPLE_FLOAT | BASS_SAMPLE_LOOP | BASS_STREAM_DECODE | BASS_STREAM_AUTOFREE;

DWORD registerChannel(const ChannelPtr& ch) {
    const DWORD h = Engine::instance().addChannel(ch);
    if (!h) return fail<DWORD>(BASS_ERROR_MEM, 0);
    ch->handle = h;
    return ok(h);
}

} // namespace

HSTREAM BASS_StreamCreateFile(BOOL mem, const void* file, QWORD offset, QWORD length, DWORD flags) {
    if (!Engine::instance().deviceReady()) return fail<HSTREAM>(BASS_ERROR_INIT, 0);
    if (!file) return fail<HSTREAM>(BASS_ERROR_FILEOPEN, 0);
    std::string path;
    std::vector<char> bytes;
    if (mem) {
        if (length == 0 || length > (QWORD{1} << 31)) return fail<HSTREAM>(BASS_ERROR_FILEFORM, 0);
        const char* p = static_cast<const char*>(file) + offset;
        bytes.assign(p, p + length);
    } else {
        if (offset != 0 || length != 0) return fail<HSTREAM>(BASS_ERROR_NOTAVAIL, 0);
        path = pathArgument(file, flags);
    }
    int error = 0;
    auto stream = FileStream::open(path, std::move(bytes), flags & kStreamFlags, error);
    if (!stream) return fail<HSTREAM>(error, 0);
    return registerChannel(stream);
}

HMUSIC BASS_MusicLoad(BOOL mem, const void* file, QWORD offset, QWORD length, DWORD flags, DWORD freq) {
    if (!Engine::instance().deviceReady()) return fail<HMUSIC>(BASS_ERROR_INIT, 0);
    return fail<HMUSIC>(BASS_ERROR_FILEFORM, 0);
}

BOOL BASS_MusicFree(HMUSIC handle) {
    return BASS_StreamFree(handle);
}

HSTREAM BASS_FX_TempoCreate(DWORD chan, DWORD flags) {
    ChannelPtr source = Engine::instance().channel(chan);
    if (!source) return fail<HSTREAM>(BASS_ERROR_HANDLE, 0);
    if (!source->decodeOnly()) return fail<HSTREAM>(BASS_ERROR_DECODE, 0);
    auto stream = std::make_shared<TempoStream>(source, flags);
    return registerChannel(stream);
}

float BASS_FX_TempoGetRateRatio(DWORD chan) {
    auto tempo = std::dynamic_pointer_cast<TempoStream>(Engine::instance().channel(chan));
    if (!tempo) return fail(BASS_ERROR_HANDLE, 0.0f);
    return ok(tempo->rateRatio());
}

HSTREAM BASS_Mixer_StreamCreate(DWORD freq, DWORD chans, DWORD flags) {
    if (!Engine::instance().deviceReady()) return fail<HSTREAM>(BASS_ERROR_INIT, 0);
    if (freq == 0 || freq > 384000 || chans == 0 || chans > 8) return fail<HSTREAM>(BASS_ERROR_ILLPARAM, 0);
    constexpr DWORD kKept =
        BASS_SAMPLE_FLOAT | BASS_STREAM_DECODE | BASS_STREAM_AUTOFREE | BASS_MIXER_END | BASS_MIXER_NONSTOP;
    return registerChannel(std::make_shared<MixerStream>(freq, chans, flags & kKept));
}

BOOL BASS_Mixer_StreamAddChannel(HSTREAM handle, DWORD channel, DWORD flags) {
    auto mixer = std::dynamic_pointer_cast<MixerStream>(Engine::instance().channel(handle));
    if (!mixer) return fail(BASS_ERROR_HANDLE);
    ChannelPtr source = Engine::instance().channel(channel);
    if (!source || source == mixer) return fail(BASS_ERROR_HANDLE);
    if (!source->decodeOnly()) return fail(BASS_ERROR_DECODE);
    if (!mixer->addSource(source)) return fail(BASS_ERROR_ALREADY);
    return ok(1);
}
