#include "explorer/song_reader.h"

#include "core/files.h"
#include "core/vb_text.h"
#include "engine/api.h"
#include "karaoke/midi_scanner.h"
#include "karaoke/song_identification.h"
#include "package/cdg_zip.h"
#include "tags/byte_source.h"
#include "tags/id3v23_reader.h"
#include "tags/mpeg_info.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <system_error>

namespace velvora::explorer {

namespace {

// The ID3v2.3 reader yields to a clock between frames and has one message box. On the scan's own
// thread there is no event loop to yield to and no window to show a box on: the box's text
// becomes the song's problem instead.
class NoTimer final : public platform::Timer {
  public:
    void setInterval(int ms) override { interval_ = ms; }
    int interval() const override { return interval_; }
    void setEnabled(bool) override {}
    bool enabled() const override { return false; }

  private:
    int interval_ = 0;
};

class ScanThreadClock final : public platform::Clock {
  public:
    long long nowMs() override { return 0; }
    void sleep(int) override {}
    void doEvents() override {}
    std::unique_ptr<platform::Timer> makeTimer(int, bool) override { return std::make_unique<NoTimer>(); }
    void post(std::function<void()>) override {}
    void waitThen(int, std::function<void()>) override {}
};

class ScanThreadDialogs final : public platform::Dialogs {
  public:
    explicit ScanThreadDialogs(std::string& problem) : problem_(problem) {}
    int msgBox(const std::string& text, int, const std::string&) override {
        problem_ = text;
        return platform::vbOK;
    }
    std::string inputBox(const std::string&, const std::string&, const std::string&) override { return {}; }
    std::optional<std::string> openFile(const platform::FileDialogRequest&) override { return std::nullopt; }
    std::optional<std::string> saveFile(const platform::FileDialogRequest&) override { return std::nullopt; }
    std::optional<std::string> chooseFolder(const platform::FileDialogRequest&) override {
        return std::nullopt;
    }

  private:
    std::string& problem_;
};

// An MP3 inside a ZIP file larger than this is not read for the list: far beyond any song, and
// what one scan step may hold in memory.
constexpr std::uint64_t kMaxZippedMp3Bytes = 256ull << 20;

std::string lower(std::string s) {
    for (char& c : s)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return s;
}

// A fixed-width field as text: cut at the first control byte (the raw bytes of the next event
// that a short field takes in), decoded, its padding trimmed.
std::string fieldText(std::string field) {
    const auto end =
        std::find_if(field.begin(), field.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; });
    field.erase(end, field.end());
    return vb::Trim(vb::decodeText(field));
}

// The karaoke title mark takes 20 raw bytes after "@T". When the mark opens a text or track-name
// event of a single length byte, as karaoke files write it, the title ends where that event ends,
// so the bytes of the events behind a short title do not show in the list.
void cutKaraokeTitle(const std::string& buffer, std::string& title) {
    const std::size_t at = buffer.find("@T");
    if (at == std::string::npos || at < 3) return;
    const auto status = static_cast<unsigned char>(buffer[at - 3]);
    const auto type = static_cast<unsigned char>(buffer[at - 2]);
    const auto length = static_cast<unsigned char>(buffer[at - 1]);
    if (status != 0xFF || (type != 0x01 && type != 0x03) || length < 2 || length >= 0x80) return;
    if (title.size() > static_cast<std::size_t>(length - 2)) title.resize(length - 2);
}

// Whole seconds of a decoding stream, which is freed; -1 when the engine could not open it (or is
// not up, as in a program that only scans).
int streamSeconds(HSTREAM h) {
    if (!h) return -1;
    const QWORD bytes = BASS_ChannelGetLength(h, BASS_POS_BYTE);
    const double seconds = bytes == static_cast<QWORD>(-1) ? -1 : BASS_ChannelBytes2Seconds(h, bytes);
    BASS_StreamFree(h);
    return seconds < 0 ? -1 : static_cast<int>(std::floor(seconds));
}

// The length of a song as the engine would play it.
int lengthSeconds(const std::string& path, bool midi) {
    return streamSeconds(midi ? BASS_MIDI_StreamCreateFile(0, path.c_str(), 0, 0, BASS_STREAM_DECODE, 44100)
                              : BASS_StreamCreateFile(0, path.c_str(), 0, 0, BASS_STREAM_DECODE));
}

void readMidi(SongRecord& r) {
    MidiScanState scan;
    if (!karaoke::LoadMidiBuffer(r.path, scan.midiBuffer) || scan.midiBuffer.empty()) {
        r.problem = "cannot be read";
        return;
    }
    if (scan.midiBuffer.compare(0, 4, "MThd") != 0) {
        r.problem = "not a MIDI file";
        return;
    }
    karaoke::ReadHeaderWords(scan);
    karaoke::FINDCOSTR(scan);
    karaoke::cercatitolo(scan);
    if (karaoke::FINDKARA(r.path)) {
        karaoke::TITOLOKARA(scan);
        cutKaraokeTitle(scan.midiBuffer, scan.fixTitle);
    }
    const std::string title = fieldText(scan.fixTitle);
    if (!title.empty()) r.title = title;
    r.artist = fieldText(scan.fixCopyright);
    r.seconds = lengthSeconds(r.path, true);
}

// A tag's text for one line of the list: control characters (the zero bytes of a UTF-16 text
// read byte by byte among them) dropped, the ends trimmed.
std::string tagText(std::string text) {
    text.erase(
        std::remove_if(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; }),
        text.end());
    return vb::Trim(text);
}

