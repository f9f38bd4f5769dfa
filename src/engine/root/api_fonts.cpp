// Soundfont operations.
#include "api.h"
#include "common/errors.h"
#include "midi/midi_stream.h"
#include "midi/soundfont.h"
#include "root/engine.h"
#include "root/fonts.h"

namespace {

using namespace engine;

thread_local std::string infoName, infoCopyright, infoComment;

bool validFonts(const BASS_MIDI_FONT* fonts, DWORD count) {
    if (!fonts && count) return false;
    for (DWORD i = 0; i < count; ++i)
        if (!Engine::instance().fonts().get(fonts[i].font)) return false;
    return true;
}

} // namespace

namespace engine {

std::vector<midi::FontUse> resolveFonts(const BASS_MIDI_FONT* fonts, DWORD count) {
    std::vector<midi::FontUse> uses;
    for (DWORD i = 0; fonts && i < count; ++i)
        if (auto font = Engine::instance().fonts().get(fonts[i].font))
            uses.push_back({std::move(font), fonts[i].preset, fonts[i].bank});
    return uses;
}

} // namespace engine

HSOUNDFONT BASS_MIDI_FontInit(const void* file, DWORD flags) {
    auto font = std::make_shared<SoundFont>();
    int error = 0;
    if (!readSoundFontInfo(pathArgument(file, flags), *font, error)) return fail<HSOUNDFONT>(error, 0);
    const DWORD h = Engine::instance().fonts().add(font);
    if (!h) return fail<HSOUNDFONT>(BASS_ERROR_MEM, 0);
    return ok(h);
}

BOOL BASS_MIDI_FontFree(HSOUNDFONT handle) {
    if (!Engine::instance().fonts().remove(handle)) return fail(BASS_ERROR_HANDLE);
    return ok(1);
}

BOOL BASS_MIDI_FontSetVolume(HSOUNDFONT handle, float volume) {
    auto font = Engine::instance().fonts().get(handle);
    if (!font) return fail(BASS_ERROR_HANDLE);
    if (!(volume >= 0.0f)) return fail(BASS_ERROR_ILLPARAM);
    font->volume = volume;
    return ok(1);
}

float BASS_MIDI_FontGetVolume(HSOUNDFONT handle) {
    auto font = Engine::instance().fonts().get(handle);
    if (!font) return fail(BASS_ERROR_HANDLE, -1.0f);
    return ok(font->volume.load());
}

BOOL BASS_MIDI_FontGetInfo(HSOUNDFONT handle, BASS_MIDI_FONTINFO* info) {
    auto font = Engine::instance().fonts().get(handle);
    if (!font) return fail(BASS_ERROR_HANDLE);
    if (!info) return fail(BASS_ERROR_ILLPARAM);
    infoName = font->name;
    infoCopyright = font->copyright;
    infoComment = font->comment;
    info->name = infoName.c_str();
    info->copyright = infoCopyright.c_str();
    info->comment = infoComment.c_str();
    info->presets = 0;
    info->samsize = font->sampleBytes;
    info->samload = font->loadedBytes.load();
    info->samtype = 0;
    return ok(1);
}

BOOL BASS_MIDI_StreamSetFonts(HSTREAM handle, const BASS_MIDI_FONT* fonts, DWORD count) {
    if (!validFonts(fonts, count)) return fail(BASS_ERROR_HANDLE);
    Engine& e = Engine::instance();
    if (handle == 0) {
        e.setDefaultFonts(std::vector<BASS_MIDI_FONT>(fonts, fonts + count));
        return ok(1);
    }
    auto channel = e.channel(handle);
    if (!channel) return fail(BASS_ERROR_HANDLE);
    auto midi = std::dynamic_pointer_cast<MidiStream>(channel);
    if (!midi) return fail(BASS_ERROR_ILLTYPE);
    midi->setFonts(resolveFonts(fonts, count));
    return ok(1);
}
