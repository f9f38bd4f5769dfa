// A song's own settings, end to end on the virtual clock: set the controls while the song plays,
// SAVE, stop, open the song again and play: the controls come back and so does the sound, measured
// on what the virtual device played. Then damaged files of every kind against each reader.
#include "core/controls.h"
#include "engine/api.h"
#include "engine/testing.h"
#include "settings/song_settings.h"
#include "support/app_fixture.h"
#include "support/midi_writer.h"
#include "support/signal.h"
#include "support/song_files.h"
#include "transport/level_controls.h"
#include "transport/song_open.h"
#include "transport/song_settings.h"
#include "transport/transport.h"
#include "widgets/main_controls.h"

#include <QCheckBox>
#include <QLineEdit>
#include <QPushButton>
#include <QSlider>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <random>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using namespace transport;
using testing::AppFixture;

constexpr double kRate = 44100;

// The span of the heard output that is not silent, in seconds.
double audibleSeconds(const std::vector<float>& heard) {
    std::size_t first = SIZE_MAX, last = 0;
    for (std::size_t i = 0; 2 * i < heard.size(); ++i)
        if (std::fabs(heard[2 * i]) > 0.02f) {
            first = std::min(first, i);
            last = i;
        }
    return first == SIZE_MAX ? 0.0 : static_cast<double>(last - first) / kRate;
}

// Frames [1 s, 2 s) of the heard output: past any start-up, inside the song.
double heardRms() {
    return miditest::rms(engine::testing::heard(), 44100, 88200);
}
double heardPitch() {
    return miditest::pitch(engine::testing::heard(), 44100, 8192, kRate);
}

class SongSettingsTest : public AppFixture {
  protected:
    void open(const fs::path& path) {
        dialogs.answerFile(path.string());
        CmdCarica_Click(*app);
    }
    // A user's move of a slider: the value, then its change routine.
    template <class Routine>
    void move(QSlider* slider, int value, Routine routine) {
        slider->setValue(value);
        routine();
    }
    void save(bool expectDone) {
        if (expectDone) dialogs.answer(platform::vbOK);
        const std::size_t before = dialogs.shown().size();
        settings::CmdMidi_Click(*app);
        ASSERT_EQ(dialogs.shown().size(), before + (expectDone ? 1 : 0));
        if (expectDone) {
            EXPECT_EQ(dialogs.shown().back().text, "Done!");
        }
    }
    void listen() {
        engine::testing::keepHeard(true);
        engine::testing::clearHeard();
    }
    fs::path tone(const std::string& name, double seconds) {
        fs::create_directories(folder.path() / "songs");
        const fs::path path = folder.path() / "songs" / name;
        testing::writeToneWav(path, seconds, 440.0);
        return path;
    }
    // Seven seconds of the song heard after its settings came back: the key shifted by
    // `semitones`, the level `level` times the reference, the length 6 s at tempo +20%.
    void expectSoundOfTheSettings(double semitones, double referenceRms, double level) {
        clock.advance(7000);
        EXPECT_NEAR(heardPitch(), 440.0 * std::pow(2.0, semitones / 12), 8.0);
        EXPECT_NEAR(heardRms() / referenceRms, level, 0.06);
        EXPECT_NEAR(audibleSeconds(engine::testing::heard()), 6.0 / 1.2, 0.15);
    }
    fs::path customFile(const std::string& name) { return folder.path() / "SONGCUSTOM" / name; }
    void writeCustom(const std::string& name, const std::string& text) {
        std::ofstream(customFile(name), std::ios::binary) << text;
    }
};

TEST_F(SongSettingsTest, AudioSongComesBackWithItsTempoKeyAndVolume) {
    start();
    const fs::path song = tone("Love.wav", 6.0);
    open(song);
    listen();
    CmdPlw_Click(*app);
    clock.advance(2100);
    const double referenceRms = heardRms();
    EXPECT_NEAR(heardPitch(), 440.0, 4.0);

    auto& ui = app->ui;
    move(ui.SldMp3[1], 20, [&] { SldMp3_Change(*app, 1); }); // tempo +20%
    move(ui.SldMp3[0], 5, [&] { SldMp3_Change(*app, 0); });  // five semitones up
    move(ui.SldVolume, 75, [&] { SldVolume_Change(*app); }); // a quarter instead of a half
    save(true);
    CmdStw_Click(*app);

    open(song);
    EXPECT_EQ(ui.SldMp3[1]->value(), 0) << "the open brings the tempo back to neutral";
    EXPECT_EQ(ui.SldMp3[0]->value(), 0);
    listen();
    CmdPlw_Click(*app);
    EXPECT_EQ(ui.SldMp3[1]->value(), 20);
    EXPECT_EQ(ui.SldMp3[0]->value(), 5);
    EXPECT_EQ(ui.SldVolume->value(), 75);
    EXPECT_EQ(caption(ui.Lbltmp), "20%");
    EXPECT_EQ(caption(ui.LblTone), "5");
    expectSoundOfTheSettings(5, referenceRms, 0.5);
}

