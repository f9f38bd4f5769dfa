#include "core/mod_bass.h"

#include "core/utf8.h"

namespace velvora::modBass {

namespace {

std::wstring wide(const std::string& path) {
    return utf8::toQString(path).toStdWString();
}

} // namespace

HSTREAM StreamCreateFile(const std::string& path, DWORD flags) {
    const std::wstring w = wide(path);
    return BASS_StreamCreateFile(0, w.c_str(), 0, 0, flags | BASS_UNICODE);
}

HMUSIC MusicLoad(const std::string& path, DWORD flags, DWORD freq) {
    const std::wstring w = wide(path);
    return BASS_MusicLoad(0, w.c_str(), 0, 0, flags | BASS_UNICODE, freq);
}

HSTREAM MIDI_StreamCreateFile(const std::string& path, DWORD flags, DWORD freq) {
    const std::wstring w = wide(path);
    return BASS_MIDI_StreamCreateFile(0, w.c_str(), 0, 0, flags | BASS_UNICODE, freq);
}

} // namespace velvora::modBass
