// The base of everything that has a channel handle: streams, MIDI streams, mixers, captures.
#pragma once

#include "api.h"

#include <memory>

namespace engine {

struct BASS_MIDI_FONT_LIST;

class Channel {
  public:
    virtual ~Channel() = default;

    DWORD handle = 0;
    DWORD freq = 44100;
    DWORD chans = 2;
    DWORD flags = 0;
    DWORD ctype = BASS_CTYPE_STREAM;

    bool decodeOnly() const { return (flags & BASS_STREAM_DECODE) != 0; }

    // Soundfonts for a MIDI stream; other channels refuse them.
    virtual bool setFonts(const BASS_MIDI_FONT* fonts, DWORD count) { return false; }
};

using ChannelPtr = std::shared_ptr<Channel>;

} // namespace engine