TEST_F(SongSettingsTest, AudioSongSavedWithTheVocalRemoverComesBackWithIt) {
    start();
    // A tone on the left alone: the remover leaves half of it, in both channels.
    std::vector<std::int16_t> samples;
    for (int i = 0; i < 44100 * 4; ++i) {
        samples.push_back(
            static_cast<std::int16_t>(std::lround(12000 * std::sin(2 * M_PI * 440.0 * i / kRate))));
        samples.push_back(0);
    }
    fs::create_directories(folder.path() / "songs");
    const fs::path song = folder.path() / "songs" / "Left.wav";
    testing::writeWav(song, samples, 2);
    open(song);
    listen();
    CmdPlw_Click(*app);
    clock.advance(2100);
    const double referenceRms = heardRms();
    app->ui.Chkrem->setChecked(true); // its click puts the remover on
    save(true);
    CmdStw_Click(*app);

    open(song);
    EXPECT_FALSE(app->ui.Chkrem->isChecked());
    listen();
    CmdPlw_Click(*app);
    EXPECT_TRUE(app->ui.Chkrem->isChecked());
    clock.advance(2100);
    EXPECT_NEAR(heardRms() / referenceRms, 0.5, 0.05);
    EXPECT_NEAR(miditest::rms(engine::testing::heard(), 44100, 88200, 1) / referenceRms, 0.5, 0.05);
}

TEST_F(SongSettingsTest, ASongWithoutAFilePlaysNeutralAndACdgNameKeepsItsKey) {
    start();
    const fs::path song = tone("Plain.wav", 3.0);
    open(song);
    listen();
    CmdPlw_Click(*app);
    clock.advance(3500);
    EXPECT_NEAR(audibleSeconds(engine::testing::heard()), 3.0, 0.1);
    EXPECT_NEAR(heardPitch(), 440.0, 4.0);
    EXPECT_EQ(caption(app->ui.Lbltmp), "0%");
    CmdStw_Click(*app);

    // A name ending in "cdg" takes the tempo and volume lines but not the key line.
    app->s.FileName = (folder.path() / "songs" / "Karaoke.cdg").string();
    writeCustom("Karaoke.cdg.txt",
                "False\r\n 0 \r\n 0 \r\n 0 \r\n 10 \r\n 6 \r\n 20 \r\n 0 \r\n" +
                    std::string(" 0 \r\n 0 \r\n 0 \r\n 0 \r\n 0 \r\n 0 \r\n 0 \r\n 0 \r\n 0 \r\n 0 \r\n"));
    app->ui.SldMp3[0]->setValue(-2);
    ModAudio(*app);
    EXPECT_EQ(app->ui.SldMp3[1]->value(), 10);
    EXPECT_EQ(app->ui.SldMp3[0]->value(), -2);
    EXPECT_EQ(app->ui.SldVolume->value(), 20);
}

