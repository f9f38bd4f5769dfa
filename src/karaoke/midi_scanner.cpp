#include "karaoke/midi_scanner.h"

#include "karaoke/song_text.h"

#include "core/files.h"
#include "core/utf8.h"
#include "core/vb_text.h"
#include "widgets/lyricpicture.h"
#include "widgets/main_controls.h"

#include <QFontMetrics>
#include <QString>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <set>
#include <utility>

namespace velvora::karaoke {

namespace {

constexpr int kMaxWordIndex = std::numeric_limits<std::int16_t>::max();
constexpr int kMaxLineIndex = std::numeric_limits<std::int16_t>::max();

std::string hexUnpadded(int byte) {
    static const char* digits = "0123456789ABCDEF";
    std::string out;
    if (byte >= 16) out += digits[(byte >> 4) & 15];
    out += digits[byte & 15];
    return out;
}

std::string hexPadded(int byte) {
    static const char* digits = "0123456789ABCDEF";
    return {digits[(byte >> 4) & 15], digits[byte & 15]};
}

std::int16_t wrap16(double v) {
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(static_cast<long long>(v) & 0xFFFF));
}

std::int32_t wrap32(double v) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(static_cast<long long>(v) & 0xFFFFFFFFLL));
}

} // namespace

bool LoadMidiBuffer(const std::string& path, std::string& out) {
    out.clear();
    namespace fs = std::filesystem;
    std::error_code ec;
    if (path.empty() || !fs::is_regular_file(path, ec) || ec) return false;
    const auto size = fs::file_size(path, ec);
    if (ec || size > static_cast<std::uintmax_t>(kMaxMidiFileBytes)) return false;
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    out.resize(static_cast<std::size_t>(size));
    in.read(out.data(), static_cast<std::streamsize>(size));
    out.resize(static_cast<std::size_t>(in.gcount()));
    return true;
}

int ByteAt(std::string_view s, long long pos) {
    if (pos < 1 || pos > static_cast<long long>(s.size())) return -1;
    return static_cast<unsigned char>(s[static_cast<std::size_t>(pos - 1)]);
}

void ReadHeaderWords(MidiScanState& scan) {
    const std::string& buf = scan.midiBuffer;
    const int b9 = ByteAt(buf, 9), b10 = ByteAt(buf, 10), b11 = ByteAt(buf, 11), b12 = ByteAt(buf, 12);
    if (b9 >= 0 && b10 >= 0) scan.midiFormat = wrap16(vb::Val("&H" + hexUnpadded(b9) + hexUnpadded(b10)));
    if (b11 >= 0 && b12 >= 0)
        scan.midiTrackCount = wrap16(vb::Val("&H" + hexUnpadded(b11) + hexUnpadded(b12)));
}

bool ReadFirstTempo(MidiScanState& scan) {
    const std::string& buf = scan.midiBuffer;
    const int p = vb::InStr(buf, vb::Bytes({0xFF, 0x51}));
    if (p == 0) return false;
    const int d1 = ByteAt(buf, 13), d2 = ByteAt(buf, 14);
    if (d1 >= 0 && d2 >= 0) scan.ticksPerSixteenth = vb::Val("&H" + hexPadded(d1) + hexPadded(d2)) / 4;
    const int t1 = ByteAt(buf, p + 3LL), t2 = ByteAt(buf, p + 4LL), t3 = ByteAt(buf, p + 5LL);
    if (t1 >= 0 && t2 >= 0 && t3 >= 0)
        scan.tempoMicros = vb::Val("&H" + hexPadded(t1) + hexPadded(t2) + hexPadded(t3));
    if (scan.tempoMicros != 0)
        scan.songBpm = static_cast<float>(vb::Val(vb::Format(60000000.0 / scan.tempoMicros, "0.00")));
    if (scan.ticksPerSixteenth != 0) scan.msPerTick = (scan.tempoMicros / scan.ticksPerSixteenth) / 4000.0;
    return true;
}

