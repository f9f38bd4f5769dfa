// MIDI rendering speed: a dense three-minute song (fifteen melodic channels with chords and runs,
// plus drums) rendered through a decode-only MIDI stream with BASS_ChannelGetData, against the
// fluidsynth program rendering the same file with the same soundfont to a WAV file
// (`fluidsynth -ni -F out.wav FONT FILE`), both with FluidSynth's default reverb and chorus on.
// Speeds are in times real time (seconds of song per second of rendering).
//
// Font loading is left out of both figures: the engine's font samples are loaded by a warm-up
// stream before the timed one (the timed stream still makes its own synthesizer), and the
// fluidsynth figure is its run on the song less its run on an empty song (process start, font load
// and synthesizer set-up). Each figure is the best of a few runs.
#include "engine/api.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kFont = "/usr/share/sounds/sf2/default-GM.sf2";
constexpr int kPpq = 480;
constexpr int kSeconds = 180;

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

// Events of one track as (tick, bytes), written sorted with delta times.
struct TrackBuilder {
    std::vector<std::pair<std::uint32_t, std::string>> events;
    void add(std::uint32_t tick, std::initializer_list<int> bytes) {
        std::string b;
        for (int x : bytes) b += static_cast<char>(x);
        events.emplace_back(tick, b);
    }
    void note(std::uint32_t tick, std::uint32_t length, int ch, int key, int vel) {
        add(tick, {0x90 | ch, key, vel});
        add(tick + length, {0x80 | ch, key, 0});
    }
    std::string bytes() {
        std::stable_sort(events.begin(), events.end(),
                         [](const auto& a, const auto& b) { return a.first < b.first; });
        std::string out;
        std::uint32_t last = 0;
        for (const auto& [tick, data] : events) {
            out += vlq(tick - last) + data;
            last = tick;
        }
        out += vlq(0) + std::string("\xff\x2f\x00", 3);
        return "MTrk" + be(static_cast<std::uint32_t>(out.size()), 4) + out;
    }
};

// 120 beats a minute, so 360 beats in three minutes; a chord progression shared by every part.
std::string denseSong() {
    const std::uint32_t beats = kSeconds * 2;
    const int roots[] = {48, 45, 41, 43, 48, 52, 50, 43};
    const int programs[] = {0, 4, 24, 32, 48, 49, 52, 56, 61, 65, 71, 73, 80, 88, 89};
    std::vector<std::string> tracks;
    TrackBuilder conductor;
    conductor.events.emplace_back(0, std::string("\xff\x51\x03", 3) + be(500000, 3));
    tracks.push_back(conductor.bytes());
    int ch = 0;
    for (int part = 0; part < 15; ++part, ++ch) {
        if (ch == 9) ++ch;
        TrackBuilder t;
        t.add(0, {0xc0 | ch, programs[part]});
        t.add(0, {0xb0 | ch, 7, 90});
        t.add(0, {0xb0 | ch, 10, (part * 37) % 128});
        const int octave = 12 * (part % 3);
        for (std::uint32_t beat = 0; beat < beats; ++beat) {
            const int root = roots[(beat / 4) % 8] + octave;
            const std::uint32_t at = beat * kPpq;
            if (part % 3 == 0) { // chords on every beat
                for (int k : {0, 4, 7, 11}) t.note(at, kPpq - 20, ch, root + k, 70 + (beat % 4) * 10);
            } else if (part % 3 == 1) { // sixteenth-note runs
                for (int s = 0; s < 4; ++s)
                    t.note(at + s * kPpq / 4, kPpq / 4 - 10, ch, root + 12 + (s * 5 + part) % 12, 80);
            } else { // held pads with pitch bend movement
                if (beat % 4 == 0)
                    for (int k : {0, 7, 16}) t.note(at, 4 * kPpq - 40, ch, root + k, 60);
                t.add(at + kPpq / 2, {0xe0 | ch, 0, 64 + static_cast<int>(beat % 8)});
            }
        }
        tracks.push_back(t.bytes());
    }
    TrackBuilder drums;
    for (std::uint32_t beat = 0; beat < beats; ++beat) {
        const std::uint32_t at = beat * kPpq;
        drums.note(at, 60, 9, beat % 2 ? 38 : 36, 110);
        for (int e = 0; e < 4; ++e) drums.note(at + e * kPpq / 4, 30, 9, 42, 70 + 10 * (e % 2));
        if (beat % 8 == 7) drums.note(at + kPpq / 2, 120, 9, 49, 100);
    }
    tracks.push_back(drums.bytes());
    std::string out =
        "MThd" + be(6, 4) + be(1, 2) + be(static_cast<std::uint32_t>(tracks.size()), 2) + be(kPpq, 2);
    for (const std::string& t : tracks) out += t;
    return out;
}

