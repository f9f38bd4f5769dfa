// Soak: a dense MIDI song played for a long time (30 minutes unless SOAK_MINUTES says otherwise) on
// a PulseAudio server of the bench's own, whose null sink's monitor is recorded, while stress-ng
// keeps both cores busy at normal priority (SOAK_LOAD=0 leaves the machine idle). Then the song is rendered
// offline and compared half second by half second with what the sink played.
//
// Reported: the underflows the server reported and the engine's ring underruns; glitches (half
// seconds that do not match the render, and runs of digital silence the render does not hold);
// the lateness of every lyric sync against the moment its mark was heard (the mark's frame in the
// render, placed in the recording by the alignment, timed by the recorder), as p50/p99/max.
#include "engine/api.h"
#include "engine/testing.h"
#include "pulse/monitor_recorder.h"
#include "pulse/playback_check.h"
#include "pulse/pulse_server.h"
#include "support/midi_writer.h"

#include <signal.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using SteadyClock = std::chrono::steady_clock;
constexpr unsigned kRate = 44100;
constexpr int kPpq = 480;
constexpr unsigned kUsPerQuarter = 500000; // 120 bpm: a quarter is half a second

// A busy General MIDI arrangement: drums in eighths, bass, chords on two channels, a melody in
// sixteenths, strings; a lyric mark on every quarter. `bars` bars of 4/4.
std::string denseSong(unsigned bars) {
    miditest::Track conductor, words, drums, bass, piano, guitar, melody, strings;
    conductor.tempo(0, kUsPerQuarter);
    bass.program(0, 1, 33);
    piano.program(0, 2, 0);
    guitar.program(0, 3, 25);
    melody.program(0, 4, 73);
    strings.program(0, 5, 48);
    const int chords[4][3] = {{60, 64, 67}, {57, 60, 64}, {53, 57, 60}, {55, 59, 62}};
    const int scale[8] = {72, 74, 76, 77, 79, 81, 83, 84};
    std::uint32_t pending[8] = {0};
    for (unsigned bar = 0; bar < bars; ++bar) {
        const int* chord = chords[bar % 4];
        for (int q = 0; q < 4; ++q) {
            words.lyric(pending[0], "w" + std::to_string(bar * 4 + q) + " ");
            pending[0] = kPpq;
            for (int e = 0; e < 2; ++e) {
                const int key = e == 0 ? (q % 2 ? 38 : 36) : 46;
                drums.on(pending[1], 9, key, 100).on(0, 9, 42, 70).off(kPpq / 4, 9, key).off(0, 9, 42);
                pending[1] = kPpq / 2 - kPpq / 4;
            }
            bass.on(pending[2], 1, chord[0] - 24, 100).off(kPpq - 10, 1, chord[0] - 24);
            pending[2] = 10;
            piano.on(pending[3], 2, chord[0], 80).on(0, 2, chord[1], 80).on(0, 2, chord[2], 80);
            piano.off(kPpq / 2, 2, chord[0]).off(0, 2, chord[1]).off(0, 2, chord[2]);
            pending[3] = kPpq / 2;
            guitar.on(pending[4], 3, chord[(q + 1) % 3] - 12, 70).off(kPpq - 20, 3, chord[(q + 1) % 3] - 12);
            pending[4] = 20;
            for (int s = 0; s < 4; ++s) {
                const int key = scale[(bar * 16 + q * 4 + s * 3) % 8];
                melody.on(pending[5], 4, key, 90).off(kPpq / 4 - 5, 4, key);
                pending[5] = 5;
            }
        }
        strings.on(pending[6], 5, chord[0] + 12, 60).on(0, 5, chord[2] + 12, 60);
        strings.off(kPpq * 4 - 30, 5, chord[0] + 12).off(0, 5, chord[2] + 12);
        pending[6] = 30;
    }
    words.end(kPpq);
    for (miditest::Track* t : {&drums, &bass, &piano, &guitar, &melody, &strings}) t->end(kPpq);
    conductor.end(static_cast<std::uint32_t>(bars * 4 * kPpq + kPpq));
    return miditest::smf(1, kPpq, {conductor, words, drums, bass, piano, guitar, melody, strings});
}

