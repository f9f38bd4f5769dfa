// The contents of the frames the ID3v2.3 reader knows: text frames, track number, comment, URL,
// unsynchronised and synchronised lyrics, pictures, and the frames it gathers as they are.
#include "core/vb_text.h"
#include "tags/id3v23_reader.h"
#include "tags/text_list.h"

#include <QString>

#include <algorithm>
#include <cmath>
#include <limits>

namespace velvora::tags {

namespace {

const char* const kSeparator = "{::}";

// The frame after its encoding byte, one character for each byte.
std::string afterEncoding(const std::vector<std::uint8_t>& data) {
    return data.empty() ? std::string() : TagBytesToString(data.data() + 1, data.size() - 1);
}

// The frame after its encoding byte, split where a zero byte stands and where the separator text
// "{::}" itself occurs, as when each zero byte is first replaced by that separator.
std::vector<std::string> zeroSeparatedPieces(const std::vector<std::uint8_t>& data) {
    const std::string_view separator = kSeparator;
    std::vector<std::string> pieces;
    std::size_t from = 1;
    std::size_t i = 1;
    auto cut = [&](std::size_t end) {
        pieces.push_back(from < end ? TagBytesToString(data.data() + from, end - from) : std::string());
    };
    while (i < data.size()) {
        if (data[i] == 0) {
            cut(i);
            from = ++i;
        } else if (data.size() - i >= separator.size() &&
                   std::equal(separator.begin(), separator.end(),
                              data.begin() + static_cast<std::ptrdiff_t>(i))) {
            cut(i);
            i += separator.size();
            from = i;
        } else {
            ++i;
        }
    }
    cut(data.size());
    return pieces;
}

// A number as the track fields take it: blanks around, a sign, digits with one point, an exponent.
bool isNumeric(const std::string& text) {
    const std::string t = vb::Trim(text);
    std::size_t i = 0;
    if (i < t.size() && (t[i] == '+' || t[i] == '-')) ++i;
    bool digits = false, point = false;
    for (; i < t.size(); ++i) {
        if (t[i] >= '0' && t[i] <= '9')
            digits = true;
        else if (t[i] == '.' && !point)
            point = true;
        else
            break;
    }
    if (digits && i < t.size() && (t[i] == 'e' || t[i] == 'E')) {
        std::size_t j = i + 1;
        if (j < t.size() && (t[j] == '+' || t[j] == '-')) ++j;
        const std::size_t firstDigit = j;
        while (j < t.size() && t[j] >= '0' && t[j] <= '9') ++j;
        if (j > firstDigit) i = j;
    }
    return digits && i == t.size();
}

// Stores a numeric text into an 8-bit field, rounded half to even; values the field cannot hold
// leave it as it is.
void storeByte(const std::string& text, std::uint8_t& field) {
    if (!isNumeric(text)) return;
    const double v = std::nearbyint(vb::Val(text));
    if (v >= 0 && v <= 255) field = static_cast<std::uint8_t>(v);
}

// Each line feed of a lyric text becomes CR LF.
std::string withCrLf(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        if (c == '\n') out += '\r';
        out += c;
    }
    return out;
}

// 16-bit text after its byte order mark (little endian without one), as UTF-8.
std::string wideText(const std::vector<std::uint8_t>& bytes) {
    std::size_t i = 0;
    bool bigEndian = false;
    if (bytes.size() >= 2 && bytes[0] == 0xFE && bytes[1] == 0xFF) {
        bigEndian = true;
        i = 2;
    } else if (bytes.size() >= 2 && bytes[0] == 0xFF && bytes[1] == 0xFE) {
        i = 2;
    }
    std::u16string units;
    units.reserve((bytes.size() - i) / 2);
    for (; i + 1 < bytes.size(); i += 2)
        units.push_back(static_cast<char16_t>(bigEndian ? (bytes[i] << 8) | bytes[i + 1]
                                                        : (bytes[i + 1] << 8) | bytes[i]));
    return QString::fromUtf16(units.data(), static_cast<qsizetype>(units.size())).toStdString();
}

// One piece of text from `i` up to its terminator: a zero byte, or for 16-bit text a zero unit
// counted from the piece's start. `i` ends behind the terminator. False when the frame ended first.
bool takePiece(const std::vector<std::uint8_t>& d, std::size_t& i, bool wide, std::string& text) {
    std::vector<std::uint8_t> raw;
    bool ended = false;
    if (wide) {
        for (; i + 1 < d.size(); i += 2) {
            if (d[i] == 0 && d[i + 1] == 0) {
                i += 2;
                ended = true;
                break;
            }
            raw.push_back(d[i]);
            raw.push_back(d[i + 1]);
        }
        if (!ended) i = d.size();
        text = withCrLf(wideText(raw));
    } else {
        for (; i < d.size(); ++i) {
            if (d[i] == 0) {
                ++i;
                ended = true;
                break;
            }
            raw.push_back(d[i]);
        }
        text = withCrLf(TagBytesToString(raw.data(), raw.size()));
    }
    return ended;
}

} // namespace

