// The converter program's conversion and its window, with scripted dialogs.
#include "encoding/encoding_checks.h"
#include "encoding/mp3_frames.h"
#include "encoding/wav_bytes.h"
#include "encoding/wav_to_mp3.h"
#include "mp3enc/converter_window.h"
#include "platform/scripted/scripted_dialogs.h"

#include <QApplication>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>

#include <gtest/gtest.h>

namespace {

using namespace enctest;
using velvora::encoding::ConvertOutcome;
using velvora::encoding::convertWavToMp3;

TEST(WavToMp3, ConvertsAtTheWavsOwnRateAndLeavesNothingElse) {
    Folder dir;
    const std::string wav = writeStereoWav(dir / "song.wav", twoTone(48000), 48000);
    std::int64_t lastDone = -1, lastTotal = 0;
    const ConvertOutcome o = convertWavToMp3(wav, (dir / "song.mp3").string(), "mp3enc",
                                             [&](std::int64_t done, std::int64_t total, bool&) {
                                                 lastDone = done;
                                                 lastTotal = total;
                                             });
    ASSERT_EQ(o.status, ConvertOutcome::Done) << o.description;
    EXPECT_EQ(lastDone, lastTotal);
    EXPECT_EQ(lastTotal, 96000);
    const auto fs = mp3Frames(readFile(dir / "song.mp3"));
    ASSERT_FALSE(fs.empty());
    EXPECT_EQ(fs[0].rate, 48000);
    EXPECT_EQ(fs[0].kbps, 256);
    EXPECT_EQ(filesIn(dir.path()).size(), 2u);
    EXPECT_EQ(velvora::encoding::mp3NameFor("/a/b/song.WAV"), "/a/b/song.mp3");
}

TEST(WavToMp3, AnEarlierMp3IsReplacedOnlyByAWholeOne) {
    Folder dir;
    const std::string target = (dir / "song.mp3").string();
    writeFile(target, Bytes{7, 7, 7});
    writeFile(dir / "mono.wav", wav(Format{1, 1, 44100, 16}, Bytes(8000, 0)));
    ConvertOutcome o = convertWavToMp3((dir / "mono.wav").string(), target, "mp3enc");
    EXPECT_EQ(o.status, ConvertOutcome::Failed);
    EXPECT_EQ(o.number, 29671);
    EXPECT_EQ(o.source, "mp3enc.cWavePlayer");
    EXPECT_EQ(o.description, "Only stereo 16 bit wave files supported.");
    EXPECT_EQ(readFile(target), (Bytes{7, 7, 7}));

    const std::string song = writeStereoWav(dir / "song.wav", twoTone(10 * 1152));
    o = convertWavToMp3(song, target, "mp3enc",
                        [](std::int64_t done, std::int64_t, bool& cancel) { cancel = done >= 4 * 2304; });
    EXPECT_EQ(o.status, ConvertOutcome::Cancelled);
    EXPECT_EQ(readFile(target), (Bytes{7, 7, 7}));

    o = convertWavToMp3(song, song, "mp3enc");
    EXPECT_EQ(o.status, ConvertOutcome::Failed);
    EXPECT_EQ(o.number, 29872);

    o = convertWavToMp3(song, target, "mp3enc");
    EXPECT_EQ(o.status, ConvertOutcome::Done);
    EXPECT_FALSE(mp3Frames(readFile(target)).empty());
    EXPECT_EQ(filesIn(dir.path()).size(), 3u);
}

TEST(ConverterWindow, ConvertsTheChosenFileAndReportsARefusal) {
    ensureQtApplication();
    Folder dir;
    platform::ScriptedDialogs dialogs;
    velvora::mp3enc::ConverterWindow window(dialogs, "mp3enc");
    EXPECT_EQ(window.windowTitle(), "Wav to Mp3");

    const std::string take = writeStereoWav(dir / "take.wav", twoTone(20 * 1152));
    dialogs.answerFile(take);
    dialogs.answerFile((dir / "take.mp3").string());
    window.chooseAndConvert();
    EXPECT_EQ(window.status->text(), "Done: take.mp3");
    EXPECT_EQ(window.progress->value(), window.progress->maximum());
    EXPECT_TRUE(window.chooseButton->isEnabled());
    EXPECT_FALSE(window.cancelButton->isEnabled());
    EXPECT_FALSE(mp3Frames(readFile(dir / "take.mp3")).empty());
    ASSERT_EQ(dialogs.shown().size(), 2u);
    EXPECT_EQ(dialogs.shown()[1].kind, platform::ShownBox::Save);

    writeFile(dir / "mono.wav", wav(Format{1, 1, 44100, 16}, Bytes(8000, 0)));
    dialogs.clear();
    dialogs.answerFile((dir / "mono.wav").string());
    dialogs.answerFile((dir / "mono.mp3").string());
    dialogs.answer(platform::vbOK);
    window.chooseAndConvert();
    ASSERT_EQ(dialogs.shown().size(), 3u);
    EXPECT_EQ(dialogs.shown()[2].text, "Only stereo 16 bit wave files supported.");
    EXPECT_EQ(dialogs.shown()[2].caption, "Wav to Mp3");
    EXPECT_FALSE(std::filesystem::exists(dir / "mono.mp3"));

    // A cancel in the file dialog does nothing.
    dialogs.clear();
    dialogs.answerFile(std::nullopt);
    window.chooseAndConvert();
    EXPECT_EQ(dialogs.shown().size(), 1u);
    EXPECT_TRUE(dialogs.unexpected().empty());
}

TEST(ConverterWindow, CancelIsHeardWhileConverting) {
    ensureQtApplication();
    Folder dir;
    platform::ScriptedDialogs dialogs;
    velvora::mp3enc::ConverterWindow window(dialogs, "mp3enc");
    const std::string wav = writeStereoWav(dir / "long.wav", twoTone(100 * 1152));
    dialogs.answerFile(wav);
    dialogs.answerFile((dir / "long.mp3").string());
    // The first time the bar moves, the user presses Cancel.
    QObject::connect(window.progress, &QProgressBar::valueChanged, [&](int v) {
        if (v > 0 && window.cancelButton->isEnabled()) window.cancelButton->click();
    });
    window.chooseAndConvert();
    EXPECT_EQ(window.status->text(), "Cancelled.");
    EXPECT_FALSE(std::filesystem::exists(dir / "long.mp3"));
    EXPECT_EQ(filesIn(dir.path()), std::vector<std::string>{"long.wav"});
}

} // namespace
