#include "karaoke/lyric_marks.h"

#include "core/vb_text.h"
#include "karaoke/song_text.h"

namespace velvora::karaoke {

namespace {

constexpr QWORD kNoPosition = static_cast<QWORD>(-1);

} // namespace

bool startsWithLineBreak(std::string_view text) {
    return !text.empty() && (text.front() == '/' || text.front() == '\\' || text.front() == '<');
}

LyricMark ReadLyricMark(const App& app, HSTREAM stream, int index) {
    // The probe fills the record, so an index past the last mark leaves the probed mark in it.
    BASS_MIDI_MARK mark{};
    DWORD type = 0;
    if (BASS_MIDI_StreamGetMark(stream, BASS_MIDI_MARK_LYRIC, 5, &mark))
        type = BASS_MIDI_MARK_LYRIC;
    else if (BASS_MIDI_StreamGetMark(stream, BASS_MIDI_MARK_TEXT, 20, &mark))
        type = BASS_MIDI_MARK_TEXT;
    LyricMark out;
    if (!type) return out;
    BASS_MIDI_StreamGetMark(stream, type, static_cast<DWORD>(index), &mark);
    if (mark.text) out.text = vb::UpperText(songText(app, mark.text));
    if (BASS_ChannelSetPosition(stream, mark.pos, BASS_POS_BYTE)) {
        const QWORD t = BASS_ChannelGetPosition(stream, BASS_POS_MIDI_TICK);
        if (t != kNoPosition) out.tick = t;
    }
    return out;
}

bool MarkStopRule::ends(int index, QWORD tick) {
    if (index < 25) return false;
    if (index > kLastMarkIndex) return true;
    ticks_[static_cast<std::size_t>(index)] = tick;
    return tick < ticks_[static_cast<std::size_t>(index - 1)];
}

} // namespace velvora::karaoke
