// The program on a real sound server that goes away in the middle of a song: the window on Qt's own
// event loop and timers, the engine on a PulseAudio server of the test's own. The server is killed
// while a KAR song plays; the window must keep answering, the song must go on (in silence) with its
// position moving, and once the server is back the next song must be heard.
#include "core/startup.h"
#include "engine/api.h"
#include "engine/testing.h"
#include "platform/qt/qt_services.h"
#include "platform/scripted/scripted_dialogs.h"
#include "platform/scripted/scripted_printer.h"
#include "platform/scripted/scripted_process.h"
#include "pulse/monitor_recorder.h"
#include "pulse/pulse_server.h"
#include "realdevice/real_window.h"
#include "support/midi_writer.h"
#include "support/offscreen_app.h"
#include "support/song_files.h"
#include "ui/main_window.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QPushButton>
#include <QSlider>
#include <QTimer>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using pulsetest::onPath;

// Runs Qt's event loop for `ms`, noting the longest time the loop went without serving a 10 ms timer.
class Pump {
  public:
    Pump() {
        ticker_.setInterval(10);
        QObject::connect(&ticker_, &QTimer::timeout, [this] {
            const qint64 now = clock_.elapsed();
            worstGap_ = std::max(worstGap_, now - last_);
            last_ = now;
        });
        clock_.start();
        ticker_.start();
    }
    template <typename Done>
    bool until(Done done, int ms) {
        QElapsedTimer spent;
        spent.start();
        while (!done() && spent.elapsed() < ms) {
            QEventLoop loop;
            QTimer::singleShot(5, &loop, &QEventLoop::quit);
            loop.exec();
        }
        return done();
    }
    void run(int ms) {
        until([] { return false; }, ms);
    }
    void resetGap() {
        worstGap_ = 0;
        last_ = clock_.elapsed();
    }
    qint64 worstGapMs() const { return worstGap_; }

  private:
    QTimer ticker_;
    QElapsedTimer clock_;
    qint64 last_ = 0;
    qint64 worstGap_ = 0;
};

class RealDeviceServerLoss : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!onPath("pulseaudio") || !onPath("pactl")) GTEST_SKIP() << "pulseaudio or pactl is not installed";
        engine::testing::useVirtualDevice(false);
        testing::ensureQtApplication();
        ASSERT_TRUE(server_.start("loss", {"sink_name=velvora_loss rate=44100"}))
            << "the test's PulseAudio did not come up";
        pulsetest::run({"pactl", "set-default-sink", "velvora_loss"});
    }
    void TearDown() override {
        BASS_RecordFree();
        BASS_Free();
        recorder_.stop();
        server_.stop();
    }

    pulsetest::PrivateServer server_;
    pulsetest::MonitorRecorder recorder_;
};

TEST_F(RealDeviceServerLoss, TheSongGoesOnInSilenceAndTheNextIsHeardOnceTheServerIsBack) {
    testing::TempFolder folder;
    const fs::path kar = folder.path() / "Twinkle.kar";
    miditest::writeFile(kar, testing::karaokeMidi(testing::twinkleSyllables(), 48));
    const fs::path wav = folder.path() / "Tone.wav";
    testing::writeToneWav(wav, 4.0);

    testing::RealWindow real(folder.str());
    platform::ScriptedDialogs& dialogs = real.dialogs;
    App& app = real.app;
    ASSERT_TRUE(real.start());
    ASSERT_EQ(engine::testing::outputName(), "PulseAudio");
    Pump pump;

    dialogs.answerFile(kar.string());
    app.ui.CmdCarica->click();
    ASSERT_TRUE(app.ui.Cmd_play->isEnabled()) << "the KAR song did not open";
    app.ui.Cmd_play->click();
    // The song is heard: its position moves on.
    ASSERT_TRUE(pump.until([&] { return BASS_ChannelGetPosition(app.s.chan, BASS_POS_BYTE) > 0; }, 5000));
    pump.run(1000);

    server_.kill();
    pump.resetGap();
    const QWORD atLoss = BASS_ChannelGetPosition(app.s.chan, BASS_POS_BYTE);
    pump.run(3000);
    EXPECT_LT(pump.worstGapMs(), 250) << "the window stopped answering when the server went away";
    EXPECT_EQ(engine::testing::outputHealth().failures, 1u) << "the loss of the server went unseen";
    EXPECT_EQ(engine::testing::outputName(), "No sound");
    const QWORD afterLoss = BASS_ChannelGetPosition(app.s.chan, BASS_POS_BYTE);
    EXPECT_GT(
        BASS_ChannelBytes2Seconds(app.s.chan, afterLoss) - BASS_ChannelBytes2Seconds(app.s.chan, atLoss), 2.5)
        << "the song stood still without its device";
    EXPECT_EQ(BASS_ChannelIsActive(app.s.chan), BASS_ACTIVE_PLAYING);

    app.ui.Cmd_Stop->click();
    ASSERT_TRUE(app.ui.CmdCarica->isEnabled()) << "the song did not stop";

    ASSERT_TRUE(server_.restart()) << "the test's PulseAudio did not come back";
    pulsetest::run({"pactl", "set-default-sink", "velvora_loss"});
    ASSERT_TRUE(recorder_.start("velvora_loss.monitor"));
    pump.resetGap();
    EXPECT_TRUE(pump.until([] { return engine::testing::outputHealth().recoveries == 1; }, 5000))
        << "the output did not come back with the server";
    EXPECT_LT(pump.worstGapMs(), 250) << "the window stopped answering while the server came back";
    EXPECT_EQ(engine::testing::outputName(), "PulseAudio");

    dialogs.answerFile(wav.string());
    app.ui.CmdCarica->click();
    ASSERT_TRUE(app.ui.CmdPlw->isEnabled()) << "the WAV song did not open";
    app.ui.CmdPlw->click();
    const auto loud = [&] {
        const std::vector<std::int16_t> s = recorder_.samples();
        return std::any_of(s.begin(), s.end(), [](std::int16_t v) { return std::abs(v) > 1000; });
    };
    EXPECT_TRUE(pump.until(loud, 5000)) << "the second song was not heard on the server";
    EXPECT_EQ(recorder_.overflows(), 0u);
    app.ui.CmdStw->click();
    EXPECT_TRUE(dialogs.unexpected().empty()) << "an unexpected box: " << dialogs.unexpected().front().text;
}

} // namespace
} // namespace velvora
