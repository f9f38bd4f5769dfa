#include "karaoke/word_extraction.h"

#include "core/mod_bass.h"
#include "core/utf8.h"
#include "core/vb_text.h"
#include "karaoke/karaoke_header.h"
#include "karaoke/lyric_marks.h"
#include "widgets/lyricpicture.h"
#include "widgets/main_controls.h"

namespace velvora::karaoke {

namespace {

void extendLines(WordModel& m, int line) {
    if (line >= 0 && static_cast<std::size_t>(line) >= m.lyricLines.size())
        m.lyricLines.resize(static_cast<std::size_t>(line) + 1);
}

} // namespace

void PublishLyricLines(App& app) {
    WordModel& m = app.s.words;
    if (!m.lyricsPresent) return;
    m.lastLine = static_cast<std::int16_t>(m.lyricLines.empty() ? 0 : m.lyricLines.size() - 1);
    m.shownLines = m.lyricLines;
}

void ScanLyricMarks(App& app) {
    Session& s = app.s;
    WordModel& m = s.words;
    const HSTREAM stream = modBass::MIDI_StreamCreateFile(s.FileName, BASS_STREAM_AUTOFREE, 0);
    s.chan = stream;
    if (!stream) {
        m.lyricsPresent = false;
        return;
    }

    MarkStopRule stopRule;
    int column = 0;
    int line = 0;
    const std::size_t rounds = s.scan.midiBuffer.size();
    for (std::size_t round = 0; round <= rounds; ++round) {
        const int i = static_cast<int>(round);
        bool newLine = false;
        LyricMark mark = ReadLyricMark(app, stream, i);
        if (stopRule.ends(i, mark.tick)) break;
        std::string& text = mark.text;
        const QWORD tick = mark.tick;
        if (text.empty()) {
            m.lyricsPresent = false;
            BASS_StreamFree(stream);
            s.chan = 0;
            return;
        }

        if (text.back() == '|') {
            column = 0;
            ++line;
            newLine = true;
            extendLines(m, line);
        }
        if (startsWithLineBreak(text)) {
            column = 0;
            text = vb::Mid(text, 2); // the mark is one byte
            ++line;
            newLine = true;
            extendLines(m, line);
        } else if (text.front() == '@') {
            text.clear();
            if (i == 0) {
                column = 0;
                ++line;
                extendLines(m, line);
            }
        } else if (i == 0) {
            column = 0;
            ++line;
            newLine = true;
            extendLines(m, line);
        }

        if (m.wordList.size() < round + 2) m.wordList.resize(round + 2);
        WordRec& w = m.wordList[round + 1];
        w.Text = text;
        // Characters, not bytes: the word model counts what the singer sees.
        w.Length = static_cast<std::int16_t>(utf8::charCount(text));
        w.Column = column;
        w.TimeMs = w.SpanMs = m.msPerTick * static_cast<double>(tick);
        w.LineNo = static_cast<std::int16_t>(line);
        extendLines(m, line);
        if (newLine)
            m.lyricLines[static_cast<std::size_t>(line)] = text;
        else
            m.lyricLines[static_cast<std::size_t>(line)] += text;
        column += w.Length;
    }

    m.lyricsPresent = true;
    WordRec& sentinel = m.wordList[0];
    sentinel = WordRec{};
    sentinel.Length = 42;
    // The scanning stream is not the play stream; it goes, and the handle with it.
    BASS_StreamFree(stream);
    s.chan = 0;
}

void PrepareWordsForDisplay(App& app) {
    ScanLyricMarks(app);
    app.s.chan = 0;
    if (app.s.words.lyricsPresent) {
        PublishLyricLines(app);
    } else {
        app.tmr.Timer1->setEnabled(false);
        app.ui.Picture3->cls();
    }
}

void GetKaraoke(App& app) {
    GetKaraokeHeader(app);
    PrepareWordsForDisplay(app);
}

} // namespace velvora::karaoke
