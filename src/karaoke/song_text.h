// The words' own script. A song's texts (lyrics, title, copyright) are bytes in whatever encoding
// its maker's machine used: Shift-JIS, EUC-KR, GBK, Big5, Windows-1251 and so on. The encoding is
// told once a song, from all of its text events together, or is the one the user forced for that
// song; the user's choice is kept in a file of its own beside the song's settings. Byte positions
// stay on the raw bytes: only the text that is shown or printed is converted.
#pragma once

#include "core/app.h"

#include <span>
#include <string>
#include <string_view>

namespace velvora::karaoke {

// The bytes of every text meta event (types 1 to 7) of a Standard MIDI File, in file order, a line
// break after each; the file walked track by track and event by event.
std::string AllTextEvents(std::string_view midiFile);

// One entry of the encoding menu: its caption and the encoding ("" means: tell it from the text).
struct EncodingChoice {
    const char* caption;
    const char* encoding;
};
std::span<const EncodingChoice> encodingChoices();

// The file that keeps the encoding forced for the song at `songPath`, and what it holds ("" when
// there is none or it cannot be read).
std::string forcedEncodingFile(const App& app, const std::string& songPath);
std::string forcedEncoding(const App& app, const std::string& songPath);

// Sets textEncoding for the song in hand, whose file is in midiBuffer: the user's choice for it,
// else what its texts tell.
void ChooseSongEncoding(App& app);

// Bytes of the song in hand's text as UTF-8.
std::string songText(const App& app, std::string_view bytes);

// The menu entry: keeps `encoding` as the song in hand's (an empty one goes back to telling it from
// the text). A MIDI song that is not playing shows its title in it at once and its words from its
// next play on; a playing one from its next play.
void MnuEncoding_Click(App& app, const std::string& encoding);

} // namespace velvora::karaoke