std::string emptySong() {
    TrackBuilder t;
    return "MThd" + be(6, 4) + be(0, 2) + be(1, 2) + be(kPpq, 2) + t.bytes();
}

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Renders a whole stream; returns the frames rendered and notes the loudest sample.
std::uint64_t renderAll(HSTREAM h, int& peak) {
    std::vector<std::int16_t> buffer(2 * 4096);
    std::uint64_t frames = 0;
    for (;;) {
        const DWORD n = BASS_ChannelGetData(h, buffer.data(), static_cast<DWORD>(buffer.size() * 2));
        if (n == 0xFFFFFFFFu) break;
        for (DWORD i = 0; i < n / 2; ++i) peak = std::max(peak, std::abs(static_cast<int>(buffer[i])));
        frames += n / 4;
    }
    return frames;
}

double runFluidsynth(const std::string& song, const std::string& wav) {
    const std::string cmd = "fluidsynth -ni -F '" + wav + "' '" + kFont + "' '" + song + "' >/dev/null 2>&1";
    const auto start = Clock::now();
    const int status = std::system(cmd.c_str());
    const double took = secondsSince(start);
    return status == 0 ? took : -1.0;
}

} // namespace

int main() {
    if (!std::filesystem::exists(kFont)) {
        std::printf("no soundfont at %s\n", kFont);
        return 1;
    }
    const auto dir = std::filesystem::temp_directory_path() / "velvora-bench-midi-render";
    std::filesystem::create_directories(dir);
    const std::string song = (dir / "dense.mid").string(), empty = (dir / "empty.mid").string();
    std::ofstream(song, std::ios::binary) << denseSong();
    std::ofstream(empty, std::ios::binary) << emptySong();
    const int kRuns = 3;

    if (!BASS_Init(0, 44100, 0, nullptr, nullptr)) {
        std::printf("cannot open the no-sound device (error %d)\n", BASS_ErrorGetCode());
        return 1;
    }
    const HSOUNDFONT font = BASS_MIDI_FontInit(kFont, 0);
    if (!font) {
        std::printf("cannot load %s (error %d)\n", kFont, BASS_ErrorGetCode());
        return 1;
    }
    BASS_MIDI_FONT use{font, -1, 0};
    BASS_MIDI_StreamSetFonts(0, &use, 1);
    {
        // Warm-up: loads the font's samples, outside the timing.
        const auto start = Clock::now();
        const HSTREAM warm = BASS_MIDI_StreamCreateFile(false, song.c_str(), 0, 0, BASS_STREAM_DECODE, 44100);
        std::vector<std::int16_t> block(2 * 64);
        BASS_ChannelGetData(warm, block.data(), static_cast<DWORD>(block.size() * 2));
        BASS_StreamFree(warm);
        std::printf("font load (engine, excluded): %.3f s\n", secondsSince(start));
    }
    double ours = 1e9;
    double songSeconds = 0;
    for (int run = 0; run < kRuns; ++run) {
        const auto start = Clock::now();
        const HSTREAM h = BASS_MIDI_StreamCreateFile(false, song.c_str(), 0, 0, BASS_STREAM_DECODE, 44100);
        if (!h) {
            std::printf("cannot open the song (error %d)\n", BASS_ErrorGetCode());
            return 1;
        }
        int peak = 0;
        const std::uint64_t frames = renderAll(h, peak);
        const double took = secondsSince(start);
        BASS_StreamFree(h);
        songSeconds = frames / 44100.0;
        std::printf("engine run %d: %.2f s of song in %.3f s (peak %d of 32768)\n", run + 1, songSeconds,
                    took, peak);
        if (peak < 1000) {
            std::printf("the engine rendered (near) silence\n");
            return 1;
        }
        ours = std::min(ours, took);
    }
    BASS_Free();
    BASS_MIDI_FontFree(font);

    double full = 1e9, setup = 1e9;
    for (int run = 0; run < kRuns; ++run) {
        const double e = runFluidsynth(empty, (dir / "empty.wav").string());
        const double f = runFluidsynth(song, (dir / "dense.wav").string());
        if (e < 0 || f < 0) {
            std::printf("fluidsynth failed\n");
            return 1;
        }
        std::printf("fluidsynth run %d: song %.3f s, empty song (start-up and font load, excluded) %.3f s\n",
                    run + 1, f, e);
        full = std::min(full, f);
        setup = std::min(setup, e);
    }
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);

    const double fluid = std::max(1e-3, full - setup);
    const double oursXrt = songSeconds / ours, fluidXrt = songSeconds / fluid;
    std::printf("engine: %.3f s -> %.1fx real time; fluidsynth: %.3f s -> %.1fx real time\n", ours, oursXrt,
                fluid, fluidXrt);
    std::printf("RESULT midi_render ours_xrt=%.2f fluidsynth_xrt=%.2f ratio=%.3f\n", oursXrt, fluidXrt,
                oursXrt / fluidXrt);
    return 0;
}
