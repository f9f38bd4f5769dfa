// MIDI stream operations: creating a stream from a file, its marks and the events sent to it.
#include "api.h"
#include "common/errors.h"
#include "midi/midi_stream.h"
#include "midi/soundfont.h"
#include "root/engine.h"
#include "root/fonts.h"

namespace {

using namespace engine;

constexpr DWORD kAllIndex = ~DWORD{0};

std::shared_ptr<MidiStream> midiStream(DWORD handle) {
    return std::dynamic_pointer_cast<MidiStream>(Engine::instance().channel(handle));
}

} // namespace

HSTREAM BASS_MIDI_StreamCreateFile(BOOL mem, const void* file, QWORD offset, QWORD length, DWORD flags,
                                   DWORD freq) {
    if (!Engine::instance().deviceReady()) return fail<HSTREAM>(BASS_ERROR_INIT, 0);
    if (!file) return fail<HSTREAM>(BASS_ERROR_FILEOPEN, 0);
    if (freq != 0 && (freq < 1000 || freq > 384000)) return fail<HSTREAM>(BASS_ERROR_ILLPARAM, 0);
    std::string path;
    std::vector<std::uint8_t> bytes;
    if (mem) {
        if (length == 0 || length > (QWORD{1} << 31)) return fail<HSTREAM>(BASS_ERROR_FILEFORM, 0);
        const auto* p = static_cast<const std::uint8_t*>(file) + offset;
        bytes.assign(p, p + length);
    } else {
        if (offset != 0 || length != 0) return fail<HSTREAM>(BASS_ERROR_NOTAVAIL, 0);
        path = pathArgument(file, flags);
    }
    int error = 0;
    const std::vector<BASS_MIDI_FONT> defaults = Engine::instance().defaultFonts();
    auto stream = MidiStream::open(path, bytes, flags, freq,
                                   resolveFonts(defaults.data(), static_cast<DWORD>(defaults.size())), error);
    if (!stream) return fail<HSTREAM>(error ? error : BASS_ERROR_FILEFORM, 0);
    const DWORD h = Engine::instance().addChannel(stream);
    if (!h) return fail<HSTREAM>(BASS_ERROR_MEM, 0);
    stream->handle = h;
    return ok(h);
}

BOOL BASS_MIDI_StreamGetMark(HSTREAM handle, DWORD type, DWORD index, BASS_MIDI_MARK* mark) {
    auto stream = midiStream(handle);
    if (!stream) return fail(BASS_ERROR_HANDLE);
    const auto* list = stream->marks(type);
    if (!list) return fail(BASS_ERROR_ILLTYPE);
    if (index == kAllIndex) return ok(static_cast<BOOL>(list->size()));
    if (index >= list->size() || !mark) return fail(BASS_ERROR_ILLPARAM);
    const midi::SmfMark& m = (*list)[index];
    mark->track = m.track;
    mark->pos = static_cast<DWORD>(stream->bytesOfTick(m.tick));
    mark->text = m.text.c_str();
    return ok(1);
}

BOOL BASS_MIDI_StreamEvent(HSTREAM handle, DWORD chan, DWORD event, DWORD param) {
    auto stream = midiStream(handle);
    if (!stream) return fail(BASS_ERROR_HANDLE);
    if (event != MIDI_EVENT_VOLUME && event != MIDI_EVENT_TEMPO && event != MIDI_EVENT_TRANSPOSE)
        return fail(BASS_ERROR_ILLTYPE);
    if (!stream->sendEvent(chan, event, param)) return fail(BASS_ERROR_ILLPARAM);
    return ok(1);
}

DWORD BASS_MIDI_StreamGetEvent(HSTREAM handle, DWORD chan, DWORD event) {
    constexpr DWORD kFail = ~DWORD{0};
    auto stream = midiStream(handle);
    if (!stream) return fail(BASS_ERROR_HANDLE, kFail);
    if (event != MIDI_EVENT_TEMPO) return fail(BASS_ERROR_ILLTYPE, kFail);
    if (chan > 15) return fail(BASS_ERROR_ILLPARAM, kFail);
    return ok(stream->tempo());
}

DWORD BASS_MIDI_StreamGetEvents(HSTREAM handle, int track, DWORD filter, BASS_MIDI_EVENT* events) {
    constexpr DWORD kFail = ~DWORD{0};
    auto stream = midiStream(handle);
    if (!stream) return fail(BASS_ERROR_HANDLE, kFail);
    if (filter != MIDI_EVENT_NOTE) return fail(BASS_ERROR_ILLTYPE, kFail);
    if (track < -1) return fail(BASS_ERROR_ILLPARAM, kFail);
    DWORD count = 0;
    for (const midi::SmfEvent& e : stream->file().events()) {
        if (track >= 0 && e.track != static_cast<std::uint32_t>(track)) continue;
        if (e.command() != 0x90 && e.command() != 0x80) continue;
        if (events) {
            // A note-off, or a note-on of velocity 0, ends the note.
            const DWORD velocity = e.command() == 0x90 ? e.data2 : 0;
            events[count] = {MIDI_EVENT_NOTE, static_cast<DWORD>(e.data1) | velocity << 8,
                             static_cast<DWORD>(e.channel()), static_cast<DWORD>(e.tick),
                             static_cast<DWORD>(stream->bytesOfTick(e.tick))};
        }
        ++count;
    }
    return ok(count);
}
