// Lyric lateness: a KAR song played in real time on the no-sound device, the program's own
// timers and painter on Qt's event loop. For every word, the delay from the moment its mark is
// heard (the engine's delayed sync for that mark) to the end of the paint that shows it.
#include "core/startup.h"
#include "engine/api.h"
#include "karaoke/lyric_timing.h"
#include "platform/qt/qt_services.h"
#include "platform/scripted/scripted_dialogs.h"
#include "platform/scripted/scripted_printer.h"
#include "support/app_fixture.h"
#include "support/midi_writer.h"
#include "support/song_files.h"
#include "transport/song_open.h"
#include "transport/transport.h"
#include "ui/main_window.h"

#include <QApplication>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <mutex>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

std::mutex heardMutex;
std::map<DWORD, Clock::time_point> heardAt; // mark index -> when its sync ran

void noteHeard(HSYNC, DWORD, DWORD mark, void*) {
    std::lock_guard lock(heardMutex);
    heardAt.emplace(mark, Clock::now());
}

double percentile(std::vector<double> v, double p) {
    std::sort(v.begin(), v.end());
    return v[std::min(v.size() - 1, static_cast<std::size_t>(p * static_cast<double>(v.size() - 1) + 0.5))];
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    velvora::testing::TempFolder folder;
    platform::ScriptedDialogs dialogs;
    platform::QtClock clock;
    platform::QtProcess process;
    platform::ScriptedPrinters printers;
    platform::Services services{dialogs, clock, process, printers};
    velvora::ui::MainWindow window(services);
    velvora::App& app = window.app();
    app.appFolder = folder.str();
    velvora::Form_Initialize(app);
    velvora::Form_Load(app);
    // The no-sound device, whatever the machine has.
    BASS_Free();
    BASS_Init(0, 44100, 0, nullptr, nullptr);

    std::vector<std::string> syllables;
    for (int i = 0; i < 48; ++i) syllables.push_back(i % 6 == 0 ? "/Sing " : "la ");
    const auto song = folder.path() / "lateness.kar";
    miditest::writeFile(song, velvora::testing::karaokeMidi(syllables, 48)); // a word every 250 ms
    dialogs.answerFile(song.string());
    velvora::transport::CmdCarica_Click(app);
    velvora::transport::Cmd_play_Click(app);
    BASS_ChannelSetSync(app.s.chan, BASS_SYNC_MIDI_TEXT, 0, &noteHeard, nullptr);
    BASS_ChannelSetSync(app.s.chan, BASS_SYNC_MIDI_LYRIC, 0, &noteHeard, nullptr);

    // Word k (k >= 1) is the mark k - 1; it is painted when the word position moves past it.
    std::map<int, Clock::time_point> paintedAt;
    app.tmr.Timer1->onTick = [&] {
        const int before = app.s.lyricPos;
        velvora::karaoke::Timer1_Timer(app);
        if (app.s.lyricPos != before && app.s.lyricPos >= 2)
            paintedAt.emplace(app.s.lyricPos - 1, Clock::now());
    };
    QTimer::singleShot(15000, &application, &QApplication::quit);
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, [&] {
        if (app.ui.CmdCarica->isEnabled()) QApplication::quit(); // the song has ended
    });
    watch.start(100);
    QApplication::exec();
    BASS_Free();

    std::vector<double> delays;
    {
        std::lock_guard lock(heardMutex);
        for (const auto& [word, painted] : paintedAt) {
            const auto heard = heardAt.find(static_cast<DWORD>(word - 1));
            if (heard == heardAt.end()) continue;
            delays.push_back(std::chrono::duration<double, std::milli>(painted - heard->second).count());
        }
    }
    if (delays.size() < 10) {
        std::fprintf(stderr, "only %zu words measured\n", delays.size());
        return 1;
    }
    const double p50 = percentile(delays, 0.5), p99 = percentile(delays, 0.99);
    std::printf("%zu words: heard mark to painted word, p50 %.2f ms, p99 %.2f ms, max %.2f ms\n",
                delays.size(), p50, p99, *std::max_element(delays.begin(), delays.end()));
    std::printf("RESULT lyric_lateness p50_ms=%.2f p99_ms=%.2f\n", p50, p99);
    return 0;
}
