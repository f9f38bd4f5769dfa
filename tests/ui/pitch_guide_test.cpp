// The pitch guide the user's way: the Utility menu's "Pitch guide" shows the strip; a KAR song
// opened with Load and played while a voice sings into the virtual input; at the song's end a box
// gives the score. The voice is made here from the melody the guide shows, placed on the song's
// clock from the moment the guide began to listen.
#include "core/controls.h"
#include "core/song_state.h"
#include "engine/testing.h"
#include "pitch/pitch_guide.h"
#include "pitch/sung_voice.h"
#include "support/app_fixture.h"
#include "support/midi_writer.h"
#include "support/song_files.h"
#include "widgets/pitch_strip.h"

#include <gmock/gmock.h>

#include <QAction>

#include <cmath>

namespace velvora::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

class PitchGuideTest : public AppFixture {
  protected:
    pitch::PitchGuide& guide() { return window.pitchGuide(); }

    void openSong(const fs::path& path) {
        dialogs.answerFile(path.string());
        app->ui.CmdCarica->click();
    }
    fs::path writeKar() {
        const fs::path kar = folder.path() / "Tune.kar";
        // Eight notes of 0.6 s from 0.6 s, keys 60 to 67.
        miditest::writeFile(
            kar, karaokeMidi({"\\Do", "re", "mi", "fa", "/sol", "la", "ti", "do"}, 96, 600000, 96));
        return kar;
    }
    bool playing() const { return app->s.chan && BASS_ChannelIsActive(app->s.chan) == BASS_ACTIVE_PLAYING; }
    fs::path song;
    double heardSeconds() const {
        const DWORD chan = app->s.chan;
        return BASS_ChannelBytes2Seconds(chan, BASS_ChannelGetPosition(chan, BASS_POS_BYTE));
    }
    // Plays the open song with a voice `shift` semitones from the melody (none: silence), `lag`
    // seconds late, and returns the texts of the boxes shown at its end.
    std::vector<std::string> singThrough(std::optional<double> shift, double lag = 0) {
        // A MIDI song's stream goes at its end: each time it is opened again, as a user does.
        openSong(song);
        EXPECT_TRUE(shows(*app, SongState::MidiReady));
        dialogs.clear();
        dialogs.answer(platform::vbOK);
        app->ui.Cmd_play->click();
        EXPECT_TRUE(playing());
        // The guide begins to listen at its next look; the voice starts there on the song's clock.
        clock.advance(pitch::PitchGuide::kTickMs);
        const double from = heardSeconds();
        const pitch::Melody& m = guide().melody();
        const double length = m.notes.back().end + 1.0;
        std::vector<std::int16_t> stereo;
        if (shift) {
            pitch::Melody later = m;
            for (auto& n : later.notes) n.start -= from, n.end -= from;
            const std::vector<float> voice = pitch::testing::singMelody(later, length - from, *shift, lag);
            for (float s : voice) stereo.insert(stereo.end(), 2, static_cast<std::int16_t>(s * 32767));
        } else {
            stereo.assign(static_cast<std::size_t>((length - from) * 44100) * 2, 0);
        }
        // What the last song's voice left unsung is not this one's.
        engine::testing::clearCaptureInput();
        engine::testing::pushCaptureInput(stereo);
        EXPECT_TRUE(clock.advanceUntil([&] { return !playing(); }, 20000, 20));
        // The program's own end of the song comes a second after its stream goes.
        clock.advance(1500);
        std::vector<std::string> texts;
        for (const auto& b : dialogs.shown()) texts.push_back(b.text);
        return texts;
    }
};

TEST_F(PitchGuideTest, AVoiceOnTheMelodyScoresHighASemitoneOffLowSilenceNothing) {
    start();
    ASSERT_FALSE(window.pitchStrip().isVisible());
    window.show();
    window.pitchAction()->trigger();
    EXPECT_TRUE(window.pitchStrip().isVisible());
    EXPECT_TRUE(guide().shown());
    song = writeKar();
    openSong(song);
    ASSERT_TRUE(shows(*app, SongState::MidiReady));
    clock.advance(pitch::PitchGuide::kTickMs);
    ASSERT_EQ(guide().melody().notes.size(), 8u);
    EXPECT_EQ(window.pitchStrip().view().notes.size(), 8u) << "the melody is on the strip";

    EXPECT_THAT(singThrough(0.0), ::testing::ElementsAre(HasSubstr("Your score: ")));
    EXPECT_GE(guide().lastScore(), 95);
    EXPECT_FALSE(window.pitchStrip().view().readings.empty()) << "the trace was drawn";
    EXPECT_THAT(singThrough(-12.0), ::testing::ElementsAre(HasSubstr("Your score: ")));
    EXPECT_GE(guide().lastScore(), 95) << "an octave lower";
    EXPECT_THAT(singThrough(1.0), ::testing::ElementsAre(HasSubstr("Your score: ")));
    EXPECT_LE(guide().lastScore(), 10) << "a semitone sharp";
    EXPECT_THAT(singThrough(std::nullopt), ::testing::ElementsAre("Your score: 0 of 100")) << "silence";
    // Late by a measured round trip of 120 ms: as in time.
    app->s.capture.calibration = LatencyCalibration{120.0, 1.0};
    EXPECT_THAT(singThrough(0.0, 0.12), ::testing::ElementsAre(HasSubstr("Your score: ")));
    EXPECT_GE(guide().lastScore(), 95) << "late by the round trip";
}

TEST_F(PitchGuideTest, AnAudioSongHasNoMelodyAndNoScoreAndAHiddenStripDoesNotListen) {
    start();
    window.pitchAction()->trigger();
    const fs::path wav = folder.path() / "Tone.wav";
    writeToneWav(wav, 2.0, 220.0);
    openSong(wav);
    clock.advance(pitch::PitchGuide::kTickMs);
    EXPECT_EQ(guide().melody().channel, -1);
    EXPECT_THAT(window.pitchStrip().view().message.toStdString(), HasSubstr("no melody"));
    dialogs.clear();
    app->ui.CmdPlw->click();
    EXPECT_TRUE(clock.advanceUntil([&] { return !playing(); }, 10000, 20));
    clock.advance(4 * pitch::PitchGuide::kTickMs);
    EXPECT_TRUE(dialogs.shown().empty()) << "no score without a melody";
    EXPECT_EQ(guide().lastScore(), -1);

    window.pitchAction()->trigger();
    EXPECT_FALSE(guide().shown());
    EXPECT_FALSE(window.pitchStrip().isVisible());
}

} // namespace
} // namespace velvora::testing
