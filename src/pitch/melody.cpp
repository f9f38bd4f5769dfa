#include "pitch/melody.h"

#include "engine/api.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>

namespace velvora::pitch {

namespace {

constexpr int kDrumChannel = 9;
// A note starting this close to a lyric mark sings that mark's syllable.
constexpr double kMarkReach = 0.05;

// The marks a note start of each channel answers.
int channelFollowingMarks(const std::vector<NoteEvent>& events, const std::vector<double>& marks) {
    std::array<std::vector<double>, 16> starts;
    for (const NoteEvent& e : events)
        if (e.velocity > 0 && e.channel >= 0 && e.channel < 16) starts[e.channel].push_back(e.seconds);
    int best = kMelodyChannel;
    int bestMatched = 0;
    for (int c = 0; c < 16; ++c) {
        if (c == kDrumChannel || starts[c].empty()) continue;
        int matched = 0;
        for (double m : marks) {
            const auto at = std::lower_bound(starts[c].begin(), starts[c].end(), m - kMarkReach);
            if (at != starts[c].end() && *at <= m + kMarkReach) ++matched;
        }
        // The melody channel keeps a tie.
        if (matched > bestMatched || (matched == bestMatched && matched > 0 && c == kMelodyChannel)) {
            best = c;
            bestMatched = matched;
        }
    }
    return best;
}

} // namespace

Melody melodyOf(const std::vector<NoteEvent>& events, const std::vector<double>& marks) {
    Melody melody;
    const int channel = marks.empty() ? kMelodyChannel : channelFollowingMarks(events, marks);
    // The keys sounding on the channel, each with how many times it was struck and not yet ended;
    // between two events the highest of them is the melody.
    std::map<int, int> sounding;
    double since = 0;
    bool struck = false; // the highest key was struck at `since`: a note of its own begins
    auto close = [&](double until) {
        if (sounding.empty() || until <= since) return;
        const int key = sounding.rbegin()->first;
        if (!struck && !melody.notes.empty() && melody.notes.back().key == key &&
            melody.notes.back().end == since)
            melody.notes.back().end = until;
        else
            melody.notes.push_back({since, until, key});
        struck = false;
    };
    for (const NoteEvent& e : events) {
        if (e.channel != channel || e.key < 0 || e.key > 127) continue;
        close(e.seconds);
        since = e.seconds;
        if (e.velocity > 0) {
            ++sounding[e.key];
            if (sounding.rbegin()->first == e.key) struck = true;
        } else if (auto it = sounding.find(e.key); it != sounding.end() && --it->second == 0) {
            sounding.erase(it);
        }
    }
    if (!melody.notes.empty()) melody.channel = channel;
    return melody;
}

Melody ReadMelody(const std::string& path) {
    const HSTREAM h = BASS_MIDI_StreamCreateFile(0, path.c_str(), 0, 0, BASS_STREAM_DECODE, 44100);
    if (!h) return {};
    std::vector<NoteEvent> events;
    SongClock clock{{0, 0.0}};
    const DWORD count = BASS_MIDI_StreamGetEvents(h, -1, MIDI_EVENT_NOTE, nullptr);
    if (count != ~DWORD{0} && count > 0) {
        std::vector<BASS_MIDI_EVENT> raw(count);
        BASS_MIDI_StreamGetEvents(h, -1, MIDI_EVENT_NOTE, raw.data());
        events.reserve(count);
        for (const BASS_MIDI_EVENT& e : raw) {
            const double seconds = BASS_ChannelBytes2Seconds(h, e.pos);
            events.push_back({seconds, static_cast<int>(e.chan), static_cast<int>(e.param & 0xff),
                              static_cast<int>((e.param >> 8) & 0xff)});
            if (clock.empty() || e.tick > clock.back().first) clock.emplace_back(e.tick, seconds);
        }
    }
    // Lyric events, or the text events of a karaoke file (its "@" lines are not words).
    std::vector<double> marks;
    for (DWORD type : {BASS_MIDI_MARK_LYRIC, BASS_MIDI_MARK_TEXT}) {
        const DWORD n = static_cast<DWORD>(BASS_MIDI_StreamGetMark(h, type, ~DWORD{0}, nullptr));
        for (DWORD i = 0; i < n; ++i) {
            BASS_MIDI_MARK mark{};
            if (!BASS_MIDI_StreamGetMark(h, type, i, &mark)) break;
            if (mark.text && mark.text[0] == '@') continue;
            marks.push_back(BASS_ChannelBytes2Seconds(h, mark.pos));
        }
        if (!marks.empty()) break;
    }
    BASS_StreamFree(h);
    std::sort(marks.begin(), marks.end());
    Melody melody = melodyOf(events, marks);
    melody.clock = std::move(clock);
    return melody;
}

double secondsAtTick(const SongClock& clock, double tick) {
    if (clock.size() < 2) return 0;
    auto after =
        std::upper_bound(clock.begin(), clock.end(), tick,
                         [](double t, const std::pair<std::uint64_t, double>& p) { return t < p.first; });
    if (after == clock.begin()) ++after;
    if (after == clock.end()) --after;
    const auto& [t1, s1] = *after;
    const auto& [t0, s0] = *std::prev(after);
    return s0 + (tick - static_cast<double>(t0)) * (s1 - s0) / static_cast<double>(t1 - t0);
}

int keyAt(const Melody& melody, double seconds) {
    const auto after = std::upper_bound(melody.notes.begin(), melody.notes.end(), seconds,
                                        [](double t, const MelodyNote& n) { return t < n.start; });
    if (after == melody.notes.begin()) return -1;
    const MelodyNote& n = *std::prev(after);
    return seconds < n.end ? n.key : -1;
}

} // namespace velvora::pitch