void GetWords(App& app, std::string_view chunk) {
    WordModel& w = app.s.words;
    const double msPerTick = app.s.scan.msPerTick;
    if (w.wordList.empty()) w.wordList.emplace_back();
    if (w.shownLines.empty()) w.shownLines.emplace_back();
    double elapsed = 0;
    int count = 0, line = 0;
    std::int32_t column = 0;
    int searchPos = 1;
    const std::string ff(1, '\xFF');
    for (;;) {
        const int p = vb::InStr(searchPos, chunk, ff);
        if (p == 0) break;
        const long long pos = p;
        const int length = std::max(0, ByteAt(chunk, pos + 2));
        std::string raw;
        if (ByteAt(chunk, pos + 1) == 1 && ByteAt(chunk, pos + 3) != '@')
            raw = std::string(vb::MidView(chunk, pos + 3, length));
        // The delta in front of the next event, whose own FF ends the number.
        auto b = [&](int k) { return std::max(0, ByteAt(chunk, pos + 3 + length + k)); };
        const long long b1 = b(0), b2 = b(1), b3 = b(2), b4 = b(3);
        long long delta;
        if (b2 == 255)
            delta = b1;
        else if (b3 == 255)
            delta = ((b1 & 127) << 7) | (b2 & 127);
        else if (b4 == 255)
            delta = ((b1 & 127) << 14) | ((b2 & 127) << 7) | (b3 & 127);
        else
            delta = ((b1 & 127) << 21) | ((b2 & 127) << 14) | ((b3 & 127) << 7) | (b4 & 127);
        const double span = static_cast<double>(delta) * msPerTick;
        elapsed += span;

        // The counters are 16-bit: past their limit the last word and line are written again.
        if (count < kMaxWordIndex) ++count;
        w.wordList.resize(static_cast<std::size_t>(count) + 1);
        std::string text = songText(app, raw);
        const std::string trimmed = vb::Trim(text);
        if (trimmed == "\\" || trimmed == "/") {
            column = 0;
            if (line < kMaxLineIndex) ++line;
            w.shownLines.resize(static_cast<std::size_t>(line) + 1);
            text.clear();
            w.shownLines[static_cast<std::size_t>(line)].clear();
        } else if (!text.empty() && (text[0] == '\\' || text[0] == '/')) {
            column = 0;
            text = vb::LTrim(vb::Mid(text, 2));
            if (line < kMaxLineIndex) ++line;
            w.shownLines.resize(static_cast<std::size_t>(line) + 1);
            w.shownLines[static_cast<std::size_t>(line)] = text;
        } else {
            w.shownLines[static_cast<std::size_t>(line)] += text;
        }
        WordRec& word = w.wordList[static_cast<std::size_t>(count)];
        word.TimeMs = elapsed;
        word.SpanMs = span;
        word.Length = static_cast<std::int16_t>(utf8::charCount(text));
        word.Column = column;
        word.LineNo = static_cast<std::int16_t>(line);
        word.Text = std::move(text);
        column += word.Length;
        searchPos = p + 1;
    }
}

void ChooseLyricTrack(App& app) {
    const std::string& buf = app.s.scan.midiBuffer;
    const std::string wordsName = vb::Bytes({0xFF, 0x03, 0x05}) + "Words";
    const std::string textEvent = vb::Bytes({0xFF, 0x01});
    long long pos = 15;
    std::int32_t length = 0;
    std::string_view chunk;
    // Chunks already found wanting; the walk can come back to them when lengths run backwards.
    std::set<std::pair<const char*, std::size_t>> rejected;
    for (int track = 1; track <= app.s.scan.midiTrackCount; ++track) {
        const int l1 = ByteAt(buf, pos + 4), l2 = ByteAt(buf, pos + 5), l3 = ByteAt(buf, pos + 6),
                  l4 = ByteAt(buf, pos + 7);
        if (l1 >= 0 && l2 >= 0 && l3 >= 0 && l4 >= 0)
            length = wrap32(vb::Val("&H" + hexPadded(l1) + hexPadded(l2) + hexPadded(l3) + hexPadded(l4)));
        // A negative length or a position before the file's start cannot cut a chunk: the last one stays.
        if (length >= 0 && pos + 8 >= 1) chunk = vb::MidView(buf, pos + 8, length);
        if (!rejected.count({chunk.data(), chunk.size()})) {
            if (vb::InStr(chunk, wordsName) > 0) {
                GetWords(app, chunk);
                return;
            }
            int hits = 0;
            for (int from = 1; hits < 50; ++hits) {
                const int hit = vb::InStr(from, chunk, textEvent);
                if (hit == 0) break;
                from = hit + 1;
            }
            if (hits == 50) {
                GetWords(app, chunk);
                return;
            }
            rejected.insert({chunk.data(), chunk.size()});
        }
        const long long next = pos + static_cast<long long>(length) + 8;
        if (next >= std::numeric_limits<std::int32_t>::min() &&
            next <= std::numeric_limits<std::int32_t>::max())
            pos = next;
    }
    GetWords(app, buf);
}

