#include "core/controls.h"
#include "core/mod_bass.h"
#include "engine/testing.h"
#include "recording/take_files.h"
#include "recording/take_session.h"
#include "support/app_fixture.h"
#include "support/midi_writer.h"
#include "support/song_files.h"
#include "transport/song_open.h"
#include "transport/transport.h"
#include "ui/live_input_window.h"
#include "widgets/main_controls.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using namespace recordingtest;
using testing::AppFixture;

std::size_t firstLoud(const std::vector<std::int16_t>& v) {
    const auto it = std::find_if(v.begin(), v.end(), [](std::int16_t s) { return std::abs(s) > 500; });
    return static_cast<std::size_t>(it - v.begin());
}

// The largest difference between `take` and `song` from where `song` starts sounding in `take`.
struct Match {
    std::ptrdiff_t offset = 0; // the song's sample at the take's sample 0
    int worst = 0;
    std::size_t compared = 0;
    std::ptrdiff_t firstBad = -1;
};
Match compare(const std::vector<std::int16_t>& take, const std::vector<std::int16_t>& song) {
    Match m;
    m.offset = static_cast<std::ptrdiff_t>(firstLoud(song)) - static_cast<std::ptrdiff_t>(firstLoud(take));
    for (std::size_t i = 0; i < take.size(); ++i) {
        const std::ptrdiff_t j = static_cast<std::ptrdiff_t>(i) + m.offset;
        if (j < 0 || j >= static_cast<std::ptrdiff_t>(song.size())) continue;
        const int d = std::abs(take[i] - song[static_cast<std::size_t>(j)]);
        if (d > 1 && m.firstBad < 0) m.firstBad = static_cast<std::ptrdiff_t>(i);
        m.worst = std::max(m.worst, d);
        ++m.compared;
    }
    return m;
}

class TakeSessionTest : public AppFixture {
  protected:
    fs::path tkkk(const char* name) { return folder.path() / "TKKK" / name; }
    // A karaoke song whose tune is on the first channel: the program leaves that channel's level
    // alone (it mutes the guide melody of the fourth), so the song sounds as the file says.
    fs::path kar() {
        const fs::path path = folder.path() / "songs" / "Tune.kar";
        fs::create_directories(path.parent_path());
        miditest::Track conductor, words, tune;
        conductor.tempo(0, 500000).end(0);
        words.text(0, "@KMIDI KARAOKE FILE");
        tune.program(0, 0, 0);
        for (int i = 0; i < 24; ++i) {
            words.text(i == 0 ? 48 : 96, i % 4 == 0 ? "/la " : "la ");
            tune.on(i == 0 ? 48 : 0, 0, 60 + (i * 5) % 17, 110).off(96, 0, 60 + (i * 5) % 17);
        }
        words.end(0);
        tune.end(0);
        miditest::writeFile(path, miditest::smf(1, 96, {conductor, words, tune}));
        return path;
    }
    fs::path mp3(double seconds) {
        const fs::path path = folder.path() / "songs" / "Tones.mp3";
        fs::create_directories(path.parent_path());
        EXPECT_TRUE(writeMp3Song(path, seconds));
        return path;
    }
    void open(const fs::path& path) {
        dialogs.answerFile(path.string());
        transport::CmdCarica_Click(*app);
    }
    // Arms, plays through the count-in, sings `sung` and lets it be heard.
    void sing(bool midi, const std::vector<std::int16_t>& sung) {
        recording::CmdRec_Click(*app);
        const long long before = clock.nowMs();
        midi ? transport::Cmd_play_Click(*app) : transport::CmdPlw_Click(*app);
        countIn = clock.nowMs() - before;
        engine::testing::pushCaptureInput(sung);
        clock.advance(static_cast<long long>(sung.size() / 2 * 1000 / 44100));
    }
    std::vector<std::string> texts() {
        std::vector<std::string> out;
        for (const auto& box : dialogs.shown()) out.push_back(box.text);
        return out;
    }
    long long countIn = -1;
};

