// The cost of a Timer1 tick: when no word is due (it runs every millisecond), when it paints a word
// on the lyric page at the window's size, and when it paints the singer's full-screen page too
// (1920x1080), measured in the same run.
#include "karaoke/lyric_timing.h"
#include "support/offscreen_app.h"
#include "widgets/lyricpicture.h"
#include "widgets/main_controls.h"
#include "widgets/words_full_screen.h"

#include <QApplication>

#include <chrono>
#include <cstdio>

namespace {

using Clock = std::chrono::steady_clock;

void fillModel(velvora::Session& s) {
    auto& m = s.words;
    m.lyricLines = {"", "TWINKLE, TWINKLE LITTLE STAR,", "HOW I WONDER WHAT YOU ARE.",
                    "UP ABOVE THE WORLD SO HIGH,", "LIKE A DIAMOND IN THE SKY!"};
    m.shownLines = m.lyricLines;
    m.lastLine = 4;
    m.wordList.assign(1, velvora::WordRec{});
    m.wordList[0].Length = 42;
    const char* words[] = {"TWIN", "KLE, ", "TWIN", "KLE ", "LIT", "TLE ", "STAR,"};
    int column = 0;
    for (int i = 0; i < 7; ++i) {
        velvora::WordRec w;
        w.Text = words[i];
        w.Length = static_cast<std::int16_t>(w.Text.size());
        w.Column = column;
        w.LineNo = 1;
        w.TimeMs = w.SpanMs = 1000.0 * (i + 1);
        column += w.Length;
        m.wordList.push_back(w);
    }
    m.lyricsPresent = true;
    m.msPerTick = 1.0;
    s.midiActive = true;
}

} // namespace

int main() {
    velvora::testing::OffscreenApp program;
    velvora::App& app = program.app();
    auto& window = program.window;
    window.resize(1160, 760);
    window.show();
    QApplication::processEvents();
    fillModel(app.s);

    // Idle: the first word is due at 1000 ms and the clock stands at 500 ms.
    app.s.timing.wordsRunning = -1;
    app.s.lyricPos = 1;
    app.s.lyricTick = 500;
    constexpr int kIdle = 5'000'000;
    auto start = Clock::now();
    for (int i = 0; i < kIdle; ++i) velvora::karaoke::Timer1_Timer(app);
    const double idleUs = std::chrono::duration<double, std::micro>(Clock::now() - start).count() / kIdle;
    if (app.s.lyricPos != 1) return 1;

    // Painting: every tick is due; the word position is wound back before each.
    app.s.lyricTick = 100000;
    constexpr int kPaints = 500;
    auto paints = [&app] {
        double ms = 0;
        for (int i = 0; i < kPaints; ++i) {
            app.s.lyricPos = 1 + i % 6;
            const auto at = Clock::now();
            velvora::karaoke::Timer1_Timer(app);
            ms += std::chrono::duration<double, std::milli>(Clock::now() - at).count();
        }
        return ms / kPaints;
    };
    const double paintMs = paints();
    auto& singers = *app.ui.frmWordsFullScreen;
    singers.show();
    singers.resize(1920, 1080);
    QApplication::processEvents();
    const double paintBothMs = paints();
    std::printf("Timer1 tick with no word due: %.4f us; tick that paints a %dx%d page: %.3f ms; "
                "with the %dx%d singer's page too: %.3f ms\n",
                idleUs, app.ui.Picture3->width(), app.ui.Picture3->height(), paintMs, singers.page()->width(),
                singers.page()->height(), paintBothMs);
    std::printf("RESULT word_step idle_us=%.4f paint_ms=%.3f paint_both_ms=%.3f\n", idleUs, paintMs,
                paintBothMs);
    return 0;
}