void modID3V230Reader::decodeFrame(const std::string& id, const std::vector<std::uint8_t>& data,
                                   bool skipUnknown) {
    static const std::pair<const char*, std::string modID3V230Reader::*> textFrames[] = {
        {"TIT2", &modID3V230Reader::id3Title},    {"TPE1", &modID3V230Reader::id3Artist},
        {"TALB", &modID3V230Reader::id3Album},    {"TYER", &modID3V230Reader::id3Year},
        {"TCON", &modID3V230Reader::id3Genre},    {"TENC", &modID3V230Reader::id3EncodedBy},
        {"TCOM", &modID3V230Reader::id3Composer}, {"TOPE", &modID3V230Reader::id3OrigArtist},
        {"TCOP", &modID3V230Reader::id3Rights},   {"TIT3", &modID3V230Reader::id3Subtitle},
        {"TLAN", &modID3V230Reader::id3Language}};
    for (const auto& [frameId, field] : textFrames)
        if (id == frameId) {
            // The encoding byte is kept in the frame but not acted on.
            this->*field = afterEncoding(data);
            return;
        }

    if (id == "TRCK") {
        readTrack(afterEncoding(data));
    } else if (id == "COMM") {
        const std::vector<std::string> pieces = zeroSeparatedPieces(data);
        if (pieces.size() > 1) id3Comment = pieces[1];
    } else if (id == "WXXX") {
        const std::vector<std::string> pieces = zeroSeparatedPieces(data);
        if (pieces.size() > 1) appendJoined(id3Urls, pieces[0] + "->" + pieces[1]);
    } else if (id == "USLT") {
        const std::vector<std::string> pieces = zeroSeparatedPieces(data);
        if (pieces.size() > 1) id3UnsyncLyrics = pieces[pieces.size() - 2] + "\r\n" + pieces.back();
    } else if (id == "SYLT") {
        id3SyncText = readSylt(data);
    } else if (id == "APIC") {
        readPicture(data);
    } else if (!skipUnknown) {
        std::string text = afterEncoding(data);
        for (char& c : text)
            if (c == '\0') c = ' ';
        const std::string name =
            TagBytesToString(reinterpret_cast<const std::uint8_t*>(id.data()), id.size());
        appendJoined(id3Others, name + "=\"" + text + "\"");
    }
}

void modID3V230Reader::readTrack(const std::string& text) {
    const std::size_t slash = text.find('/');
    if (slash == std::string::npos) {
        storeByte(text, id3Track);
        return;
    }
    storeByte(text.substr(0, slash), id3Track);
    const std::size_t next = text.find('/', slash + 1);
    storeByte(text.substr(slash + 1, next == std::string::npos ? std::string::npos : next - slash - 1),
              id3TrackTotal);
}

void modID3V230Reader::readPicture(const std::vector<std::uint8_t>& data) {
    // Encoding byte, MIME type up to a zero byte, picture type, description up to a zero byte.
    std::size_t i = 1;
    while (i < data.size() && data[i] != 0) ++i;
    if (i + 1 >= data.size()) return;
    const int type = data[i + 1];
    const std::size_t from = i + 2;
    std::size_t end = from;
    while (end < data.size() && data[end] != 0) ++end;
    appendJoined(id3PicTypes, PictureTypeName(type));
    appendJoined(id3PicInfo, TagBytesToString(data.data() + from, end - from));
}

std::string modID3V230Reader::readSylt(const std::vector<std::uint8_t>& data) {
    syltEvents.assign(1, SyltEvent{});
    syltEventCount = 0;
    syltLines.clear();
    // Encoding, language (3), time stamp format, content type, then the descriptor.
    if (data.size() < 6) return {};
    const bool wide = data[0] == 1;
    std::size_t i = 6;
    takePiece(data, i, wide, syltDescriptor);

    std::string whole;
    std::string text;
    while (i < data.size() && syltEventCount < std::numeric_limits<std::int16_t>::max()) {
        if (!takePiece(data, i, wide, text)) break;
        // A piece whose time stamp the frame does not hold is dropped.
        if (data.size() - i < 4) break;
        const std::uint32_t stamp = PlainSize(data.data() + i);
        i += 4;
        whole += text;
        syltEvents.back() = SyltEvent{static_cast<float>(stamp), text};
        syltEvents.emplace_back();
        ++syltEventCount;
    }

    if (!whole.empty()) {
        std::size_t from = 0;
        for (;;) {
            const std::size_t hit = whole.find("\r\n", from);
            syltLines.push_back(
                whole.substr(from, hit == std::string::npos ? std::string::npos : hit - from));
            if (hit == std::string::npos) break;
            from = hit + 2;
        }
    }
    return whole;
}

} // namespace velvora::tags