TEST_F(TakeSessionTest, AKarTakeCountsInThenWritesTheSongAndTheVoiceAndCancelKeepsThem) {
    start();
    open(kar());
    { std::ofstream(folder.path() / "LiveTrack.wav") << "an earlier mix"; }
    recording::CmdRec_Click(*app);
    auto& ui = app->ui;
    EXPECT_TRUE(app->s.recordArmed);
    EXPECT_FALSE(ui.CmdRec->isEnabled());
    EXPECT_FALSE(ui.CmdPause->isEnabled());
    EXPECT_TRUE(shown(ui.LblTm[0]) && shown(ui.LblTm[1]));
    EXPECT_TRUE(ui.cmdplaystop->isEnabled());
    EXPECT_TRUE(window.liveSpec().loaded()) << "arming opens the live input window";

    const long long before = clock.nowMs();
    transport::Cmd_play_Click(*app);
    EXPECT_EQ(clock.nowMs() - before, 4500) << "the count-in";
    EXPECT_EQ(BASS_ChannelGetPosition(app->s.chan, BASS_POS_BYTE), 0u) << "the song waits for the count-in";
    EXPECT_TRUE(app->tmr.TimTps->enabled() && app->tmr.Timer1->enabled() && app->tmr.tmrMidiTest->enabled());
    EXPECT_FALSE(app->tmr.TmrStart->enabled());
    EXPECT_TRUE(shown(ui.PicStart));
    EXPECT_TRUE(app->tmr.Timer3->enabled());
    EXPECT_NE(app->s.capture.recChan.load(), 0u);

    const auto sung = voice(3 * 44100);
    engine::testing::pushCaptureInput(sung);
    clock.advance(3000);
    dialogs.answer(platform::vbCancel);
    dialogs.answer(platform::vbOK);
    transport::Cmd_Stop_Click(*app);

    const auto& boxes = dialogs.shown();
    ASSERT_EQ(boxes.size(), 3u); // the open dialog first
    EXPECT_EQ(boxes[1].text, "Crea NVK(SI)  Crea Wave(NO) ");
    EXPECT_EQ(boxes[1].caption, "RECORDER");
    EXPECT_EQ(boxes[1].style, 0x43);
    EXPECT_EQ(boxes[2].text, "Registrazione Annullata");
    EXPECT_EQ(boxes[2].caption, "Velvora");
    EXPECT_EQ(boxes[2].style, 0x20);
    EXPECT_FALSE(app->s.recordArmed);
    EXPECT_TRUE(ui.CmdRec->isEnabled());
    EXPECT_TRUE(app->s.capture.recBuffer.empty());
    EXPECT_EQ(readBytes(folder.path() / "LiveTrack.wav"), "an earlier mix");

    const Wav vocal = readWav(tkkk("vocaltrack.wav"));
    ASSERT_TRUE(vocal.canonical);
    EXPECT_EQ(vocal.fileSize, vocal.dataSize + 44u);
    EXPECT_EQ(vocal.riffSize, vocal.dataSize + 36u);
    EXPECT_EQ(vocal.channels, 2);
    EXPECT_EQ(vocal.rate, 44100u);
    EXPECT_EQ(vocal.samples, sung) << "three seconds of whole blocks: the voice as it was sung";

    const Wav backing = readWav(tkkk("BackingTrack.WAV"));
    ASSERT_TRUE(backing.canonical);
    EXPECT_EQ(backing.fileSize, backing.dataSize + 44u);
    EXPECT_EQ(backing.rate, 44100u);
    EXPECT_EQ(backing.channels, 2);
    const auto song = decodeAll(modBass::MIDI_StreamCreateFile(kar().string(), BASS_STREAM_DECODE, 44100));
    // Three seconds heard, and what was decoded ahead of the ear when the song stopped.
    EXPECT_GE(backing.samples.size(), 3u * 44100 * 2);
    EXPECT_LE(backing.samples.size(), 4u * 44100 * 2);
    ASSERT_LT(firstLoud(backing.samples), backing.samples.size()) << "the song was not heard";
    const Match m = compare(backing.samples, song);
    EXPECT_EQ(m.offset, 0) << "the writer starts with the song";
    EXPECT_EQ(m.compared, backing.samples.size());
    EXPECT_LE(m.worst, 1) << "first differs at sample " << m.firstBad << " of " << backing.samples.size();
}

