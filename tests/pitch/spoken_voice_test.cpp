// The detector on a voice no one here wrote: espeak-ng speaking on one pitch (SSML prosody with no
// range), men's and women's voices from 70 to 330 Hz. The truth is each recording's own
// fundamental, found from the spectrum of its whole length at once: the frequency whose harmonics
// stand highest above the gaps between them (the highest of such octaves), a measure that has nothing in
// common with the detector's short windows.
#include "pitch/pitch_detector.h"

#include <gtest/gtest.h>

#include <kiss_fftr.h>
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace velvora::pitch {
namespace {

namespace fs = std::filesystem;

struct Recording {
    std::vector<float> samples;
    int rate = 0;
};

Recording speak(const fs::path& wav, const std::string& voice, int pitch) {
    const std::string ssml = "<speak><prosody pitch=\"" + std::to_string(pitch) +
                             "\" range=\"0\">aaaaaaaah. oooooooooh. eeeeeeeee. maaaaama.</prosody></speak>";
    const std::string command = "espeak-ng -m -v " + voice + " -w '" + wav.string() + "' '" + ssml + "'";
    Recording r;
    if (std::system(command.c_str()) != 0) return r;
    SF_INFO info{};
    SNDFILE* file = sf_open(wav.c_str(), SFM_READ, &info);
    if (!file || info.channels != 1) return r;
    r.samples.resize(static_cast<std::size_t>(info.frames));
    sf_readf_float(file, r.samples.data(), info.frames);
    sf_close(file);
    r.rate = info.samplerate;
    return r;
}

// The recording's power spectrum, its length padded to a power of two for a fine grid.
struct Spectrum {
    std::vector<double> power;
    double binHz = 0;

    explicit Spectrum(const Recording& r) {
        std::size_t n = 1;
        while (n < r.samples.size() * 4) n *= 2;
        std::vector<float> in(n, 0.0f);
        std::copy(r.samples.begin(), r.samples.end(), in.begin());
        std::vector<kiss_fft_cpx> out(n / 2 + 1);
        kiss_fftr_cfg cfg = kiss_fftr_alloc(static_cast<int>(n), 0, nullptr, nullptr);
        kiss_fftr(cfg, in.data(), out.data());
        kiss_fftr_free(cfg);
        for (const kiss_fft_cpx& c : out)
            power.push_back(static_cast<double>(c.r) * c.r + static_cast<double>(c.i) * c.i);
        binHz = static_cast<double>(r.rate) / static_cast<double>(n);
    }
    // The strongest bin within a tenth of a hertz-wide neighbourhood of `hz` (the grid's rounding).
    double at(double hz) const {
        const auto centre = static_cast<std::size_t>(std::lround(hz / binHz));
        double best = 0;
        for (std::size_t b = centre > 2 ? centre - 2 : 0; b <= centre + 2 && b < power.size(); ++b)
            best = std::max(best, power[b]);
        return best;
    }
};

// The energy at the harmonics of `f0` below 4 kHz less the energy half-way between them: an
// octave up loses the odd harmonics to the subtraction, an octave down gains only the gaps.
double harmonicContrast(const Spectrum& s, double f0) {
    double sum = 0;
    for (int h = 1; h * f0 < 4000; ++h) sum += s.at(h * f0) - s.at((h - 0.5) * f0);
    return sum;
}

double fundamentalOf(const Recording& r) {
    const Spectrum s(r);
    double best = 60, bestContrast = -1e300;
    for (double f = 60; f <= 400; f += 0.05) {
        const double c = harmonicContrast(s, f);
        if (c > bestContrast) best = f, bestContrast = c;
    }
    // An octave below the fundamental scores as high as the fundamental (its odd harmonics fall in
    // the gaps, which hold nothing); an octave above scores far lower. So go up while the octave
    // above holds nearly as much.
    while (harmonicContrast(s, 2 * best) > 0.7 * bestContrast) {
        best *= 2;
        bestContrast = harmonicContrast(s, best);
    }
    return best;
}

TEST(PitchDetector, AVoiceOfEspeakNgOnOnePitchIsReadWithinTwentyCentsOfItsFundamental) {
    const fs::path folder = fs::temp_directory_path() / ("velvora-spoken-" + std::to_string(::getpid()));
    fs::create_directories(folder);
    struct Voice {
        const char* name;
        int pitch;
    };
    for (const Voice v : {Voice{"en", 30}, Voice{"en", 60}, Voice{"en", 100}, Voice{"en+f3", 60},
                          Voice{"en+f3", 100}, Voice{"en+f5", 100}}) {
        SCOPED_TRACE(std::string(v.name) + " at " + std::to_string(v.pitch));
        const Recording r = speak(folder / "voice.wav", v.name, v.pitch);
        ASSERT_GT(r.samples.size(), 10000u) << "espeak-ng spoke";
        const double truth = fundamentalOf(r);

        PitchDetector detector(r.rate);
        std::vector<PitchFrame> frames;
        detector.feed(r.samples.data(), r.samples.size(), frames);
        std::vector<double> cents;
        for (const PitchFrame& f : frames)
            if (f.hz > 0) cents.push_back(std::abs(1200 * std::log2(f.hz / truth)));
        ASSERT_GT(cents.size(), frames.size() / 3) << "the vowels are read; truth " << truth << " Hz";
        std::sort(cents.begin(), cents.end());
        EXPECT_LT(cents[cents.size() / 2], 20.0) << "truth " << truth << " Hz";
    }
    fs::remove_all(folder);
}

} // namespace
} // namespace velvora::pitch
