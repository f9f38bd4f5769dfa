// The singer's screen, taken the user's way: a KAR song chosen with Load and played with Play, the
// Karaoke button pressed. The full-screen window paints the same page as Picture3 on every word
// step, in larger type, and the song goes on whatever the window does.
#include "core/controls.h"
#include "karaoke/lyric_test_support.h"
#include "support/midi_writer.h"
#include "support/song_files.h"
#include "widgets/lyricpicture.h"
#include "widgets/main_controls.h"
#include "widgets/words_full_screen.h"

#include <QCoreApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPushButton>

#include <filesystem>

namespace velvora::testing {
namespace {

namespace fs = std::filesystem;

class SingersScreen : public AppFixture {
  protected:
    void openAndPlayKar() {
        const fs::path path = folder.path() / "songs" / "Twinkle.kar";
        fs::create_directories(path.parent_path());
        miditest::writeFile(path, karaokeMidi(twinkleSyllables(), 48));
        dialogs.answerFile(path.string());
        app->ui.CmdCarica->click();
        ASSERT_TRUE(app->ui.Cmd_play->isEnabled());
        app->ui.Cmd_play->click();
    }
    widgets::WordsFullScreen& screen() { return *app->ui.frmWordsFullScreen; }
    const QImage& big() { return screen().page()->image(); }
    const QImage& small() { return app->ui.Picture3->image(); }
    // Steps the clock until the word step has sung something on the current line.
    void untilSomethingIsSung() {
        for (int i = 0; i < 4000 && pixelBox(small(), isRed).empty(); ++i) clock.advance(10);
        ASSERT_FALSE(pixelBox(small(), isRed).empty()) << "no word was sung on Picture3";
    }
};

TEST_F(SingersScreen, KaraokeButtonShowsAPageThatFollowsTheWordStepsInLargerType) {
    start();
    openAndPlayKar();
    EXPECT_FALSE(screen().isVisible());
    untilSomethingIsSung();

    app->ui.CmdKara->click();
    ASSERT_TRUE(screen().isVisible());
    EXPECT_TRUE(screen().isFullScreen());
    // Shown in the middle of a line: the page of the last word step comes up at once.
    EXPECT_FALSE(pixelBox(big(), isRed).empty());

    // Through the next word steps both surfaces show the same sung prefix, the singer's larger.
    const int stepsBefore = app->s.lyricPos;
    while (app->s.lyricPos < stepsBefore + 3 && clock.nowMs() < 60000) clock.advance(10);
    ASSERT_GE(app->s.lyricPos, stepsBefore + 3);
    const PixelBox sungSmall = pixelBox(small(), isRed);
    const PixelBox sungBig = pixelBox(big(), isRed);
    const PixelBox unsungSmall = pixelBox(small(), isBlack);
    const PixelBox unsungBig = pixelBox(big(), isBlack);
    ASSERT_FALSE(sungSmall.empty());
    ASSERT_FALSE(sungBig.empty());
    EXPECT_GT(sungBig.maxY - sungBig.minY, 2 * (sungSmall.maxY - sungSmall.minY)) << "larger type";
    EXPECT_GT(sungBig.maxX - sungBig.minX, sungSmall.maxX - sungSmall.minX);
    // The sung part and the rest of the current line are in the same place relative to each other:
    // the prefix ends where the unsung text begins, on both surfaces.
    if (!unsungSmall.empty() && !unsungBig.empty()) {
        EXPECT_GE(unsungBig.maxX, sungBig.maxX);
        EXPECT_LE(unsungBig.minY, sungBig.maxY);
    }
    // The coming pair in white, below or above the current one, on the big page too.
    EXPECT_FALSE(pixelBox(big(), isWhite).empty());

    // Hidden again with the button: the song goes on.
    app->ui.CmdKara->click();
    EXPECT_FALSE(screen().isVisible());
    const int steps = app->s.lyricPos;
    while (app->s.lyricPos == steps && clock.nowMs() < 120000) clock.advance(10);
    EXPECT_GT(app->s.lyricPos, steps);
    EXPECT_TRUE(dialogs.unexpected().empty());
}

TEST_F(SingersScreen, LeavesFullScreenWithEscapeAndIsClearedWhenTheSongStops) {
    start();
    openAndPlayKar();
    untilSomethingIsSung();
    app->ui.CmdKara->click();
    ASSERT_TRUE(screen().isFullScreen());
    QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    QCoreApplication::sendEvent(&screen(), &escape);
    EXPECT_FALSE(screen().isFullScreen());
    EXPECT_TRUE(screen().isVisible());
    // A resize clears the image; the present page comes back at once.
    screen().resize(700, 400);
    QCoreApplication::processEvents();
    EXPECT_EQ(big().width(), 700);
    EXPECT_FALSE(pixelBox(big(), isRed).empty()) << "the page is painted again after a resize";
    // A double click goes back to full screen.
    const QPointF at(20, 20);
    QMouseEvent twice(QEvent::MouseButtonDblClick, at, screen().page()->mapToGlobal(at), Qt::LeftButton,
                      Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(screen().page(), &twice);
    EXPECT_TRUE(screen().isFullScreen());

    // Closing the window never stops the song.
    screen().close();
    const int steps = app->s.lyricPos;
    while (app->s.lyricPos == steps && clock.nowMs() < 120000) clock.advance(10);
    EXPECT_GT(app->s.lyricPos, steps);

    // Shown again and the song stopped: both pages are blank.
    app->ui.CmdKara->click();
    ASSERT_TRUE(screen().isVisible());
    app->ui.Cmd_Stop->click();
    clock.advance(100);
    EXPECT_TRUE(pixelBox(big(), isRed).empty());
    EXPECT_TRUE(pixelBox(big(), isWhite).empty());
    EXPECT_TRUE(dialogs.unexpected().empty());
}

} // namespace
} // namespace velvora::testing
