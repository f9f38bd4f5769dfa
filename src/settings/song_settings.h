// Per-song settings: a small text file for each song in the program folder's SongCustom, written
// by the SAVE button in one of three layouts (package, audio, MIDI) from the window's controls.
// The routines that read a file back and apply it work on the transport's controls and live in
// transport/song_settings.h; this side knows the files and the layouts.
#pragma once

#include "core/app.h"

#include <optional>
#include <string>
#include <vector>

namespace velvora::settings {

// The settings file of a song: SongCustom below the program folder (in whatever case the disk
// has it), the song's file name without its folder, and ".txt". Songs of one name in different
// folders share it.
std::string songSettingsPath(const App& app, const std::string& songPath);
// The path that names the settings of the audio song in hand: the ZIP file it was unpacked from,
// so that songs of one name in different archives keep their own, else the song's own file.
std::string audioSettingsSong(const App& app);

// The three layouts as the controls stand, one value a line in the classic print form.
std::string multiText(const App& app);
std::string audioText(const App& app);
std::string midiText(const App& app);

// The writers: the file of the song in hand, replaced. Each returns the system's words when the
// file cannot be written (SongCustom is never made here), empty on success.
std::string SaveMulti(App& app);
std::string SaveAudio(App& app);
std::string SaveMidi(App& app);

// The SAVE button: the writer for the song's kind, and "Done!" for all but a MIDI song.
void CmdMidi_Click(App& app);

// The values of a settings file in order, read as the classic input statement reads them: line
// ends and commas separate them, blank lines and the blanks around a value are skipped, quotes
// around a value are removed. Only the head of a file is read, whatever its size.
class SongFileItems {
  public:
    explicit SongFileItems(std::string_view text);
    // Nothing when the file cannot be read.
    static std::optional<SongFileItems> open(const std::string& path);

    // The next value as text; nothing past the end.
    std::optional<std::string> text();
    // The next value as a number; a word reads as 0; nothing past the end.
    std::optional<double> number();
    std::size_t remaining() const { return items_.size() - next_; }

  private:
    std::vector<std::string> items_;
    std::size_t next_ = 0;
};

// A number read from a file as a whole value within [lo, hi]: rounded to the nearest, half to
// even; anything that is not a finite number within reach becomes the nearer bound or 0.
int wholeWithin(double value, int lo, int hi);

} // namespace velvora::settings