struct Syncs {
    std::mutex lock;
    std::vector<std::pair<DWORD, SteadyClock::time_point>> seen;
};

void onLyric(HSYNC, DWORD, DWORD data, void* user) {
    auto* s = static_cast<Syncs*>(user);
    const auto now = SteadyClock::now();
    std::lock_guard lock(s->lock);
    s->seen.push_back({data, now});
}

double percentile(std::vector<double> v, double p) {
    if (v.empty()) return 0;
    std::sort(v.begin(), v.end());
    return v[std::min(v.size() - 1, static_cast<std::size_t>(p * static_cast<double>(v.size() - 1) + 0.5))];
}

constexpr const char* kFont = "/usr/share/sounds/sf2/default-GM.sf2";

} // namespace

int main() {
    const double minutes = std::getenv("SOAK_MINUTES") ? std::atof(std::getenv("SOAK_MINUTES")) : 30.0;
    const auto bars = static_cast<unsigned>(std::ceil(minutes * 60 / 2.0)); // two seconds a bar
    const std::filesystem::path dir =
        std::filesystem::temp_directory_path() / ("velvora_soak_song_" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    const std::string song = (dir / "dense.mid").string();
    miditest::writeFile(song, denseSong(bars));

    pulsetest::PrivateServer server;
    if (!server.start("soak", {"sink_name=velvora_soak rate=44100"})) {
        std::printf("the bench's PulseAudio did not come up\n");
        return 1;
    }
    pulsetest::run({"pactl", "set-default-sink", "velvora_soak"});
    pulsetest::MonitorRecorder recorder;
    if (!recorder.start("velvora_soak.monitor", minutes * 60 + 30)) {
        std::printf("cannot record the sink\n");
        return 1;
    }
    const bool loaded = !std::getenv("SOAK_LOAD") || std::string(std::getenv("SOAK_LOAD")) != "0";
    const pid_t load =
        loaded && pulsetest::onPath("stress-ng") ? pulsetest::spawn({"stress-ng", "--cpu", "2"}) : -1;
    std::printf("load: %s\n", load > 0 ? "stress-ng --cpu 2" : "none (stress-ng is not installed)");

    engine::testing::useVirtualDevice(false);
    if (!BASS_Init(-1, kRate, 0, nullptr, nullptr)) return 1;
    const HSOUNDFONT font = BASS_MIDI_FontInit(kFont, 0);
    BASS_MIDI_FONT spec{font, -1, 0};
    BASS_MIDI_StreamSetFonts(0, &spec, 1);
    const HSTREAM h = BASS_MIDI_StreamCreateFile(false, song.c_str(), 0, 0, 0, kRate);
    Syncs syncs;
    BASS_ChannelSetSync(h, BASS_SYNC_MIDI_LYRIC, 0, onLyric, &syncs);
    std::vector<std::uint64_t> markFrames;
    for (int i = 0;; ++i) {
        BASS_MIDI_MARK mark{};
        if (!BASS_MIDI_StreamGetMark(h, BASS_MIDI_MARK_LYRIC, static_cast<DWORD>(i), &mark)) break;
        markFrames.push_back(mark.pos / 4);
    }
    const double length = BASS_ChannelBytes2Seconds(h, BASS_ChannelGetLength(h, BASS_POS_BYTE));
    std::printf("playing %.1f minutes of a dense song (%zu lyric marks)\n", length / 60, markFrames.size());
    BASS_ChannelPlay(h, false);
    const auto deadline = SteadyClock::now() + std::chrono::duration<double>(length + 30);
    while (BASS_ChannelIsActive(h) && SteadyClock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
    recorder.waitForFrames(recorder.frames() + kRate / 4, std::chrono::seconds(5));
    const engine::testing::OutputHealth health = engine::testing::outputHealth();
    BASS_Free();
    BASS_MIDI_FontFree(font);
    recorder.stop();
    if (load > 0) pulsetest::stopProcess(load);
    server.stop();

    // The same song, rendered offline.
    engine::testing::useVirtualDevice(true);
    BASS_Init(0, kRate, 0, nullptr, nullptr);
    const HSOUNDFONT font2 = BASS_MIDI_FontInit(kFont, 0);
    BASS_MIDI_FONT spec2{font2, -1, 0};
    BASS_MIDI_StreamSetFonts(0, &spec2, 1);
    const HSTREAM d =
        BASS_MIDI_StreamCreateFile(false, song.c_str(), 0, 0, BASS_STREAM_DECODE | BASS_SAMPLE_FLOAT, kRate);
    std::vector<float> want;
    std::vector<float> block(1 << 16);
    for (DWORD got;
         (got = BASS_ChannelGetData(d, block.data(), static_cast<DWORD>(block.size() * 4))) != DWORD(-1) &&
         got;)
        want.insert(want.end(), block.begin(), block.begin() + got / 4);
    BASS_Free();
    std::filesystem::remove_all(dir);
    std::printf("rendered %.1f s offline\n", static_cast<double>(want.size()) / 2 / kRate);

    const std::vector<std::int16_t> got = recorder.samples();
    const pulsetest::Stereo rec{got.data(), nullptr, got.size() / 2};
    const pulsetest::Stereo ref{nullptr, want.data(), want.size() / 2};
    const long start = pulsetest::findStart(rec, ref);
    // Without the song in the recording, every half second is a glitch.
    std::size_t glitches = std::max<std::size_t>(1, ref.frames / (kRate / 2));
    std::vector<double> lateness;
    if (start >= 0) {
        // A dropout delays the rest of the song in the recording: the comparison follows it, so
        // that one dropout counts once and not as every half second after it.
        const auto pieces = pulsetest::followAlignment(rec, ref, static_cast<std::size_t>(start));
        const auto bad = pulsetest::badWindows(rec, ref, pieces);
        const auto breaks = pulsetest::breaksNotInReference(rec, ref, pieces);
        glitches = bad.size() + breaks.size();
        std::printf("the song slipped in the recording %zu times\n", pieces.size() - 1);
        for (std::size_t k = 1; k < pieces.size() && k <= 8; ++k)
            std::printf("  at %.2f s of the song by %+ld frames\n",
                        static_cast<double>(pieces[k].refFrom) / kRate,
                        pieces[k].offset - pieces[k - 1].offset);
        std::printf("half seconds unlike the render: %zu; silences the render does not hold: %zu %s\n",
                    bad.size(), breaks.size(),
                    pulsetest::describe(breaks, static_cast<std::size_t>(start)).c_str());
        std::lock_guard lock(syncs.lock);
        for (const auto& [index, when] : syncs.seen) {
            if (index >= markFrames.size()) continue;
            const auto heard = recorder.heardAt(pulsetest::placeInRecording(pieces, markFrames[index]));
            lateness.push_back(std::chrono::duration<double, std::milli>(when - heard).count());
        }
        std::printf(
            "lyric syncs: %zu of %zu marks; lateness min %.1f ms, p50 %.1f ms, p99 %.1f ms, max %.1f ms\n",
            lateness.size(), markFrames.size(), percentile(lateness, 0), percentile(lateness, 0.5),
            percentile(lateness, 0.99), percentile(lateness, 1));
    } else {
        std::printf("the song is not in the recording\n");
    }
    std::printf("server underflows %u, ring underruns %u, device losses %u, recorder overflows %u\n",
                health.deviceUnderruns, health.ringUnderruns, health.failures, recorder.overflows());
    std::printf("RESULT soak minutes=%.1f underruns=%u glitches=%zu lyric_p99_ms=%.1f\n", length / 60,
                health.deviceUnderruns + health.ringUnderruns, glitches, percentile(lateness, 0.99));
    return 0;
}
