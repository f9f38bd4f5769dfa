// A take on a real sound server: the input is the monitor of the null sink the song plays into,
// so the voice file must hold what the backing file holds, a little later. The window runs on Qt's
// own event loop and timers, the engine on a PulseAudio server of the test's own.
#include "core/startup.h"
#include "engine/api.h"
#include "engine/testing.h"
#include "platform/qt/qt_services.h"
#include "platform/scripted/scripted_dialogs.h"
#include "platform/scripted/scripted_printer.h"
#include "platform/scripted/scripted_process.h"
#include "pulse/pulse_server.h"
#include "realdevice/real_window.h"
#include "recording/take_files.h"
#include "support/offscreen_app.h"
#include "ui/main_window.h"

#include <QEventLoop>
#include <QPushButton>
#include <QTimer>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using pulsetest::onPath;

void pumpFor(int ms) {
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

// The left channel as doubles.
std::vector<double> left(const std::vector<std::int16_t>& stereo) {
    std::vector<double> out(stereo.size() / 2);
    for (std::size_t i = 0; i < out.size(); ++i) out[i] = stereo[2 * i];
    return out;
}

// Normalised correlation of a[i] and b[i + lag] over the frames both have.
double correlation(const std::vector<double>& a, const std::vector<double>& b, long lag, std::size_t from,
                   std::size_t count) {
    double ab = 0, aa = 0, bb = 0;
    for (std::size_t i = from; i < from + count; ++i) {
        const long j = static_cast<long>(i) + lag;
        if (i >= a.size() || j < 0 || j >= static_cast<long>(b.size())) continue;
        const double x = a[i], y = b[static_cast<std::size_t>(j)];
        ab += x * y;
        aa += x * x;
        bb += y * y;
    }
    return aa > 0 && bb > 0 ? ab / std::sqrt(aa * bb) : 0.0;
}

std::size_t firstLoud(const std::vector<double>& v) {
    for (std::size_t i = 0; i < v.size(); ++i)
        if (std::abs(v[i]) > 2000) return i;
    return v.size();
}

class RealDeviceTake : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!onPath("pulseaudio") || !onPath("pactl")) GTEST_SKIP() << "pulseaudio or pactl is not installed";
        engine::testing::useVirtualDevice(false);
        testing::ensureQtApplication();
        ASSERT_TRUE(server_.start("take", {"sink_name=velvora_take rate=44100"}))
            << "the test's PulseAudio did not come up";
        pulsetest::run({"pactl", "set-default-sink", "velvora_take"});
        pulsetest::run({"pactl", "set-default-source", "velvora_take.monitor"});
    }
    void TearDown() override {
        BASS_RecordFree();
        BASS_Free();
        server_.stop();
    }
    pulsetest::PrivateServer server_;
};

TEST_F(RealDeviceTake, TheVoiceFileHoldsWhatWasPlayedWhenTheInputIsTheSinksMonitor) {
    testing::TempFolder folder;
    // Half a second of silence, then noise: its start is found in both files at once.
    std::vector<std::int16_t> song(44100, 0);
    const auto noise = recordingtest::voice(6 * 44100, 99, 12000);
    song.insert(song.end(), noise.begin(), noise.end());
    const fs::path wav = folder.path() / "Noise.wav";
    recordingtest::writeWav(wav, song);

    testing::RealWindow real(folder.str());
    platform::ScriptedDialogs& dialogs = real.dialogs;
    App& app = real.app;
    ASSERT_TRUE(real.start());
    ASSERT_EQ(engine::testing::outputName(), "PulseAudio");
    ASSERT_GE(app.s.inputIndex, 0) << "no capture input on the test's server";

    dialogs.answerFile(wav.string());
    app.ui.CmdCarica->click();
    ASSERT_TRUE(app.ui.CmdPlw->isEnabled()) << "the song did not open";
    app.ui.CmdRec->click();
    ASSERT_TRUE(app.s.recordArmed);
    app.ui.CmdPlw->click(); // returns after the count-in, with the song playing
    ASSERT_NE(app.s.capture.recChan.load(), 0u) << "the take's capture did not start";
    pumpFor(4000);
    dialogs.answer(platform::vbCancel); // keeps both files in TKKK
    dialogs.answer(platform::vbOK);
    app.ui.CmdStw->click();
    ASSERT_FALSE(app.s.recordArmed);

    const auto backing = recordingtest::readWav(folder.path() / "TKKK" / "BackingTrack.WAV");
    const auto vocal = recordingtest::readWav(folder.path() / "TKKK" / "vocaltrack.wav");
    ASSERT_TRUE(backing.canonical && vocal.canonical);
    EXPECT_EQ(vocal.fileSize, vocal.dataSize + 44u);
    const auto b = left(backing.samples), v = left(vocal.samples);
    ASSERT_GT(v.size(), 44100u * 3) << "less than three seconds recorded";
    const std::size_t bStart = firstLoud(b), vStart = firstLoud(v);
    ASSERT_LT(bStart, b.size()) << "the backing file is silent";
    ASSERT_LT(vStart, v.size()) << "nothing that was played reached the voice file";
    // Aligned by the noise's start, then to the sample by the best correlation nearby.
    const long coarse = static_cast<long>(vStart) - static_cast<long>(bStart);
    long best = coarse;
    double bestR = -1;
    for (long lag = coarse - 64; lag <= coarse + 64; ++lag) {
        const double r = correlation(b, v, lag, bStart, 44100);
        if (r > bestR) bestR = r, best = lag;
    }
    const std::size_t span =
        std::min<std::size_t>(b.size() - bStart, v.size() - std::min<std::size_t>(v.size(), vStart)) - 1;
    const double r = correlation(b, v, best, bStart, span);
    std::printf("voice file behind the backing file by %ld frames (%.1f ms); correlation %.4f over %.2f s\n",
                best, best * 1000.0 / 44100, r, span / 44100.0);
    EXPECT_GT(r, 0.99);
    EXPECT_TRUE(dialogs.unexpected().empty()) << "an unexpected box: " << dialogs.unexpected().front().text;
}

} // namespace
} // namespace velvora
