// One Encode pass with the package's settings (256 kbit/s CBR, stereo, 44100 Hz) on a 3-minute
// stereo WAV, beside the lame program's `lame -b 256 --cbr -m s` on the same file. Each is run
// three times, alternating, and its best time kept.
#include "encoding/encoding_flows.h"
#include "encoding/lame_encoder.h"
#include "encoding/raised_error.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kRate = 44100;
constexpr double kSeconds = 180;
constexpr int kRuns = 3;

void put(std::ofstream& out, std::uint32_t v, int bytes) {
    for (int i = 0; i < bytes; ++i) out.put(static_cast<char>((v >> (8 * i)) & 0xff));
}

// Chords that change every two seconds, with a little noise, so that the encoder has work to do.
void writeWav(const std::string& path) {
    const auto frames = static_cast<std::uint32_t>(kSeconds * kRate);
    std::ofstream out(path, std::ios::binary);
    out.write("RIFF", 4);
    put(out, 36 + frames * 4, 4);
    out.write("WAVEfmt ", 8);
    put(out, 16, 4);
    put(out, 1, 2);
    put(out, 2, 2);
    put(out, kRate, 4);
    put(out, kRate * 4, 4);
    put(out, 4, 2);
    put(out, 16, 2);
    out.write("data", 4);
    put(out, frames * 4, 4);
    std::uint32_t noise = 12345;
    std::vector<char> block;
    block.reserve(kRate * 4);
    for (std::uint32_t i = 0; i < frames; ++i) {
        const double t = double(i) / kRate;
        const double root = 110.0 * std::pow(2.0, double((i / (2 * kRate)) % 12) / 12.0);
        double l = 0, r = 0;
        for (int k = 1; k <= 4; ++k) {
            l += 0.12 / k * std::sin(2 * M_PI * root * (k + 0.5 * (k > 2)) * t);
            r += 0.12 / k * std::sin(2 * M_PI * root * 1.5 * k * t + k);
        }
        noise = noise * 1664525u + 1013904223u;
        const double n = (double(noise >> 8) / double(1u << 24) - 0.5) * 0.04;
        for (double v : {l + n, r - n}) {
            const auto s = static_cast<std::int16_t>(std::lround(std::clamp(v, -1.0, 1.0) * 32767));
            block.push_back(static_cast<char>(s & 0xff));
            block.push_back(static_cast<char>((s >> 8) & 0xff));
        }
        if (block.size() >= kRate * 4) {
            out.write(block.data(), static_cast<std::streamsize>(block.size()));
            block.clear();
        }
    }
    out.write(block.data(), static_cast<std::streamsize>(block.size()));
}

double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

} // namespace

int main() {
    namespace fs = std::filesystem;
    const fs::path dir = fs::temp_directory_path() / ("velvora_mp3_encode_" + std::to_string(getpid()));
    fs::create_directories(dir);
    const std::string wav = (dir / "song.wav").string();
    const std::string ours = (dir / "ours.mp3").string();
    const std::string theirs = (dir / "lame.mp3").string();
    writeWav(wav);

    velvora::encoding::cLameEncoder encoder("bench");
    velvora::encoding::usePackageSettings(encoder);
    encoder.WavFile(wav);
    encoder.Mp3File(ours);
    const std::string command = "lame --quiet -b 256 --cbr -m s '" + wav + "' '" + theirs + "'";

    double bestOurs = 1e9, bestLame = 1e9;
    for (int run = 0; run < kRuns; ++run) {
        double t = now();
        try {
            encoder.Encode();
        } catch (const velvora::encoding::RaisedError& e) {
            std::fprintf(stderr, "Encode failed: %d %s %s\n", e.number(), e.source().c_str(),
                         e.description().c_str());
            return 1;
        }
        bestOurs = std::min(bestOurs, now() - t);
        t = now();
        if (std::system(command.c_str()) != 0) {
            std::fprintf(stderr, "the lame program failed (is Debian's lame installed?)\n");
            return 1;
        }
        bestLame = std::min(bestLame, now() - t);
    }
    const auto oursBytes = fs::file_size(ours), lameBytes = fs::file_size(theirs);
    std::error_code ec;
    fs::remove_all(dir, ec);

    const double oursXrt = kSeconds / bestOurs, lameXrt = kSeconds / bestLame;
    std::printf("ours: %.0f s of audio in %.2f s (%.1fx real time), %ju bytes\n", kSeconds, bestOurs, oursXrt,
                static_cast<std::uintmax_t>(oursBytes));
    std::printf("lame -b 256 --cbr -m s: %.0f s of audio in %.2f s (%.1fx real time), %ju bytes\n", kSeconds,
                bestLame, lameXrt, static_cast<std::uintmax_t>(lameBytes));
    std::printf("RESULT mp3_encode ours_xrt=%.1f lame_xrt=%.1f ratio=%.2f\n", oursXrt, lameXrt,
                oursXrt / lameXrt);
    return 0;
}
