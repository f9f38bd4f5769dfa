// DSP callbacks and effects on channels.
#include "api.h"
#include "common/errors.h"
#include "dsp/effects.h"
#include "root/engine.h"

namespace {

using namespace engine;

class DspStage final : public Stage {
  public:
    DspStage(DSPPROC* p, void* u) : proc(p), user(u) {}
    void process(Channel& ch, float* buffer, unsigned frames) override {
        proc(handle, ch.handle, buffer, frames * ch.chans * static_cast<DWORD>(sizeof(float)), user);
    }
    DSPPROC* proc;
    void* user;
};

// Adds a stage to a channel: registers its handle and inserts it under the channel's lock.
DWORD attach(Channel& ch, HandleTable<Stage>& table, const std::shared_ptr<Stage>& stage, int priority) {
    stage->priority = priority;
    stage->owner = ch.weak_from_this();
    const DWORD h = table.add(stage);
    if (!h) return fail<DWORD>(BASS_ERROR_MEM, 0);
    stage->handle = h;
    {
        std::lock_guard lock(ch.produceMutex());
        if (!ch.freed()) {
            ch.processing().add(stage);
            return ok(h);
        }
    }
    table.remove(h);
    return fail<DWORD>(BASS_ERROR_HANDLE, 0);
}

BOOL detach(DWORD handle, HandleTable<Stage>& table, DWORD stageHandle) {
    ChannelPtr ch = Engine::instance().channel(handle);
    if (!ch) return fail(BASS_ERROR_HANDLE);
    std::shared_ptr<Stage> stage = table.get(stageHandle);
    if (!stage || stage->owner.lock() != ch) return fail(BASS_ERROR_HANDLE);
    {
        std::lock_guard lock(ch->produceMutex());
        ch->processing().remove(stage.get());
    }
    table.remove(stageHandle);
    return ok(1);
}

} // namespace

HDSP BASS_ChannelSetDSP(DWORD handle, DSPPROC* proc, void* user, int priority) {
    ChannelPtr ch = Engine::instance().channel(handle);
    if (!ch) return fail<HDSP>(BASS_ERROR_HANDLE, 0);
    if (!proc) return fail<HDSP>(BASS_ERROR_ILLPARAM, 0);
    return attach(*ch, dspTable(), std::make_shared<DspStage>(proc, user), priority);
}

BOOL BASS_ChannelRemoveDSP(DWORD handle, HDSP dsp) {
    return detach(handle, dspTable(), dsp);
}

HFX BASS_ChannelSetFX(DWORD handle, DWORD type, int priority) {
    ChannelPtr ch = Engine::instance().channel(handle);
    if (!ch) return fail<HFX>(BASS_ERROR_HANDLE, 0);
    std::shared_ptr<Effect> fx = Effect::make(type, ch->freq, ch->chans);
    if (!fx) return fail<HFX>(BASS_ERROR_ILLTYPE, 0);
    return attach(*ch, fxTable(), fx, priority);
}

BOOL BASS_ChannelRemoveFX(DWORD handle, HFX fx) {
    return detach(handle, fxTable(), fx);
}

BOOL BASS_FXGetParameters(HFX handle, void* params) {
    auto fx = std::dynamic_pointer_cast<Effect>(fxTable().get(handle));
    if (!fx) return fail(BASS_ERROR_HANDLE);
    if (!params) return fail(BASS_ERROR_ILLPARAM);
    if (const int error = fx->getParameters(params)) return fail(error);
    return ok(1);
}

BOOL BASS_FXSetParameters(HFX handle, const void* params) {
    auto fx = std::dynamic_pointer_cast<Effect>(fxTable().get(handle));
    if (!fx) return fail(BASS_ERROR_HANDLE);
    if (!params) return fail(BASS_ERROR_ILLPARAM);
    if (const int error = fx->setParameters(params)) return fail(error);
    return ok(1);
}