TEST_F(SongSettingsTest, MidiSongComesBackWithItsTempoAndKey) {
    start();
    // A long A4 on channel 0 every two seconds.
    miditest::Track t;
    t.tempo(0, 500000).program(0, 0, 73);
    for (int i = 0; i < 5; ++i) t.on(0, 0, 69, 110).off(384, 0, 69);
    t.end(0);
    const fs::path song = folder.path() / "a4.mid";
    miditest::writeFile(song, miditest::smf(0, 96, {t}));
    auto tick = [&] { return static_cast<double>(BASS_ChannelGetPosition(app->s.chan, BASS_POS_MIDI_TICK)); };

    open(song);
    Cmd_play_Click(*app);
    clock.advance(500);
    double before = tick();
    clock.advance(2000);
    const double normal = tick() - before;
    auto& ui = app->ui;
    move(ui.Vscroll1, 3, [&] { Vscroll1_Change(*app); });  // three semitones down
    move(ui.SldTempo, 15, [&] { SldTempo_Change(*app); }); // a beat 4/3 as long
    save(false);
    Cmd_Stop_Click(*app);

    open(song);
    EXPECT_EQ(ui.SldTempo->value(), 10);
    EXPECT_EQ(ui.Vscroll1->value(), 0);
    const long long at = clock.nowMs();
    Cmd_play_Click(*app);
    EXPECT_EQ(clock.nowMs() - at, 1000) << "the reader's pause";
    listen();
    EXPECT_EQ(ui.SldTempo->value(), 15);
    EXPECT_EQ(ui.Vscroll1->value(), 3);
    EXPECT_EQ(caption(ui.LblPitch), "-3");
    clock.advance(500);
    before = tick();
    clock.advance(2000);
    EXPECT_NEAR((tick() - before) / normal, 0.75, 0.05);
    EXPECT_NEAR(heardPitch(), 440.0 * std::pow(2.0, -3.0 / 12), 6.0);
    Cmd_Stop_Click(*app);
}

TEST_F(SongSettingsTest, MidiFileSetsTheFontTheLevelAndTheMelodyChannel) {
    start();
    const DWORD before = app->s.font;
    app->s.FileName = (folder.path() / "x.kar").string();
    writeCustom("x.kar.txt",
                (folder.path() / "missing.sf2").string() +
                    "\r\n 0 \r\n 0 \r\n 0 \r\n 12 \r\n-4 \r\n 7 \r\n 1 \r\n 2 \r\n 3 \r\n 4 \r\n 5 "
                    "\r\n 6 \r\n 7 \r\n 127 \r\n-4 \r\n-4 \r\n-4 \r\n");
    modMidi(*app);
    // A missing font falls back without a word; the path is kept for the next save.
    EXPECT_NE(app->s.font, 0u);
    EXPECT_NE(app->s.font, before);
    EXPECT_EQ(app->s.soundFontPath, (folder.path() / "missing.sf2").string());
    EXPECT_NEAR(BASS_MIDI_FontGetVolume(app->s.font), 0.7f, 1e-6);
    EXPECT_EQ(app->ui.Sldvol->value(), 3);
    EXPECT_EQ(app->ui.TextR->text(), "7");
    EXPECT_EQ(app->ui.SldTempo->value(), 12);
    EXPECT_TRUE(app->s.tempoPresetApplied);
    EXPECT_EQ(app->ui.Vscroll1->value(), -4);
    EXPECT_EQ(caption(app->ui.LblPitch), "-4");
    for (int band = 0; band < 7; ++band)
        EXPECT_EQ(app->ui.SldEq[static_cast<std::size_t>(band)]->value(), band + 1);
    EXPECT_EQ(app->s.midiChannelVolume, 127);
    EXPECT_EQ(app->s.midiChannel, 3);
    EXPECT_TRUE(shown(app->ui.CmdOff));
    EXPECT_FALSE(shown(app->ui.CmdOn));
}

// A package laid out by the test: three tracks in TMPK under one mixer and their strips, as the
// unpacking makes them. The base track is a tone, the voice track silent, the third the count-in.
class PackageSettingsTest : public SongSettingsTest {
  protected:
    void SetUp() override {
        SongSettingsTest::SetUp();
        app->hooks.Decrypt = [this] {
            Session& s = app->s;
            const fs::path tmpk = folder.path() / "TMPK";
            testing::writeToneWav(tmpk / "base.wav", 6.0, 440.0);
            testing::writeToneWav(tmpk / "voice.wav", 6.0, 0.0);
            testing::writeToneWav(tmpk / "countin.wav", 6.0, 440.0);
            s.chan = BASS_Mixer_StreamCreate(44100, 2, BASS_MIXER_END);
            int i = 0;
            for (const char* name : {"base.wav", "voice.wav", "countin.wav"}) {
                const std::string path = (tmpk / name).string();
                const HSTREAM decoder = BASS_StreamCreateFile(false, path.c_str(), 0, 0, BASS_STREAM_DECODE);
                const HSTREAM stem = BASS_FX_TempoCreate(decoder, BASS_STREAM_DECODE | BASS_FX_FREESOURCE);
                BASS_Mixer_StreamAddChannel(s.chan, stem, 0);
                // Each track's strip as the unpacking leaves it: level 27, its box enabled and set.
                const auto at = static_cast<std::size_t>(i++);
                s.stems[at] = stem;
                s.channelStrip[at].Volume = 27;
                app->ui.Slider2[at]->setValue(27);
                setEnabled(app->ui.Check1[at], true);
                app->ui.Check1[at]->setChecked(true);
            }
            s.stemCount = 3;
            setCaption(app->ui.Label3[0], "Base");
            setCaption(app->ui.Label3[1], "Voce");
            setCaption(app->ui.Label3[2], "CountIn");
        };
    }
    fs::path package() {
        const fs::path path = folder.path() / "Duet.NVK";
        std::ofstream(path, std::ios::binary) << "PK";
        return path;
    }
};

