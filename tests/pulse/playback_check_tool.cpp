// velvora-playback-check: records a sound server's monitor, and compares such a recording with the
// same song rendered offline by the engine. scripts/check-playback drives it around the real
// program.
//
//   velvora-playback-check record SOURCE OUT.raw
//       records SOURCE (16-bit stereo, 44100 Hz) until its standard input closes; exits 3 when the
//       recorder itself lost audio (the recording then says nothing of the player)
//   velvora-playback-check length SONG [SOUNDFONT]
//       prints the song's length in seconds, as rendered
//   velvora-playback-check render SONG OUT.f32 [SOUNDFONT]
//       writes the offline render (32-bit float stereo), to look at beside a recording
//   velvora-playback-check compare SONG RECORDING.raw [SOUNDFONT]
//       renders SONG offline (MIDI through SOUNDFONT) and reports every break of the recording
//       inside the song (a run of digital silence that the render does not hold there) and every
//       half second that does not match the render; exits 1 when there is any
#include "engine/api.h"
#include "engine/testing.h"
#include "pulse/monitor_recorder.h"
#include "pulse/playback_check.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

namespace {

int record(const std::string& source, const std::string& out) {
    pulsetest::MonitorRecorder recorder;
    if (!recorder.start(source, 600)) {
        std::cerr << "cannot record " << source << "\n";
        return 2;
    }
    std::cout << "recording" << std::endl;
    std::string line;
    while (std::getline(std::cin, line)) {
    }
    recorder.stop();
    const std::vector<std::int16_t> s = recorder.samples();
    std::ofstream(out, std::ios::binary)
        .write(reinterpret_cast<const char*>(s.data()), static_cast<std::streamsize>(s.size() * 2));
    std::cerr << "recorded " << s.size() / 2 / 44100.0 << " s, recorder overflows " << recorder.overflows()
              << "\n";
    return recorder.overflows() || recorder.broken() ? 3 : 0;
}

bool isMidi(const std::string& path) {
    std::string ext = path.substr(path.find_last_of('.') + 1);
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
    return ext == "mid" || ext == "kar" || ext == "midi";
}

std::vector<float> render(const std::string& song, const std::string& font) {
    engine::testing::useVirtualDevice(true);
    BASS_Init(0, 44100, 0, nullptr, nullptr);
    HSTREAM h = 0;
    if (isMidi(song)) {
        const HSOUNDFONT f = BASS_MIDI_FontInit(font.c_str(), 0);
        BASS_MIDI_FONT spec{f, -1, 0};
        BASS_MIDI_StreamSetFonts(0, &spec, 1);
        h = BASS_MIDI_StreamCreateFile(false, song.c_str(), 0, 0, BASS_STREAM_DECODE | BASS_SAMPLE_FLOAT,
                                       44100);
    } else {
        h = BASS_StreamCreateFile(false, song.c_str(), 0, 0, BASS_STREAM_DECODE | BASS_SAMPLE_FLOAT);
    }
    std::vector<float> out;
    if (!h) return out;
    BASS_CHANNELINFO info{};
    BASS_ChannelGetInfo(h, &info);
    std::vector<float> block(8192);
    for (;;) {
        const DWORD got = BASS_ChannelGetData(h, block.data(), static_cast<DWORD>(block.size() * 4));
        if (got == static_cast<DWORD>(-1) || got == 0) break;
        const std::size_t n = got / 4;
        if (info.chans == 1)
            for (std::size_t i = 0; i < n; ++i) out.insert(out.end(), {block[i], block[i]});
        else
            out.insert(out.end(), block.begin(), block.begin() + static_cast<long>(n));
    }
    BASS_Free();
    return out;
}

int compare(const std::string& song, const std::string& recording, const std::string& font) {
    std::ifstream in(recording, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::vector<std::int16_t> got(bytes.size() / 2);
    std::copy_n(bytes.data(), got.size() * 2, reinterpret_cast<char*>(got.data()));
    const std::vector<float> want = render(song, font);
    if (want.empty()) {
        std::cerr << "cannot render " << song << "\n";
        return 2;
    }
    const pulsetest::Stereo rec{got.data(), nullptr, got.size() / 2};
    const pulsetest::Stereo ref{nullptr, want.data(), want.size() / 2};
    const long start = pulsetest::findStart(rec, ref);
    if (start < 0) {
        std::cout << "the song is not in the recording\n";
        return 1;
    }
    const std::size_t heard = std::min(ref.frames, rec.frames - static_cast<std::size_t>(start));
    const auto breaks = pulsetest::breaksNotInReference(rec, ref, static_cast<std::size_t>(start));
    const auto bad = pulsetest::badWindows(rec, ref, static_cast<std::size_t>(start));
    std::cout << "song " << ref.frames / 44100.0 << " s, recorded from " << start / 44100.0 << " s, "
              << heard / 44100.0 << " s of it heard\n"
              << "breaks (silence the render does not hold): " << breaks.size();
    if (!breaks.empty()) std::cout << ": " << pulsetest::describe(breaks, static_cast<std::size_t>(start));
    std::cout << "\nhalf seconds unlike the render: " << bad.size();
    for (std::size_t i = 0; i < bad.size() && i < 8; ++i)
        std::cout << (i ? ", " : ": ") << bad[i] / 44100.0 << " s";
    std::cout << "\n";
    return breaks.empty() && bad.empty() ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> args(argv + 1, argv + argc);
    if (args.size() == 3 && args[0] == "record") return record(args[1], args[2]);
    const std::string systemFont = "/usr/share/sounds/sf2/default-GM.sf2";
    if ((args.size() == 2 || args.size() == 3) && args[0] == "length") {
        std::cout << render(args[1], args.size() == 3 ? args[2] : systemFont).size() / 2 / 44100.0 << "\n";
        return 0;
    }
    if ((args.size() == 3 || args.size() == 4) && args[0] == "render") {
        const std::vector<float> r = render(args[1], args.size() == 4 ? args[3] : systemFont);
        std::ofstream(args[2], std::ios::binary)
            .write(reinterpret_cast<const char*>(r.data()), static_cast<std::streamsize>(r.size() * 4));
        return r.empty() ? 2 : 0;
    }
    if ((args.size() == 3 || args.size() == 4) && args[0] == "compare")
        return compare(args[1], args[2], args.size() == 4 ? args[3] : systemFont);
    std::cerr << "usage: velvora-playback-check record SOURCE OUT.raw\n"
                 "       velvora-playback-check length SONG [SOUNDFONT]\n"
                 "       velvora-playback-check render SONG OUT.f32 [SOUNDFONT]\n"
                 "       velvora-playback-check compare SONG RECORDING.raw [SOUNDFONT]\n";
    return 2;
}
