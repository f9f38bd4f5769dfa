#include "karaoke/lrc_creator.h"

#include "core/files.h"
#include "core/mod_bass.h"
#include "core/staged_file.h"
#include "core/startup.h"
#include "karaoke/lrc_format.h"
#include "karaoke/lyric_marks.h"
#include "karaoke/midi_scanner.h"

#include <QApplication>

#include <algorithm>
#include <cmath>

namespace velvora::karaoke {

namespace {

constexpr int kMarkWaitMs = 30;
// Far beyond any song; keeps the conversion of a wild tick to whole seconds defined.
constexpr double kMaxLineSeconds = 1e12;
// A tick on a whole second (11520 ticks of 5.2083 ms) can come out a hair below it in floating
// point; a microsecond of slack keeps it on its second.
constexpr double kSlackSeconds = 1e-6;

long long wholeSeconds(double ms) {
    const double s = std::floor(ms / 1000.0 + kSlackSeconds);
    if (!(s > 0)) return 0;
    return static_cast<long long>(std::min(s, kMaxLineSeconds));
}

// One mark of the song, `text` upper-cased, at round `index`.
void takeMark(LrcCreatorState& lrc, std::string text, QWORD tick, int index, double msPerTick,
              std::string& channel5) {
    if (!text.empty() && text.back() == '|') {
        ++lrc.lineNumber;
        lrc.newLine = true;
    }
    if (startsWithLineBreak(text)) {
        if (!lrc.markerSeen) {
            // What came before the first line break is a line of its own.
            lrc.markerSeen = true;
            Lrc_format(lrc, channel5);
            lrc.lrcLine.clear();
        }
        if (lrc.lineOpen) {
            lrc.lineOpen = false;
            Lrc_format(lrc, channel5);
            lrc.markCount = 0;
        }
        lrc.lrcLine.clear();
        lrc.newLine = true;
    } else if (!text.empty() && text.front() == '@') {
        text.clear();
        if (index == 0) ++lrc.lineNumber;
    } else {
        if (index == 0) ++lrc.lineNumber;
        if (!lrc.markerSeen) lrc.lrcLine += text;
    }
    if (lrc.newLine) {
        if (++lrc.markCount == 2) lrc.lineSeconds = wholeSeconds(msPerTick * static_cast<double>(tick));
        lrc.lrcLine += text; // the opening mark too: the formatter leaves it out
        lrc.lineOpen = true;
    }
}

// The header and the first tempo, as the scanner reads them; the track count is not read here.
// The words are read in the encoding that the song's opening chose.
void readSongHeader(App& app) {
    MidiScanState& scan = app.s.scan;
    LoadMidiBuffer(app.s.FileName, scan.midiBuffer);
    const std::int16_t trackCount = scan.midiTrackCount;
    ReadHeaderWords(scan);
    scan.midiTrackCount = trackCount;
    if (ReadFirstTempo(scan)) app.s.words.msPerTick = scan.msPerTick;
}

} // namespace

void SoloTitolo(App& app) {
    app.s.lrc.soloTitolo = GetFileName(app.s.FileName);
}

std::string LrcBatchFile(const App& app) {
    return resolveCaseInsensitive(app.appFolder, "syncro.lrc");
}

void Lrc_batch(App& app) {
    Session& s = app.s;
    // Every run starts from a blank line: what a run leaves behind is no part of the next song.
    s.lrc = LrcCreatorState{};
    SoloTitolo(app);
    const std::string path = LrcBatchFile(app);
    StagedFile channel5;
    if (!channel5.open(path)) {
        app.sys.dialogs.msgBox("Can't write " + path, platform::vbCritical, "Velvora");
        return;
    }
    QApplication::setOverrideCursor(Qt::WaitCursor);
    readSongHeader(app);
    const HSTREAM stream = modBass::MIDI_StreamCreateFile(s.FileName, BASS_STREAM_DECODE, 0);

    std::string lines;
    MarkStopRule stopRule;
    const std::size_t rounds = s.scan.midiBuffer.size();
    for (std::size_t round = 0; round <= rounds; ++round) {
        const int i = static_cast<int>(round);
        LyricMark mark = ReadLyricMark(app, stream, i);
        app.sys.clock.sleep(kMarkWaitMs);
        if (stopRule.ends(i, mark.tick)) break;
        takeMark(s.lrc, std::move(mark.text), mark.tick, i, s.words.msPerTick, lines);
    }
    Lrc_format(s.lrc, lines);

    channel5.write(lines.data(), lines.size());
    const bool written = channel5.commit();
    QApplication::restoreOverrideCursor();
    Clear(app);
    BASS_StreamFree(stream);
    if (written)
        app.sys.dialogs.msgBox("Done! LRC Creator", platform::vbInformation, "Velvora");
    else
        app.sys.dialogs.msgBox("Can't write " + path, platform::vbCritical, "Velvora");
}

} // namespace velvora::karaoke
