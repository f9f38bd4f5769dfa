// Stream creation and release shared by every kind of channel.
#include "api.h"
#include "common/errors.h"
#include "root/engine.h"
#include "streams/file_stream.h"

namespace {

using namespace engine;

// A stream whose samples the caller would push or produce; the program makes one only to learn
// whether float streams work here.
class UserStream final : public Channel {};

} // namespace

HSTREAM BASS_StreamCreate(DWORD freq, DWORD chans, DWORD flags, STREAMPROC* proc, void* user) {
    if (!Engine::instance().deviceReady()) return fail<HSTREAM>(BASS_ERROR_INIT, 0);
    if (freq == 0 || chans == 0 || chans > 8) return fail<HSTREAM>(BASS_ERROR_ILLPARAM, 0);
    auto stream = std::make_shared<UserStream>();
    stream->freq = freq;
    stream->chans = chans;
    stream->flags = flags;
    const DWORD h = Engine::instance().addChannel(stream);
    if (!h) return fail<HSTREAM>(BASS_ERROR_MEM, 0);
    stream->handle = h;
    return ok(h);
}

BOOL BASS_StreamFree(HSTREAM handle) {
    if (!Engine::instance().freeChannel(handle)) return fail(BASS_ERROR_HANDLE);
    return ok(1);
}

BOOL BASS_ChannelGetInfo(DWORD handle, BASS_CHANNELINFO* info) {
    auto channel = Engine::instance().channel(handle);
    if (!channel) return fail(BASS_ERROR_HANDLE);
    if (!info) return fail(BASS_ERROR_ILLPARAM);
    *info = BASS_CHANNELINFO{};
    info->freq = channel->freq;
    info->chans = channel->chans;
    info->flags = channel->flags;
    info->ctype = channel->ctype;
    info->origres = (channel->flags & BASS_SAMPLE_FLOAT) ? 32 : 16;
    if (auto file = std::dynamic_pointer_cast<FileStream>(channel)) {
        info->origres = file->bitsPerSample;
        info->filename = file->path.empty() ? nullptr : file->path.c_str();
    }
    return ok(1);
}
