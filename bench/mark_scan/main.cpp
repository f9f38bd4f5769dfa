// The lyric scan's cost on a 1000-mark file, through the published operations: open a stream on
// it, then for every mark read the mark, seek the stream to the mark's byte position and read the
// tick back, as the karaoke scan does. Such a stream is never rendered, so no synthesizer is made.
#include "engine/api.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

std::string vlq(std::uint32_t v) {
    std::string out(1, static_cast<char>(v & 0x7f));
    while (v >>= 7) out.insert(out.begin(), static_cast<char>(0x80 | (v & 0x7f)));
    return out;
}

std::string be(std::uint32_t v, int bytes) {
    std::string out;
    for (int i = bytes - 1; i >= 0; --i) out += static_cast<char>((v >> (8 * i)) & 0xff);
    return out;
}

// Format 1: a conductor with a tempo change every 50 marks, a melody and a lyric track of `marks`
// syllables.
std::string songWithMarks(int marks) {
    std::string conductor, melody, words;
    for (int i = 0; i < marks / 50; ++i)
        conductor += vlq(i ? 50 * 240 : 0) + "\xff\x51\x03" + be(400000 + 20000 * (i % 7), 3);
    conductor += std::string("\x00\xff\x2f\x00", 4);
    for (int i = 0; i < marks; ++i) {
        const std::string syllable = "syl" + std::to_string(i);
        words += vlq(i ? 240 : 0) + "\xff\x05" + vlq(static_cast<std::uint32_t>(syllable.size())) + syllable;
        melody += vlq(i ? 20 : 0) + "\x90" + static_cast<char>(60 + i % 12) + "\x64";
        melody += vlq(220) + "\x80" + static_cast<char>(60 + i % 12) + std::string(1, '\0');
    }
    words += std::string("\x00\xff\x2f\x00", 4);
    melody += std::string("\x00\xff\x2f\x00", 4);
    std::string out = "MThd" + be(6, 4) + be(1, 2) + be(3, 2) + be(480, 2);
    for (const std::string* t : {&conductor, &melody, &words})
        out += "MTrk" + be(static_cast<std::uint32_t>(t->size()), 4) + *t;
    return out;
}

} // namespace

int main() {
    using Clock = std::chrono::steady_clock;
    const int kMarks = 1000, kRounds = 20;
    const auto path = std::filesystem::temp_directory_path() / "velvora-bench-mark-scan.mid";
    std::ofstream(path, std::ios::binary) << songWithMarks(kMarks);
    if (!BASS_Init(0, 44100, 0, nullptr, nullptr)) {
        std::printf("cannot open the no-sound device (error %d)\n", BASS_ErrorGetCode());
        return 1;
    }

    std::vector<double> times;
    std::uint64_t exactMarks = 0;
    for (int round = 0; round < kRounds; ++round) {
        const auto start = Clock::now();
        const HSTREAM stream =
            BASS_MIDI_StreamCreateFile(false, path.c_str(), 0, 0, BASS_STREAM_AUTOFREE, 44100);
        if (!stream) {
            std::printf("cannot open %s (error %d)\n", path.c_str(), BASS_ErrorGetCode());
            return 1;
        }
        BASS_MIDI_MARK mark{};
        const bool lyrics = BASS_MIDI_StreamGetMark(stream, BASS_MIDI_MARK_LYRIC, 5, &mark);
        for (DWORD i = 0; lyrics; ++i) {
            if (!BASS_MIDI_StreamGetMark(stream, BASS_MIDI_MARK_LYRIC, i, &mark)) break;
            BASS_ChannelSetPosition(stream, mark.pos, BASS_POS_BYTE);
            const QWORD tick = BASS_ChannelGetPosition(stream, BASS_POS_MIDI_TICK);
            exactMarks += tick == static_cast<QWORD>(i) * 240 && mark.text[0] == 's' ? 1 : 0;
        }
        times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
        BASS_StreamFree(stream);
    }
    BASS_Free();
    std::filesystem::remove(path);
    std::sort(times.begin(), times.end());
    const bool exact = exactMarks == static_cast<std::uint64_t>(kMarks) * kRounds;
    std::printf("marks=%d rounds=%d median_ms=%.3f max_ms=%.3f exact=%d\n", kMarks, kRounds,
                times[times.size() / 2], times.back(), exact ? 1 : 0);
    std::printf("RESULT mark_scan ms=%.3f max_ms=%.3f marks=%d exact=%d\n", times[times.size() / 2],
                times.back(), kMarks, exact ? 1 : 0);
    return exact ? 0 : 1;
}
