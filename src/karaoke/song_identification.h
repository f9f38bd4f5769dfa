// The song's identification by byte search over the MIDI buffer: copyright, tempo, key and title,
// each into a fixed-width field of the scan state. The routine names are the program's own.
#pragma once

#include "core/state/midi_scan_state.h"

#include <string>
#include <string_view>

namespace velvora::karaoke {

constexpr int kCopyrightWidth = 20;
constexpr int kTempoWidth = 3;
constexpr int kTitleWidth = 30;
constexpr int kMelodyWidth = 20;

// `bytes` cut or space-padded to `width` bytes, as a fixed-width field holds it.
std::string FixedField(std::string_view bytes, int width);
// UTF-8 text cut or space-padded to `width` characters.
std::string FixedText(std::string_view utf8, int width);

// Copyright: the FF 02 event's text from its ninth byte, else the text after "(C)" or "(c)", else
// after 12 40 01 00; blank when none.
void FINDCOSTR(MidiScanState& scan);
// Beats per minute of the first tempo event, its low byte taken as 142; "120" when there is none.
void TEMPO(MidiScanState& scan);
// The two data bytes of the first key signature, or "**".
void key(MidiScanState& scan);
// The key's Italian name from fixKeyBytes; empty for "**" and for pairs outside the table.
void tonalita(MidiScanState& scan);
// The name of a key signature (sharps/flats byte, minor byte); empty outside the table.
std::string KeyName(int sf, int mi);
// Title from the first track name, else the 00 20 24 00 04 block, else the first text event.
void cercatitolo(MidiScanState& scan);
// Title from the first "@T" of a karaoke file, 20 raw bytes after the mark.
void TITOLOKARA(MidiScanState& scan);

// The type field: the character at position 10.
void TIPO(MidiScanState& scan);
// fixChannel4 = "Y" when byte 147 (note-on, fourth channel) occurs anywhere, else "N".
void CANALE4(MidiScanState& scan);
// The first sounding notes of the fourth channel, three digits each, into a 20-character field.
void CERCACANTO(MidiScanState& scan);
// True when the file name ends in "KAR" (any case).
bool FINDKARA(const std::string& fileName);

} // namespace velvora::karaoke
