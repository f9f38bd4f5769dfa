#include "karaoke/song_text.h"

#include "core/controller.h"
#include "core/files.h"
#include "core/utf8.h"
#include "karaoke/karaoke_header.h"

#include <array>
#include <filesystem>
#include <fstream>

namespace velvora::karaoke {

namespace {

constexpr std::array<EncodingChoice, 12> kChoices{{
    {"Automatica", ""},
    {"Unicode (UTF-8)", "UTF-8"},
    {"Europa occidentale (Windows-1252)", "WINDOWS-1252"},
    {"Giapponese (Shift-JIS)", "SHIFT_JIS"},
    {"Giapponese (EUC-JP)", "EUC-JP"},
    {"Coreano (EUC-KR)", "EUC-KR"},
    {"Cinese semplificato (GBK)", "GBK"},
    {"Cinese tradizionale (Big5)", "BIG5"},
    {"Cirillico (Windows-1251)", "WINDOWS-1251"},
    {"Cirillico (KOI8-R)", "KOI8-R"},
    {"Greco (Windows-1253)", "WINDOWS-1253"},
    {"Europa centrale (Windows-1250)", "WINDOWS-1250"},
}};

// A variable-length number at `at`; false past the end or beyond four bytes.
bool readVarLen(std::string_view data, std::size_t& at, std::uint32_t& value) {
    value = 0;
    for (int i = 0; i < 4; ++i) {
        if (at >= data.size()) return false;
        const auto b = static_cast<unsigned char>(data[at++]);
        value = (value << 7) | (b & 0x7F);
        if (!(b & 0x80)) return true;
    }
    return false;
}

std::uint32_t bigEndian32(std::string_view data, std::size_t at) {
    std::uint32_t v = 0;
    for (std::size_t i = 0; i < 4; ++i) v = (v << 8) | static_cast<unsigned char>(data[at + i]);
    return v;
}

// The text events of one track's bytes, appended to `out`.
void textEventsOfTrack(std::string_view track, std::string& out) {
    std::size_t at = 0;
    unsigned char running = 0;
    while (at < track.size()) {
        std::uint32_t delta = 0;
        if (!readVarLen(track, at, delta) || at >= track.size()) return;
        auto status = static_cast<unsigned char>(track[at]);
        if (status == 0xFF) {
            if (at + 1 >= track.size()) return;
            const auto type = static_cast<unsigned char>(track[at + 1]);
            at += 2;
            std::uint32_t length = 0;
            if (!readVarLen(track, at, length) || length > track.size() - at) return;
            if (type >= 1 && type <= 7) {
                out.append(track.substr(at, length));
                out += '\n';
            }
            at += length;
            continue;
        }
        if (status == 0xF0 || status == 0xF7) {
            ++at;
            std::uint32_t length = 0;
            if (!readVarLen(track, at, length) || length > track.size() - at) return;
            at += length;
            continue;
        }
        if (status & 0x80) {
            running = status;
            ++at;
        } else if (!running) {
            return; // data bytes with no status: not a track we can walk
        }
        const unsigned char kind = running & 0xF0;
        at += (kind == 0xC0 || kind == 0xD0) ? 1 : 2;
    }
}

} // namespace

std::string AllTextEvents(std::string_view midiFile) {
    std::string out;
    std::size_t at = 0;
    while (at + 8 <= midiFile.size()) {
        const std::string_view id = midiFile.substr(at, 4);
        const std::uint32_t length = bigEndian32(midiFile, at + 4);
        at += 8;
        const std::size_t size = std::min<std::size_t>(length, midiFile.size() - at);
        if (id == "MTrk") textEventsOfTrack(midiFile.substr(at, size), out);
        at += size;
    }
    return out;
}

std::span<const EncodingChoice> encodingChoices() {
    return kChoices;
}

std::string forcedEncodingFile(const App& app, const std::string& songPath) {
    const std::string name = GetFileName(songPath);
    if (name.empty()) return {};
    return resolveCaseInsensitive(app.appFolder, "SongCustom/" + name + ".encoding");
}

std::string forcedEncoding(const App& app, const std::string& songPath) {
    const std::string path = forcedEncodingFile(app, songPath);
    if (path.empty()) return {};
    std::ifstream in(path, std::ios::binary);
    std::string line;
    if (!in || !std::getline(in, line)) return {};
    while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
    for (const EncodingChoice& c : kChoices)
        if (line == c.encoding) return line;
    return {}; // not one the menu offers: detection decides
}

void ChooseSongEncoding(App& app) {
    const std::string forced = forcedEncoding(app, app.s.FileName);
    app.s.textEncoding = forced.empty() ? utf8::detectEncoding(AllTextEvents(app.s.scan.midiBuffer)) : forced;
}

std::string songText(const App& app, std::string_view bytes) {
    return utf8::decode(bytes, app.s.textEncoding);
}

void MnuEncoding_Click(App& app, const std::string& encoding) {
    Session& s = app.s;
    if (s.FileName.empty()) return;
    const std::string path = forcedEncodingFile(app, s.FileName);
    std::error_code ec;
    if (encoding.empty()) {
        std::filesystem::remove(path, ec);
    } else {
        std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ec);
        std::ofstream(path, std::ios::binary | std::ios::trunc) << encoding << "\r\n";
    }
    if (!isMidiSong(s.FileName)) {
        s.textEncoding = encoding; // an audio song's or a package's lyric reads it when it is read
        return;
    }
    ChooseSongEncoding(app);
    if (s.midiActive) return;
    // The title boxes now; the words with the stream that the next play builds.
    GetKaraokeHeader(app);
    s.midiStreamStale = true;
}

} // namespace velvora::karaoke