TEST_F(TakeSessionTest, AnMp3TakeAnsweredNoMixesBothFilesAndOffersToSaveTheMix) {
    start();
    const fs::path song = mp3(6.0);
    open(song);
    const auto sung = voice(2 * 44100, 777, 6000);
    sing(false, sung);
    EXPECT_EQ(countIn, 4500);
    EXPECT_FALSE(app->ui.Cmd_Stop->isEnabled()) << "an audio take ends through CmdStw alone";
    const fs::path kept = folder.path() / "kept.wav";
    dialogs.clear();
    dialogs.answer(platform::vbNo);
    dialogs.answer(platform::vbOK);
    dialogs.answerFile(kept.string());
    transport::CmdStw_Click(*app);

    const auto& boxes = dialogs.shown();
    ASSERT_EQ(boxes.size(), 3u);
    EXPECT_EQ(boxes[0].caption, "Recorder");
    EXPECT_EQ(boxes[0].text, "Crea NVK(SI)  Crea Wave(NO) ");
    EXPECT_EQ(boxes[1].text, "Fatto!");
    EXPECT_EQ(boxes[1].caption, "Velvora");
    EXPECT_EQ(boxes[1].style, 0x20);
    EXPECT_EQ(boxes[2].kind, platform::ShownBox::Save);
    EXPECT_EQ(boxes[2].caption, "Save WAVE File As");
    EXPECT_EQ(boxes[2].filter, "File Wave (*.wav)|*.wav");
    EXPECT_EQ(boxes[2].style, 2);
    EXPECT_FALSE(app->ui.CmdPlw->isEnabled());
    EXPECT_FALSE(app->ui.CmdRec->isEnabled());
    EXPECT_FALSE(app->ui.cmdplaystop->isEnabled());
    EXPECT_TRUE(app->s.capture.recBuffer.empty());

    const Wav backing = readWav(tkkk("BackingTrack.WAV"));
    const Wav vocal = readWav(tkkk("vocaltrack.wav"));
    EXPECT_EQ(vocal.samples, sung);
    ASSERT_LT(firstLoud(backing.samples), backing.samples.size()) << "the song was not heard";
    const Match m =
        compare(backing.samples, decodeAll(modBass::StreamCreateFile(song.string(), BASS_STREAM_DECODE)));
    EXPECT_EQ(m.offset, 0);
    EXPECT_EQ(m.compared, backing.samples.size());
    EXPECT_LE(m.worst, 1) << "the backing track is the song as decoded";

    const Wav mix = readWav(folder.path() / "LiveTrack.wav");
    ASSERT_TRUE(mix.canonical);
    EXPECT_EQ(mix.channels, 2);
    EXPECT_EQ(mix.rate, 44100u);
    EXPECT_EQ(mix.bits, 16);
    EXPECT_EQ(mix.riffSize, mix.dataSize + 36u);
    ASSERT_EQ(mix.samples.size(), std::max(backing.samples.size(), vocal.samples.size()));
    int worst = 0;
    for (std::size_t i = 0; i < mix.samples.size(); ++i) {
        const int b = i < backing.samples.size() ? backing.samples[i] : 0;
        const int v = i < vocal.samples.size() ? vocal.samples[i] : 0;
        worst = std::max(worst, std::abs(mix.samples[i] - std::clamp(b + v, -32768, 32767)));
    }
    EXPECT_LE(worst, 1) << "the mix is the sum of the two tracks";
    EXPECT_EQ(readBytes(kept), readBytes(folder.path() / "LiveTrack.wav"));
    EXPECT_EQ(app->s.dialogFileName, kept.string());
}

