// Thin wrappers over the engine's file-opening calls: paths always go as wide strings, with the
// flag that says so; and two small helpers.
#pragma once

#include "engine/api.h"

#include <string>

namespace velvora::modBass {

HSTREAM StreamCreateFile(const std::string& path, DWORD flags);
HMUSIC MusicLoad(const std::string& path, DWORD flags, DWORD freq);
HSTREAM MIDI_StreamCreateFile(const std::string& path, DWORD flags, DWORD freq);

inline DWORD HiWord(DWORD value) {
    return value >> 16;
}
// A copy of a zero-terminated text the engine hands out; empty for none.
inline std::string TextFromPointer(const char* text) {
    return text ? std::string(text) : std::string();
}

} // namespace velvora::modBass