int WidestLine(App& app) {
    auto* picture = app.ui.Picture3;
    bool numeric = false;
    const int size = QString("36").toInt(&numeric);
    QFont font = picture->font();
    font.setPointSize(numeric ? size : 24);
    picture->setFont(font);
    const QFontMetrics metrics(font);
    int widest = 0, widestIndex = -1;
    const auto& lines = app.s.words.shownLines;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const int width = metrics.horizontalAdvance(QString::fromStdString(lines[i]));
        if (widestIndex < 0 || width > widest) {
            widest = width;
            widestIndex = static_cast<int>(i);
        }
    }
    return widestIndex;
}

void ChannelCensus(App& app) {
    const std::string& buf = app.s.scan.midiBuffer;
    for (int c = 0; c < 16; ++c) {
        ChannelInfo& ch = app.s.channelStrip[static_cast<std::size_t>(c)];
        ch.ChannelNo = -1;
        if (vb::InStr(buf, vb::Bytes({144 + c})) == 0) continue;
        ch.ChannelNo = static_cast<std::int16_t>(c + 1);

        // Program: the first change to a program other than 0.
        const std::string program = vb::Bytes({192 + c});
        for (int cursor = 21;;) {
            const int hit = vb::InStr(cursor + 1, buf, program);
            if (hit == 0) break;
            cursor = hit;
            const int value = ByteAt(buf, hit + 1LL);
            if (value >= 1) {
                ch.Program = static_cast<std::int16_t>(value);
                break;
            }
        }

        // Volume: the first controller 7 between 1 and 126, else 100.
        const std::string volume = vb::Bytes({176 + c, 7});
        for (int cursor = 21;;) {
            ch.Volume = 100;
            const int hit = vb::InStr(cursor + 1, buf, volume);
            if (hit == 0) break;
            cursor = hit;
            const int value = ByteAt(buf, hit + 2LL);
            if (value >= 1 && value < 127) {
                ch.Volume = static_cast<std::int16_t>(value);
                break;
            }
        }

        // Pan: the first controller 10, or the next one when the first is out of 1..127.
        const std::string pan = vb::Bytes({176 + c, 10});
        const int hit = vb::InStr(21 + 1, buf, pan);
        if (hit != 0) {
            const int value = ByteAt(buf, hit + 2LL);
            if (value >= 0) ch.Pan = static_cast<std::int16_t>(value);
            if (value >= 128 || value < 1) {
                const int again = vb::InStr(hit + 1, buf, pan);
                const int second = again != 0 ? ByteAt(buf, again + 2LL) : -1;
                if (second >= 0) ch.Pan = static_cast<std::int16_t>(second);
            }
        }
    }
}

void ApplyStripState(App& app) {
    for (std::size_t c = 0; c < 16; ++c) {
        ChannelInfo& ch = app.s.channelStrip[c];
        ch.first = 0;
        ch.Touched = 0;
        if (ch.ChannelNo < 0) {
            app.ui.Slider2[c]->setEnabled(false);
            app.ui.Slider2[c]->setValue(127);
        } else {
            app.ui.Slider2[c]->setValue(ch.Volume);
            app.ui.Slider2[c]->setEnabled(true);
            ch.Mode = 2;
            app.ui.Check1[c]->setChecked(true);
            app.ui.Check1[c]->setEnabled(true);
        }
        app.sys.clock.doEvents();
    }
}

std::string FileTempBytes() {
    std::string out = "MThd";
    out += vb::Bytes({0, 0, 0, 6, 0, 0, 0, 1, 0, 0x60});
    out += "MTrk";
    out += vb::Bytes({0, 0, 1, 0x80, 0});
    for (int k = 0; k < 128; ++k) out += vb::Bytes({0xC0, k, 0x01});
    out += vb::Bytes({0, 0xFF, 0x2F, 0});
    return out;
}

void CreateFileTemp(App& app) {
    if (app.appFolder.empty()) return;
    std::ofstream out(joinPath(app.appFolder, "filetemp.tmp"), std::ios::binary | std::ios::trunc);
    const std::string data = FileTempBytes();
    out.write(data.data(), static_cast<std::streamsize>(data.size()));
}

void ReadFile(App& app, const ScanLyricMarksHook& scanLyricMarks) {
    MidiScanState& scan = app.s.scan;
    LoadMidiBuffer(app.s.FileName, scan.midiBuffer);
    ChooseSongEncoding(app);
    ReadHeaderWords(scan);
    ReadFirstTempo(scan);
    ChooseLyricTrack(app);
    WidestLine(app);
    if (scanLyricMarks) scanLyricMarks(app);
    LoadMidiBuffer(app.s.FileName, scan.midiBuffer);
    ChannelCensus(app);
    ApplyStripState(app);
    CreateFileTemp(app);
}

} // namespace velvora::karaoke