TEST_F(PackageSettingsTest, PackageComesBackWithItsTempoKeyVolumeAndTracks) {
    start();
    const fs::path song = package();
    open(song);
    CmdPlw_Click(*app); // the engine starts anew before the tracks are unpacked
    listen();
    clock.advance(2100);
    const double referenceRms = heardRms();
    ASSERT_GT(referenceRms, 0.05);
    EXPECT_NEAR(heardPitch(), 440.0, 4.0);

    auto& ui = app->ui;
    move(ui.Hstempo, 20, [&] { Hstempo_Change(*app); });
    move(ui.HscrollTempo, 4, [&] { HscrollTempo_Change(*app); });
    move(ui.SldVolume, 75, [&] { SldVolume_Change(*app); });
    move(ui.Slider2[1], 90, [&] { Slider2_Change(*app, 1); }); // the silent voice track
    save(true);
    EXPECT_EQ(settings::songSettingsPath(*app, song.string()), customFile("Duet.NVK.txt").string());
    CmdStw_Click(*app);

    open(song);
    const long long at = clock.nowMs();
    CmdPlw_Click(*app);
    EXPECT_GE(clock.nowMs() - at, 1500) << "the reader's pause";
    listen();
    EXPECT_EQ(ui.Hstempo->value(), 20);
    EXPECT_EQ(caption(ui.LbltKTM), "20%");
    EXPECT_EQ(ui.HscrollTempo->value(), 4);
    EXPECT_EQ(ui.SldVolume->value(), 75);
    EXPECT_EQ(ui.Slider2[1]->value(), 90);
    EXPECT_FALSE(ui.Check1[2]->isChecked()) << "the count-in track comes up muted";
    EXPECT_EQ(app->s.effects.eqOn, vbTrue) << "the equaliser comes on whatever the file says";
    expectSoundOfTheSettings(4, referenceRms, 0.5);
}

TEST_F(PackageSettingsTest, CompressorAndReverbFlagsPutTheirEffectsOn) {
    start();
    open(package());
    CmdPlw_Click(*app);
    // Flags 1 for the compressor (gain 7) and the reverb (level 4); three tracks.
    std::string text = " 0 \r\n 0 \r\n 0 \r\nTrue\r\n 0 \r\n 0 \r\n 5 \r\n";
    for (int i = 0; i < 7; ++i) text += " 0 \r\n";
    text += " 1 \r\n 1 \r\n 50 \r\n 1 \r\n 127 \r\n 1 \r\n 1 \r\n 1 \r\n 7 \r\n 50 \r\n 1 \r\n 4 \r\n 1 \r\n";
    writeCustom("Duet.NVK.txt", text);
    app->ui.Chkphaser->setChecked(false);
    app->ui.ChkRev->setChecked(false);
    ModMulti(*app);
    EXPECT_TRUE(app->ui.Chkphaser->isChecked());
    EXPECT_EQ(app->ui.Sldphaser[1]->value(), 7);
    EXPECT_TRUE(app->ui.ChkRev->isChecked());
    EXPECT_EQ(app->ui.Sldrev->value(), 4);
    EXPECT_NE(app->s.effects.fxCompressor, 0u);
    EXPECT_NE(app->s.effects.fxReverb, 0u);
    EXPECT_TRUE(app->ui.Check1[2]->isChecked()) << "a count-in line of 1 sounds the count-in";
    EXPECT_FALSE(app->ui.Chkequalizer->isChecked()) << "a word in line 4 reads as 0";
}

