// A song's own settings put back at play: each reader opens the song's file in SongCustom and
// applies it in file order, through the controls' change routines where the layout says so. A
// file that ends early is applied up to its end; every value lands within its control's range.
#pragma once

#include "core/app.h"

namespace velvora::transport {

// Package: tempo, key, master, equaliser, each track's level and mute, compressor, volume, reverb.
void ModMulti(App& app);
// Audio file: vocal remover, tempo, key (not for a "cdg" name), volume, equaliser.
void ModAudio(App& app);
// Audio file without a settings file: the stream plays at the tempo its slider shows.
void DefAudio(App& app);
// MIDI song: sound font, tempo, key, sound font level, equaliser, melody channel.
void modMidi(App& app);

} // namespace velvora::transport
