#include "engine/testing.h"
#include "recording/capture.h"
#include "recording/take_files.h"
#include "recording/take_journal.h"
#include "support/app_fixture.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using namespace recording;
using namespace recordingtest;
using testing::AppFixture;

TEST(ByteRingTest, KeepsOrderAcrossTheWrapAndRefusesWhatDoesNotFitWhole) {
    ByteRing ring(10);
    const std::uint8_t a[] = {1, 2, 3, 4, 5, 6, 7};
    std::uint8_t out[16] = {};
    ASSERT_TRUE(ring.push(a, 7));
    EXPECT_FALSE(ring.push(a, 4)) << "4 bytes do not fit in the 3 left";
    ASSERT_EQ(ring.pop(out, 5), 5u);
    EXPECT_EQ(std::vector<std::uint8_t>(out, out + 5), (std::vector<std::uint8_t>{1, 2, 3, 4, 5}));
    ASSERT_TRUE(ring.push(a, 7)); // wraps round the end
    ASSERT_EQ(ring.pop(out, 16), 9u);
    EXPECT_EQ(std::vector<std::uint8_t>(out, out + 9),
              (std::vector<std::uint8_t>{6, 7, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(ring.pop(out, 16), 0u);
}

TEST(JournalHeaderTest, ReadsBackWhatItWroteCutsALongSongAndRefusesOtherFiles) {
    JournalHeader h{"Volare.kar", "2026-11-23 21:04", 48000, 1, 16};
    const auto bytes = journalHeaderBytes(h);
    ASSERT_EQ(bytes.size(), kJournalHeaderBytes);
    JournalHeader back;
    ASSERT_TRUE(parseJournalHeader(bytes.data(), bytes.size(), back));
    EXPECT_EQ(back.song, h.song);
    EXPECT_EQ(back.date, h.date);
    EXPECT_EQ(back.rate, 48000);
    EXPECT_EQ(back.channels, 1);

    h.song = std::string(2000, 'x');
    const auto longOne = journalHeaderBytes(h);
    ASSERT_EQ(longOne.size(), kJournalHeaderBytes);
    ASSERT_TRUE(parseJournalHeader(longOne.data(), longOne.size(), back));
    EXPECT_EQ(back.rate, 48000) << "the format comes before the song, so a cut never loses it";
    EXPECT_LT(back.song.size(), kJournalHeaderBytes);

    auto other = bytes;
    other[0] = 'X';
    EXPECT_FALSE(parseJournalHeader(other.data(), other.size(), back));
    EXPECT_FALSE(parseJournalHeader(bytes.data(), 100, back)) << "too short";
    std::vector<std::uint8_t> badRate = journalHeaderBytes({"s", "d", 0, 2, 16});
    EXPECT_FALSE(parseJournalHeader(badRate.data(), badRate.size(), back));
}

// Waits on the journal's writer, which runs on real time.
bool waitFor(const std::function<bool()>& done) {
    for (int i = 0; i < 500; ++i) {
        if (done()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return done();
}

std::uintmax_t sizeOf(const fs::path& p) {
    std::error_code ec;
    const auto n = fs::file_size(p, ec);
    return ec ? 0 : n;
}

std::vector<std::int16_t> samplesOf(const std::string& bytes, std::size_t from) {
    std::vector<std::int16_t> s((bytes.size() - from) / 2);
    std::memcpy(s.data(), bytes.data() + from, s.size() * 2);
    return s;
}

TEST(TakeJournalBackingTest, FollowsTheEncodersFileOnlyWhileItIsBeingWritten) {
    velvora::testing::TempFolder dir;
    const fs::path source = dir.path() / "BackingTrack.WAV", backing = dir.path() / "backing.journal";
    const TakeJournal::Paths paths{(dir.path() / "voice.journal").string(), backing.string(),
                                   source.string()};
    const JournalHeader h{"Volare.kar", "2026-11-23 21:04", 44100, 2, 16};

    // An earlier take's finished file, left where the encoder did not start this time.
    writeWav(source, voice(5000, 4), 2, 44100);
    auto j = TakeJournal::open(paths, h, h, nullptr);
    ASSERT_NE(j, nullptr);
    j->close(); // the writer drains once more on its way out
    EXPECT_EQ(sizeOf(backing), kJournalHeaderBytes) << "an earlier take's song is not this take's";

    // The encoder's file as it is being written: its sizes still 0, its samples growing.
    std::string live = readBytes(source);
    std::memset(live.data() + 4, 0, 4);
    std::memset(live.data() + 40, 0, 4);
    std::ofstream(source, std::ios::binary | std::ios::trunc) << live;
    j = TakeJournal::open(paths, h, h, nullptr);
    ASSERT_NE(j, nullptr);
    j->close();
    EXPECT_EQ(readBytes(backing).substr(kJournalHeaderBytes), live) << "copied from its first byte";
}

class TakeJournalTest : public AppFixture {
  protected:
    fs::path voiceWav() { return folder.path() / "TKKK" / "vocaltrack.wav"; }
    fs::path journal() { return journalVoicePath(*app); }
    // Records `frames` of `sung` and stops; the vocal track is written when `write`.
    void take(const std::vector<std::int16_t>& sung, long long ms, bool write) {
        StartCapture(*app);
        ASSERT_NE(app->s.capture.recChan.load(), 0u);
        engine::testing::pushCaptureInput(sung);
        clock.advance(ms);
        StopCapture(*app);
        if (write) WriteCapture(*app);
    }
};

TEST_F(TakeJournalTest, HoldsTheVoiceAsItIsSungAndGoesWhenTheTakeIsWritten) {
    start();
    app->s.FileName = "/songs/Volare.kar";
    StartCapture(*app);
    ASSERT_NE(app->s.capture.recChan.load(), 0u);
    const auto sung = voice(44100);
    engine::testing::pushCaptureInput(sung);
    clock.advance(1050);
    // Still running: the ten blocks delivered reach the journal without a stop.
    ASSERT_TRUE(waitFor([&] { return sizeOf(journal()) == kJournalHeaderBytes + 10 * 17640; }))
        << sizeOf(journal());
    const std::string bytes = readBytes(journal());
    JournalHeader h;
    ASSERT_TRUE(parseJournalHeader(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size(), h));
    EXPECT_EQ(h.song, "Volare.kar");
    EXPECT_EQ(h.rate, 44100);
    EXPECT_EQ(h.channels, 2);
    EXPECT_FALSE(h.date.empty());
    EXPECT_EQ(samplesOf(bytes, kJournalHeaderBytes), sung);

    StopCapture(*app);
    EXPECT_TRUE(fs::exists(journal())) << "stopped but not yet written: the journal stays";
    WriteCapture(*app);
    EXPECT_FALSE(fs::exists(journal()));
    EXPECT_FALSE(fs::exists(journalBackingPath(*app)));
    EXPECT_FALSE(journalLeft(*app));
}

TEST_F(TakeJournalTest, BothFilesOfATakeAreByteIdenticalWithAndWithoutTheJournal) {
    start();
    const fs::path song = folder.path() / "song.wav",
                   backingWav = folder.path() / "TKKK" / "BackingTrack.WAV";
    writeWav(song, voice(20000, 31), 2, 44100);
    const auto sung = voice(30000, 77);
    // A take over the song, its encoder tap started first as the recorder does.
    auto takeOverSong = [&] {
        app->s.recordArmed = true;
        app->s.chan = BASS_StreamCreateFile(0, song.c_str(), 0, 0, BASS_SAMPLE_LOOP);
        ASSERT_NE(app->s.chan.load(), 0u);
        ASSERT_TRUE(BASS_Encode_Start(app->s.chan, backingWav.c_str(), BASS_ENCODE_PCM | BASS_ENCODE_FP_16BIT,
                                      nullptr, nullptr));
        ASSERT_TRUE(BASS_ChannelPlay(app->s.chan, 0));
        take(sung, 800, false);
        BASS_Encode_Stop(app->s.chan);
        BASS_StreamFree(app->s.chan);
        app->s.chan = 0;
        WriteCapture(*app);
        releaseCaptureBuffer(*app); // the take is done with, as after the question of its fate
    };
    takeOverSong();
    EXPECT_FALSE(journalLeft(*app)) << "a take that ends normally leaves no journal";
    const std::string voiceWith = readBytes(voiceWav()), backingWith = readBytes(backingWav);
    app->s.capture.journalOn = false;
    takeOverSong();
    EXPECT_FALSE(fs::exists(journal())) << "no journal when it is off";
    ASSERT_GT(voiceWith.size(), 44u);
    ASSERT_GT(backingWith.size(), 44u);
    // Compared whole, not printed: the files are hundreds of kilobytes.
    EXPECT_TRUE(voiceWith == readBytes(voiceWav()));
    EXPECT_TRUE(backingWith == readBytes(backingWav));
}

TEST_F(TakeJournalTest, AVocalTrackThatCannotBeWrittenLeavesTheJournal) {
    start();
    fs::remove_all(folder.path() / "TKKK");
    std::ofstream(folder.path() / "TKKK") << "a file where the folder should be";
    dialogs.answer(platform::vbOK);
    take(voice(10000), 300, true);
    EXPECT_THAT(dialogs.shown(),
                ::testing::Contains(::testing::Field(&platform::ShownBox::text,
                                                     ::testing::HasSubstr("Can't create the file"))));
    EXPECT_TRUE(journalLeft(*app));
}

TEST_F(TakeJournalTest, AJournalLeftBehindIsNeverWrittenOverByTheNextTake) {
    start();
    fs::create_directories(journalFolder(*app));
    std::ofstream(journal()) << "an unsaved take";
    dialogs.answer(platform::vbOK);
    take(voice(10000, 3), 300, false);
    clock.advance(10);
    EXPECT_EQ(readBytes(journal()), "an unsaved take");
    EXPECT_THAT(dialogs.shown(),
                ::testing::Contains(::testing::Field(&platform::ShownBox::text, kJournalWaitingText)));
    WriteCapture(*app);
    EXPECT_EQ(readBytes(journal()), "an unsaved take")
        << "the new take's end does not remove the old journal";
}

TEST_F(TakeJournalTest, AFullDiskStopsTheJournalOnceWithoutHarmToTheTakeOrWhatItWrote) {
    start();
    StartCapture(*app);
    auto* j = dynamic_cast<TakeJournal*>(app->s.capture.journal.get());
    ASSERT_NE(j, nullptr);
    j->setLimit(3 * 17640 + 1000); // room for three blocks and a bit of the fourth
    dialogs.answer(platform::vbOK);
    const auto sung = voice(88200, 5);
    engine::testing::pushCaptureInput(sung);
    clock.advance(2050);
    ASSERT_TRUE(waitFor([&] { return j->stopped(); }));
    clock.advance(10); // the message is posted to the window's thread
    StopCapture(*app);
    const auto told = std::count_if(dialogs.shown().begin(), dialogs.shown().end(), [](const auto& m) {
        return m.text.find(kJournalStoppedText) != std::string::npos;
    });
    EXPECT_EQ(told, 1);
    // The take went on in memory, whole.
    ASSERT_EQ(app->s.capture.recLength, 44 + 20 * 17640);
    // What the journal holds is the sung voice from its start, never anything else.
    const std::string bytes = readBytes(journal());
    const auto kept = samplesOf(bytes, kJournalHeaderBytes);
    EXPECT_GE(kept.size() * 2, 3u * 17640);
    EXPECT_LE(kept.size() * 2, 3u * 17640 + 1000);
    EXPECT_TRUE(std::equal(kept.begin(), kept.end(), sung.begin()));
    WriteCapture(*app);
    EXPECT_EQ(readWav(voiceWav()).samples, sung);
}

TEST_F(TakeJournalTest, RecoveryWritesEveryWholeFrameOfBothTracksAsValidWavFiles) {
    start();
    fs::create_directories(journalFolder(*app));
    const auto sung = voice(1000, 9);
    const auto song = voice(700, 10);
    {
        std::ofstream v(journal(), std::ios::binary);
        const auto h = journalHeaderBytes({"Volare.kar", "2026-11-23 20:00", 44100, 2, 16});
        v.write(reinterpret_cast<const char*>(h.data()), static_cast<std::streamsize>(h.size()));
        v.write(reinterpret_cast<const char*>(sung.data()), static_cast<std::streamsize>(sung.size() * 2));
        v.write("\x01\x02\x03", 3); // a frame torn by the kill
    }
    {
        // The encoder's own file as the journal copied it: its header with sizes 0, then samples.
        const fs::path tmp = folder.path() / "enc.wav";
        writeWav(tmp, song, 2, 48000);
        std::string enc = readBytes(tmp);
        std::memset(enc.data() + 4, 0, 4);
        std::memset(enc.data() + 40, 0, 4);
        std::ofstream b(journalBackingPath(*app), std::ios::binary);
        const auto h = journalHeaderBytes({"Volare.kar", "2026-11-23 20:00", 44100, 2, 16});
        b.write(reinterpret_cast<const char*>(h.data()), static_cast<std::streamsize>(h.size()));
        b << enc << "\x7f";
    }
    JournalFound found;
    ASSERT_TRUE(readJournal(journal(), journalBackingPath(*app), found));
    EXPECT_EQ(found.voiceBytes, 4000u);
    EXPECT_TRUE(found.hasBacking);
    EXPECT_EQ(found.backingRate, 48000);
    const fs::path v = folder.path() / "TKKK" / "vocaltrack.wav",
                   b = folder.path() / "TKKK" / "BackingTrack.WAV";
    ASSERT_TRUE(writeRecoveredTake(journal(), journalBackingPath(*app), found, v, b));
    const Wav vw = readWav(v), bw = readWav(b);
    EXPECT_TRUE(vw.canonical);
    EXPECT_EQ(vw.riffSize, vw.fileSize - 8);
    EXPECT_EQ(vw.samples, sung);
    EXPECT_TRUE(bw.canonical);
    EXPECT_EQ(bw.rate, 48000u);
    EXPECT_EQ(bw.samples, song);
    for (const auto& path : {v, b}) {
        SF_INFO info{};
        SNDFILE* f = sf_open(path.c_str(), SFM_READ, &info);
        EXPECT_NE(f, nullptr) << path;
        if (f) sf_close(f);
    }

    // Something else under the journal's name is no journal and writes nothing.
    std::ofstream(journal(), std::ios::trunc) << "not a journal";
    EXPECT_FALSE(readJournal(journal(), journalBackingPath(*app), found));
}

} // namespace
} // namespace velvora