TEST_F(TakeSessionTest, YesReachesTheEncodingThenSaysDoneOnTheMidiPath) {
    start();
    int encodings = 0;
    app->hooks.Mp3Enc = [&] {
        ++encodings;
        EXPECT_TRUE(fs::exists(tkkk("vocaltrack.wav")));
        EXPECT_TRUE(fs::exists(tkkk("BackingTrack.WAV")));
        return true;
    };
    open(kar());
    sing(true, voice(44100));
    dialogs.clear();
    dialogs.answer(platform::vbYes);
    dialogs.answer(platform::vbOK);
    transport::Cmd_Stop_Click(*app);
    EXPECT_EQ(encodings, 1);
    EXPECT_THAT(texts(), ::testing::ElementsAre("Crea NVK(SI)  Crea Wave(NO) ", "Done!"));
    EXPECT_FALSE(app->s.recordArmed);
    EXPECT_TRUE(app->ui.BtnMix->isEnabled());
    EXPECT_TRUE(app->s.capture.recBuffer.empty());
    EXPECT_FALSE(fs::exists(folder.path() / "LiveTrack.wav")) << "no mix on the package road";
}

TEST_F(TakeSessionTest, YesOnTheAudioPathEncodesWithoutADoneBox) {
    start();
    int encodings = 0;
    app->hooks.Mp3Enc = [&] {
        ++encodings;
        return true;
    };
    open(mp3(3.0));
    sing(false, voice(22050));
    dialogs.clear();
    dialogs.answer(platform::vbYes);
    transport::CmdStw_Click(*app);
    EXPECT_EQ(encodings, 1);
    EXPECT_THAT(texts(), ::testing::ElementsAre("Crea NVK(SI)  Crea Wave(NO) "));
    EXPECT_EQ(dialogs.shown()[0].caption, "Recorder");
}

TEST_F(TakeSessionTest, APackageOrTheExplorerRefusesToArm) {
    start();
    app->s.FileName = "/songs/take.Nvk";
    dialogs.answer(platform::vbOK);
    dialogs.answer(platform::vbOK);
    recording::CmdRec_Click(*app);
    app->s.FileName = "/songs/song.mp3";
    app->s.explorerOpen = true;
    recording::CmdRec_Click(*app);
    ASSERT_EQ(dialogs.shown().size(), 2u);
    EXPECT_EQ(dialogs.shown()[0].text, "La Registrazione non è possibile con i file NVK ");
    EXPECT_EQ(dialogs.shown()[1].text, "Operazione non possibile con EXPLORER Attivo ");
    for (const auto& box : dialogs.shown()) {
        EXPECT_EQ(box.caption, "Recorder");
        EXPECT_EQ(box.style, 0x20);
    }
    EXPECT_FALSE(app->s.recordArmed);
    EXPECT_FALSE(window.liveSpec().loaded());
}

TEST_F(TakeSessionTest, WithNoCaptureDeviceArmingEndsTheProgramAndNothingIsWritten) {
    const InputsScope none({});
    start();
    open(kar());
    dialogs.answer(platform::vbOK);
    recording::CmdRec_Click(*app);
    ASSERT_EQ(dialogs.shown().size(), 2u); // the open dialog, then the box
    EXPECT_THAT(dialogs.shown()[1].text, ::testing::StartsWith("Can't start recording\n\nerror code: "));
    EXPECT_EQ(dialogs.shown()[1].caption, "Error");
    EXPECT_TRUE(process.ended());
    EXPECT_TRUE(fs::is_empty(folder.path() / "TKKK"));
}

TEST_F(TakeSessionTest, AWriterThatCannotStartIsToldAndTheVoiceIsStillTaken) {
    start();
    open(kar());
    fs::remove_all(folder.path() / "TKKK");
    fs::create_directories(folder.path() / "TKKK" / "BackingTrack.WAV"); // a folder in the way
    recording::CmdRec_Click(*app);
    dialogs.answer(platform::vbOK);
    transport::Cmd_play_Click(*app);
    ASSERT_FALSE(dialogs.shown().empty());
    EXPECT_THAT(dialogs.shown().back().text, ::testing::StartsWith("Can't RECORDING"));
    EXPECT_NE(app->s.capture.recChan.load(), 0u) << "the capture starts all the same";
    EXPECT_TRUE(app->s.recordArmed);
    dialogs.clear();
    dialogs.answer(platform::vbCancel);
    dialogs.answer(platform::vbOK);
    transport::Cmd_Stop_Click(*app);
    EXPECT_TRUE(fs::exists(tkkk("vocaltrack.wav")));
}

} // namespace
} // namespace velvora
