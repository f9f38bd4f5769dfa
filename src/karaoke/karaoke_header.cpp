#include "karaoke/karaoke_header.h"

#include "core/utf8.h"
#include "core/vb_text.h"
#include "karaoke/midi_scanner.h"
#include "karaoke/song_identification.h"
#include "karaoke/song_text.h"
#include "widgets/main_controls.h"

#include <QString>

namespace velvora::karaoke {

namespace {

// Text of a fixed-width field in the song's encoding. In a UTF-8 or Western song a UTF-8 character
// cut by the field's end is dropped rather than turning the whole field into Windows-1252.
std::string fieldText(const App& app, const std::string& field) {
    const std::string& encoding = app.s.textEncoding;
    if (!encoding.empty() && encoding != "UTF-8" && encoding != utf8::kFallbackEncoding)
        return songText(app, field);
    std::size_t end = field.size();
    for (std::size_t back = 1; back <= 3 && back <= field.size(); ++back) {
        const auto c = static_cast<unsigned char>(field[field.size() - back]);
        if ((c & 0xC0) == 0x80) continue;
        const std::size_t need = c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : c >= 0xC0 ? 2 : 1;
        if (need > back) end = field.size() - back;
        break;
    }
    const std::string cut = field.substr(0, end);
    if (end < field.size() && vb::decodeText(cut) == cut) return cut;
    return vb::decodeText(field);
}

// Shows a field's bytes in a box and takes the box's text back into the field.
void showField(const App& app, QLineEdit* box, std::string& field, int width) {
    box->setText(QString::fromStdString(fieldText(app, field)));
    field = FixedText(box->text().toStdString(), width);
}

} // namespace

void GetKaraokeHeader(App& app) {
    MidiScanState& scan = app.s.scan;
    LoadMidiBuffer(app.s.FileName, scan.midiBuffer);
    ChooseSongEncoding(app);
    ReadHeaderWords(scan);

    if (scan.midiFormat == 1)
        app.s.midiChannel = 0;
    else if (scan.midiFormat == 0)
        app.s.midiChannel = 3;

    // The formatted beats per minute are not kept here: songBpm stays as it was.
    const float keptBpm = scan.songBpm;
    if (ReadFirstTempo(scan)) app.s.words.msPerTick = scan.msPerTick;
    scan.songBpm = keptBpm;

    app.ui.Title->clear();
    app.ui.Artist->clear();
    app.ui.Yizear->clear();
    app.ui.GENERE->clear();

    FINDCOSTR(scan);
    TEMPO(scan);
    key(scan);
    cercatitolo(scan);
    if (FINDKARA(app.s.FileName)) TITOLOKARA(scan);

    showField(app, app.ui.Title, scan.fixTitle, kTitleWidth);
    showField(app, app.ui.Artist, scan.fixCopyright, kCopyrightWidth);
    showField(app, app.ui.Yizear, scan.fixTempo, kTempoWidth);

    tonalita(scan);
    app.ui.GENERE->setText(QString::fromStdString(scan.keyName));
}

} // namespace velvora::karaoke
