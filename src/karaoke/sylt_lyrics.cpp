#include "karaoke/sylt_lyrics.h"

#include "core/files.h"
#include "core/vb_text.h"
#include "karaoke/word_extraction.h"
#include "tags/byte_source.h"
#include "tags/mp3_title_boxes.h"

#include <QString>

#include <algorithm>
#include <array>
#include <optional>

namespace velvora::karaoke {

namespace {

// True when the four letters occur in the file; no value when it cannot be opened. The file is
// searched in blocks, each overlapping the one before by three bytes.
std::optional<bool> holdsSyltLetters(const std::string& path) {
    tags::FileBytes file(path);
    if (!file.isOpen()) return std::nullopt;
    constexpr std::size_t kBlock = 64 * 1024;
    constexpr std::string_view kLetters = "SYLT";
    std::array<char, kBlock> block;
    std::uint64_t at = 0;
    while (at < file.size()) {
        const auto n = static_cast<std::size_t>(std::min<std::uint64_t>(kBlock, file.size() - at));
        if (!file.read(at, n, reinterpret_cast<std::uint8_t*>(block.data()))) return false;
        if (std::string_view(block.data(), n).find(kLetters) != std::string_view::npos) return true;
        if (at + n >= file.size()) break;
        at += n - (kLetters.size() - 1);
    }
    return false;
}

void setPending(App& app, const std::string& path) {
    if (const std::optional<bool> found = holdsSyltLetters(path)) app.s.syltPending = *found;
}

int characters(const std::string& utf8) {
    return static_cast<int>(QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size())).size());
}

void fillFromTags(App& app, const std::string& path) {
    // The audio clock and the word counter that goes with it start again.
    app.s.timing.lyricClock = 0;
    app.s.lyricPos = 0;
    app.tmr.tmrSYLTmp3->setEnabled(false);
    tags::modID3V230Reader reader(app.sys.dialogs, app.sys.clock);
    reader.ReadID3v23(path, false, false);
    SyltWords(app, reader.syltEvents, reader.syltEventCount);
}

} // namespace

void Load_File_Tags(App& app) {
    tags::mMP3 module;
    tags::ReadMp3Info(app, module, app.s.FileName);
    if (module.hasTagLyrics) app.s.hasTagLyrics = true;
    // With a lyric block nothing more happens here: the text that would go to Show_Lyrics is never
    // filled from the block.
    if (!app.s.hasTagLyrics) {
        app.tmr.Timer1->setEnabled(false);
        app.tmr.tmrSYLTmp3->setEnabled(false);
    }
}

void SyltContr(App& app) {
    setPending(app, app.s.FileName);
}

void SyltContrM(App& app, const std::string& stemPath) {
    setPending(app, stemPath);
}

void Mp3Sylt(App& app) {
    fillFromTags(app, app.s.FileName);
}

void Mp3SyltM(App& app) {
    fillFromTags(app, resolveCaseInsensitive(app.appFolder, "TMPK/ZZZZ.MP3"));
}

void SyltWords(App& app, const std::vector<tags::SyltEvent>& events, int eventCount) {
    WordModel& m = app.s.words;
    const int count = std::min(eventCount, static_cast<int>(events.size()));
    if (count < 1) return;
    // The model is extended and written over, never cleared first: the opening of a song clears it.
    int line = 0;
    int column = 0;
    for (int i = 0; i < count; ++i) {
        std::string text = vb::UpperText(events[static_cast<std::size_t>(i)].text);
        bool newLine = false;
        if (!text.empty() && text.front() == '/') {
            column = 0;
            text.erase(0, 1);
            ++line;
            newLine = true;
        }
        if (m.lyricLines.size() < static_cast<std::size_t>(line) + 1) m.lyricLines.resize(line + 1);
        if (m.wordList.size() < static_cast<std::size_t>(i) + 2) m.wordList.resize(i + 2);
        WordRec& w = m.wordList[static_cast<std::size_t>(i) + 1];
        w.Text = text;
        w.Length = static_cast<std::int16_t>(characters(text));
        w.Column = column;
        w.TimeMs = w.SpanMs = events[static_cast<std::size_t>(i)].time;
        w.LineNo = static_cast<std::int16_t>(line);
        std::string& target = m.lyricLines[static_cast<std::size_t>(line)];
        if (newLine)
            target = text;
        else
            target += text;
        column += w.Length;
    }
    m.lyricsPresent = true;
    m.wordList[0] = WordRec{};
    m.wordList[0].Length = 42;
    PublishLyricLines(app);
}

} // namespace velvora::karaoke