// The title and artist of an MP3's tags, at its end and at its head, and the length its headers
// tell, kept for when the engine cannot give one.
void readMp3Tags(SongRecord& r, tags::ByteSource& bytes, int& headerSeconds) {
    tags::mMP3 end;
    end.ReadEndTags(bytes);
    if (!tagText(end.info.Title).empty()) r.title = tagText(end.info.Title);
    r.artist = tagText(end.info.Artist);
    headerSeconds = end.durationSeconds;

    std::string problem;
    ScanThreadClock clock;
    ScanThreadDialogs dialogs(problem);
    tags::modID3V230Reader head(dialogs, clock);
    head.ReadID3v23(bytes, true, false);
    if (!tagText(head.id3Title).empty()) r.title = tagText(head.id3Title);
    if (!tagText(head.id3Artist).empty()) r.artist = tagText(head.id3Artist);
    if (!problem.empty()) r.problem = problem;
}

void readMp3(SongRecord& r) {
    int headerSeconds = 0;
    tags::FileBytes file(r.path);
    if (file.isOpen()) readMp3Tags(r, file, headerSeconds);
    r.seconds = lengthSeconds(r.path, false);
    if (r.seconds < 0 && headerSeconds > 0) r.seconds = headerSeconds;
}

// An MP3 already in memory, as one taken out of a ZIP file.
void readMp3Bytes(SongRecord& r, const std::string& mp3) {
    int headerSeconds = 0;
    tags::MemoryBytes bytes(reinterpret_cast<const std::uint8_t*>(mp3.data()), mp3.size());
    readMp3Tags(r, bytes, headerSeconds);
    r.seconds = mp3.empty()
                    ? -1
                    : streamSeconds(BASS_StreamCreateFile(1, mp3.data(), 0, mp3.size(), BASS_STREAM_DECODE));
    if (r.seconds < 0 && headerSeconds > 0) r.seconds = headerSeconds;
}

// A ZIP file holding a CD+G song: the MP3 inside is read in memory, never unpacked to disk.
void readCdgZip(SongRecord& r) {
    std::string mp3, problem;
    if (!package::readCdgZipAudio(r.path, kMaxZippedMp3Bytes, mp3, problem)) {
        r.problem = problem;
        return;
    }
    readMp3Bytes(r, mp3);
}

// A CD+G song is its graphics and the MP3 beside them: the title, artist and length are the MP3's.
void readCdg(SongRecord& r) {
    const std::string audio = twinBeside(r.path, ".mp3");
    if (audio.empty()) {
        r.problem = "has no MP3 of the same name beside it";
        return;
    }
    SongRecord mp3;
    mp3.path = audio;
    mp3.title = r.title;
    readMp3(mp3);
    r.title = mp3.title;
    r.artist = mp3.artist;
    r.seconds = mp3.seconds;
    r.problem = mp3.problem;
}

} // namespace

std::string songKind(const std::string& path) {
    const std::string ext = lower(std::filesystem::path(path).extension().string());
    if (ext == ".kar") return "KAR";
    if (ext == ".mid" || ext == ".midi") return "MIDI";
    if (ext == ".mp3") return "MP3";
    if (ext == ".wav") return "WAV";
    if (ext == ".nvk") return "NVK";
    if (ext == ".cdg") return "CD+G";
    return {};
}

bool isZipFile(const std::string& path) {
    return lower(std::filesystem::path(path).extension().string()) == ".zip";
}

std::string displayName(const std::string& path) {
    return vb::decodeText(std::filesystem::path(path).stem().string());
}

std::string readablePath(const std::string& path) {
    return vb::decodeText(path);
}

bool readPackageInfo(const std::string&, SongRecord&) {
    return false;
}

SongRecord readSong(const std::string& path) {
    SongRecord r;
    r.path = path;
    r.kind = isZipFile(path) ? "CD+G" : songKind(path);
    r.title = displayName(path);
    std::error_code ec;
    if (!std::filesystem::exists(path, ec)) {
        r.missing = true;
        return r;
    }
    if (r.kind == "KAR" || r.kind == "MIDI")
        readMidi(r);
    else if (r.kind == "MP3")
        readMp3(r);
    else if (r.kind == "NVK")
        readPackageInfo(path, r);
    else if (r.kind == "CD+G" && isZipFile(path))
        readCdgZip(r);
    else if (r.kind == "CD+G")
        readCdg(r);
    else if (r.kind == "WAV") {
        r.seconds = lengthSeconds(path, false);
        if (r.seconds < 0 && BASS_ErrorGetCode() != BASS_ERROR_INIT)
            r.problem = "cannot be read as a WAV file";
    }
    return r;
}

} // namespace velvora::explorer