// Damaged files of each kind, read by each reader: whatever the file holds, no crash and no
// hang, every control within its range, the labels telling the values the controls took, and
// nothing written anywhere.
class DamagedSettingsTest : public SongSettingsTest {
  protected:
    static std::vector<std::pair<std::string, std::string>> damaged() {
        std::mt19937 random(14);
        std::string binary(4096, '\0');
        for (char& c : binary) c = static_cast<char>(random() & 0xff);
        std::string huge, negative, words, longFile;
        for (int i = 0; i < 40; ++i) {
            huge += i % 2 ? " 1e308 \r\n" : " 99999999999999999999 \r\n";
            negative += "-1e9 \r\n";
            words += "abc, def\r\n";
            longFile += " 3 \r\n";
        }
        for (int i = 0; i < 100000; ++i) longFile += " 3 \r\n";
        return {{"empty", ""},      {"short", " 0 \r\n 1 \r\n 0 \r\n 0 \r\n 5 "},
                {"long", longFile}, {"binary", binary},
                {"huge", huge},     {"negative", negative},
                {"words", words},   {"nan", "nan\r\ninf\r\n-inf\r\n1e-400\r\n&HFFFFFFFFFFFFFFFFFF\r\n"}};
    }
    void expectWithinRanges(const std::string& what) {
        auto& ui = app->ui;
        auto number = [](const std::string& text) { return std::atof(text.c_str()); };
        EXPECT_LE(std::fabs(number(caption(ui.Lbltmp))), 30) << what;
        EXPECT_LE(std::fabs(number(caption(ui.LblTone))), 8) << what;
        EXPECT_LE(std::fabs(number(caption(ui.LbltKTM))), 30) << what;
        EXPECT_LE(std::fabs(number(caption(ui.LblToneM))), 8) << what;
        EXPECT_LE(std::fabs(number(caption(ui.LblPitch))), 10) << what;
        const double textR = number(ui.TextR->text().toStdString());
        EXPECT_GE(textR, 0) << what;
        EXPECT_LE(textR, 10) << what;
        EXPECT_TRUE(app->s.midiChannelVolume == 0 || app->s.midiChannelVolume == 127) << what;
        float tempo = 0;
        if (BASS_ChannelGetAttribute(app->s.chan, BASS_ATTRIB_TEMPO, &tempo)) {
            EXPECT_LE(std::fabs(tempo), 30.0f) << what;
        }
        EXPECT_LE(BASS_MIDI_FontGetVolume(app->s.font), 1.0f) << what;
    }
    std::vector<fs::path> everyFile() {
        std::vector<fs::path> files;
        for (const auto& e : fs::recursive_directory_iterator(folder.path())) files.push_back(e.path());
        std::sort(files.begin(), files.end());
        return files;
    }
};

TEST_F(DamagedSettingsTest, EveryReaderTakesEveryDamagedFileQuietly) {
    start();
    const fs::path song = tone("Love.wav", 3.0);
    open(song);
    CmdPlw_Click(*app);
    app->s.stemCount = 3;
    for (const auto& [what, text] : damaged()) {
        // The three readers all find Love.wav.txt: the song's file name names it.
        writeCustom("Love.wav.txt", text);
        const auto files = everyFile();
        app->s.packageFile = song.string();
        ModAudio(*app);
        expectWithinRanges("audio, " + what);
        ModMulti(*app);
        expectWithinRanges("package, " + what);
        modMidi(*app);
        expectWithinRanges("MIDI, " + what);
        EXPECT_EQ(everyFile(), files) << what;
        std::ifstream in(customFile("Love.wav.txt"), std::ios::binary);
        EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), text) << what;
        dialogs.clear(); // "Only Stereo " never shows on a stereo song; any other box fails below
    }
    EXPECT_TRUE(dialogs.unexpected().empty());
}

TEST_F(DamagedSettingsTest, AHundredMegabyteFileIsReadByItsHead) {
    start();
    app->s.FileName = (folder.path() / "Big.mid").string();
    {
        std::ofstream out(customFile("Big.mid.txt"), std::ios::binary);
        const std::string chunk(1 << 20, '9');
        for (int i = 0; i < 100; ++i) out << chunk;
    }
    modMidi(*app); // one value of 100 MB: the head alone is read, then the file has ended
    expectWithinRanges("100 MB");
}

} // namespace
} // namespace velvora
