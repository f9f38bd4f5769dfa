#include "karaoke/lrc_reader.h"

#include "karaoke/song_text.h"

#include "core/utf8.h"
#include "core/vb_text.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <iterator>

namespace velvora::karaoke {

namespace {

using Text32 = std::u32string;

// Rounds half to even, as the conversion to a whole number does.
double roundHalfEven(double v) {
    return std::nearbyint(v);
}

// A short text as a whole number: blanks around, a sign, digits and at most one point. False for
// anything else (the conversion fails and the caller keeps its old value).
bool wholeNumber(const std::string& s, int& out) {
    std::size_t i = 0, n = s.size();
    while (i < n && s[i] == ' ') ++i;
    while (n > i && s[n - 1] == ' ') --n;
    if (i == n) return false;
    bool negative = false;
    if (s[i] == '+' || s[i] == '-') negative = s[i++] == '-';
    double value = 0, scale = 0;
    bool digits = false, point = false;
    for (; i < n; ++i) {
        const char c = s[i];
        if (c >= '0' && c <= '9') {
            digits = true;
            if (point) {
                scale /= 10;
                value += (c - '0') * scale;
            } else {
                value = value * 10 + (c - '0');
            }
        } else if (c == '.' && !point) {
            point = true;
            scale = 1;
        } else {
            return false;
        }
    }
    if (!digits) return false;
    out = static_cast<int>(roundHalfEven(negative ? -value : value));
    return true;
}

int clampToInt(double v) {
    if (!(v == v)) return 0;
    if (v > 2147483647.0) return 2147483647;
    if (v < -2147483648.0) return -2147483647 - 1;
    return static_cast<int>(roundHalfEven(v));
}

// Splits at the line ends of a file: CR LF, CR or LF.
std::vector<std::string> fileLines(const std::string& text) {
    std::vector<std::string> lines;
    std::string cur;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '\r' || c == '\n') {
            lines.push_back(cur);
            cur.clear();
            if (c == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
        } else {
            cur += c;
        }
    }
    if (!cur.empty()) lines.push_back(cur);
    return lines;
}

} // namespace

void Chargement_Paroles(App& app, bool& ok) {
    LyricTimingState& tm = app.s.timing;
    std::ifstream in(tm.lyricFilePath, std::ios::binary);
    if (in) {
        const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        // The lyric's own encoding: the one forced for the song, else what its whole text tells.
        const std::string song = app.s.packageFile.empty() ? app.s.FileName : app.s.packageFile;
        const std::string forced = forcedEncoding(app, song);
        const std::string encoding = forced.empty() ? utf8::detectEncoding(bytes) : forced;
        for (std::string& line : fileLines(utf8::decode(bytes, encoding))) {
            if (vb::Trim(line).empty()) continue;
            tm.lyricFileText += line;
            tm.lyricFileText += "\r\n";
            tm.lyricFileLines.push_back(std::move(line));
        }
    }
    ok = true;
}

void Show_Lyrics(App& app, std::string& text) {
    if (vb::Trim(text).empty() || text.find('[') == std::string::npos) return;
    Session& s = app.s;
    WordModel& m = s.words;

    const Text32 all = utf8::toText32(vb::decodeText(text));
    // The pieces between CRs; the piece after the last CR is not read.
    std::vector<Text32> pieces;
    for (std::size_t from = 0;;) {
        const std::size_t cr = all.find(U'\r', from);
        if (cr == Text32::npos) break;
        pieces.push_back(all.substr(from, cr - from));
        from = cr + 1;
    }

    long long column = 0;
    std::int16_t lineNo = 0;
    // Values that keep what the last successful conversion gave them.
    Text32 tag;
    int minutes = 0;

    for (std::size_t i = 0; i < pieces.size(); ++i) {
        Text32 piece = utf8::toText32(vb::Trim(utf8::fromText32(pieces[i])));
        long long start = 1;
        for (;;) {
            const long long q = vb::InStr(start, piece, U"[");
            if (q == 0) break;
            const long long r = vb::InStr(start, piece, U"]");
            if (r - 1 - q < 9) {
                // A bracket with no closing one after it gives no tag: the last tag stands.
                if (r - q - 1 >= 0)
                    tag = piece.substr(static_cast<std::size_t>(q), static_cast<std::size_t>(r - q - 1));
                const std::size_t lastClose = piece.rfind(U']');
                Text32 words = lastClose == Text32::npos ? piece : piece.substr(lastClose + 1);

                int mm = 0;
                if (wholeNumber(utf8::fromText32(tag.substr(0, 2)), mm)) minutes = mm;
                const int seconds =
                    clampToInt(vb::Val(utf8::fromText32(tag.size() > 3 ? tag.substr(3, 2) : Text32())));
                const double t = static_cast<double>(minutes) * 60.0 + seconds;

                // Every stamp opens a line of its own: the text gets a "/" in front, which is a
                // line break and is cut again at once, so only its effect stays.
                std::string upper = vb::UpperText(utf8::fromText32(words));
                column = 0;
                if (lineNo < INT16_MAX) ++lineNo;
                m.lyricLines.resize(static_cast<std::size_t>(lineNo) + 1);

                m.wordList.resize(i + 2);
                WordRec& w = m.wordList[i + 1];
                w.TimeMs = t * 1000.0;
                w.SpanMs = t * 1000.0;
                const long long length = utf8::charCount(upper);
                if (length <= INT16_MAX) w.Length = static_cast<std::int16_t>(length);
                w.Column = static_cast<std::int32_t>(column);
                w.LineNo = lineNo;
                w.Text = upper;
                m.lyricLines[static_cast<std::size_t>(lineNo)] = std::move(upper);
                column += length;

                m.lyricsPresent = true;
                WordRec& sentinel = m.wordList[0];
                sentinel.Length = 42;
                sentinel.Column = 0;
                sentinel.SpanMs = 0;
                sentinel.TimeMs = 0;
            }
            // Always past the bracket just read, so that a "]" before the "[" cannot hold the loop.
            start = std::max(r, q) + 1;
        }
    }

    const std::vector<std::string> published = m.lyricLines;
    m.lastLine = published.empty()
                     ? std::int16_t{-1}
                     : static_cast<std::int16_t>(std::min<std::size_t>(published.size() - 1, INT16_MAX));
    m.shownLines = published;

    app.tmr.Timer1->setEnabled(true);
    app.tmr.tmrSYLTmp3->setEnabled(true);
}

} // namespace velvora::karaoke
