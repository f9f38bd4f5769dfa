#include "midi/fluid_font.h"

#include "midi/soundfont.h"

#include <map>

namespace engine::midi {

std::mutex& fluidLock() {
    static std::mutex lock;
    return lock;
}

void quietFluidLog() {
    static std::once_flag once;
    std::call_once(once, [] {
        for (int level : {FLUID_PANIC, FLUID_ERR, FLUID_WARN, FLUID_INFO, FLUID_DBG})
            fluid_set_log_function(level, nullptr, nullptr);
    });
}

namespace {

std::mutex cacheMutex;
std::map<std::string, std::weak_ptr<SharedFluidFont>> cache;

fluid_sfont_t* target(fluid_sfont_t* view) {
    return static_cast<fluid_sfont_t*>(fluid_sfont_get_data(view));
}

const char* viewName(fluid_sfont_t* view) {
    return fluid_sfont_get_name(target(view));
}
fluid_preset_t* viewPreset(fluid_sfont_t* view, int bank, int program) {
    return fluid_sfont_get_preset(target(view), bank, program);
}
void viewIterStart(fluid_sfont_t* view) {
    fluid_sfont_iteration_start(target(view));
}
fluid_preset_t* viewIterNext(fluid_sfont_t* view) {
    return fluid_sfont_iteration_next(target(view));
}
int viewFree(fluid_sfont_t* view) {
    return delete_fluid_sfont(view);
}

} // namespace

std::shared_ptr<SharedFluidFont> SharedFluidFont::acquire(const std::string& path) {
    std::lock_guard cacheLock(cacheMutex);
    if (auto found = cache[path].lock()) return found;
    quietFluidLog();
    std::shared_ptr<SharedFluidFont> font(new SharedFluidFont);
    font->path_ = path;
    bool loaded = false;
    {
        std::lock_guard lock(fluidLock());
        font->settings_ = new_fluid_settings();
        if (font->settings_) {
            fluid_settings_setint(font->settings_, "synth.polyphony", 1);
            fluid_settings_setint(font->settings_, "synth.reverb.active", 0);
            fluid_settings_setint(font->settings_, "synth.chorus.active", 0);
            font->holder_ = new_fluid_synth(font->settings_);
        }
        if (font->holder_) {
            const int id = fluid_synth_sfload(font->holder_, path.c_str(), 1);
            if (id != FLUID_FAILED) font->font_ = fluid_synth_get_sfont_by_id(font->holder_, id);
            loaded = font->font_ != nullptr;
        }
    }
    if (!loaded) return nullptr; // the holder is released outside the lock
    cache[path] = font;
    return font;
}

SharedFluidFont::~SharedFluidFont() {
    std::lock_guard lock(fluidLock());
    if (holder_) delete_fluid_synth(holder_);
    if (settings_) delete_fluid_settings(settings_);
}

fluid_sfont_t* SharedFluidFont::makeView() {
    fluid_sfont_t* view = new_fluid_sfont(viewName, viewPreset, viewIterStart, viewIterNext, viewFree);
    if (view) fluid_sfont_set_data(view, font_);
    return view;
}

} // namespace engine::midi

namespace engine {

std::shared_ptr<midi::SharedFluidFont> SoundFont::samples() {
    std::lock_guard lock(samplesMutex_);
    if (!samplesTried_) {
        samplesTried_ = true;
        samples_ = midi::SharedFluidFont::acquire(path);
        if (samples_) loadedBytes = sampleBytes;
    }
    return samples_;
}

} // namespace engine
