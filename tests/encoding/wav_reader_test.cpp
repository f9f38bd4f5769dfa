#include "encoding/encoding_checks.h"
#include "encoding/raised_error.h"
#include "encoding/wav_bytes.h"
#include "encoding/wav_reader.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <map>

namespace {

using velvora::encoding::cWavReader;
using velvora::encoding::RaisedError;
using namespace enctest;

// The number and text a reader error must carry, from its code.
void expectReaderError(int code, const std::string& text, const std::function<void()>& f) {
    expectRaised(29670 + code, "velvora.cWavePlayer", text, f);
}

const std::string kOnlyStereo = "Only stereo 16 bit wave files supported.";

// A refused open leaves the reader closed, with no name kept.
void expectClosed(cWavReader& r) {
    EXPECT_EQ(r.Filename(), "");
    EXPECT_EQ(r.ReadBufferPtr(), nullptr);
    EXPECT_EQ(r.AudioLength(), 0);
    expectReaderError(6, "No Wave File Open", [&] { r.Read(); });
}

TEST(WavReader, RefusesAllButStereoSixteenBit) {
    Folder dir;
    const std::map<std::string, Format> refused = {
        {"mono16.wav", {1, 1, 44100, 16}},  {"stereo8.wav", {1, 2, 44100, 8}},
        {"mono8.wav", {1, 1, 22050, 8}},    {"stereo24.wav", {1, 2, 48000, 24}},
        {"float32.wav", {3, 2, 44100, 32}}, {"six16.wav", {1, 6, 44100, 16}},
    };
    for (const auto& [name, format] : refused) {
        SCOPED_TRACE(name);
        writeFile(dir / name, wav(format, Bytes(96, 0x11)));
        cWavReader r("velvora");
        expectReaderError(1, kOnlyStereo, [&] { r.Filename((dir / name).string()); });
        expectClosed(r);
    }
}

TEST(WavReader, AcceptsStereoSixteenBitAtAnyRateAndTellsItsFormat) {
    Folder dir;
    for (std::uint32_t rate : {8000u, 44100u, 96000u, 12345u}) {
        const auto path = dir / ("r" + std::to_string(rate) + ".wav");
        writeStereoWav(path, pattern(10), rate);
        cWavReader r("velvora");
        r.Filename(path.string());
        EXPECT_EQ(r.Filename(), path.string());
        EXPECT_EQ(r.AudioLength(), 10);
        EXPECT_EQ(r.Format().samplesPerSec, rate);
        EXPECT_EQ(r.Format().blockAlign, 4);
    }
}

TEST(WavReader, TruncatedFilesAreRefusedWherever_TheyAreCut) {
    Folder dir;
    const Bytes whole = wav(Format{}, samplesAsBytes(pattern(1000)));
    // Cut inside the samples: the data chunk says more than the file holds.
    const std::map<std::size_t, std::pair<int, std::string>> cuts = {
        {whole.size() - 1, {6, "No Wave File Open"}},
        {44 + 1000, {6, "No Wave File Open"}},
        {44, {6, "No Wave File Open"}}, // the data chunk's header only
        {40, {6, "No Wave File Open"}}, // inside the data chunk's header
        {36, {6, "No Wave File Open"}}, // the format, then nothing
        {26, {1, kOnlyStereo}},         // inside the format: channels read, bits missing
        {12, {4, "Unable to retrieve format chunk"}},
        {11, {3, "Not a Wave file."}},
        {0, {3, "Not a Wave file."}},
    };
    for (const auto& [size, expected] : cuts) {
        SCOPED_TRACE(size);
        writeFile(dir / "cut.wav", Bytes(whole.begin(), whole.begin() + static_cast<long>(size)));
        cWavReader r("velvora");
        expectReaderError(expected.first, expected.second, [&] { r.Filename((dir / "cut.wav").string()); });
        expectClosed(r);
    }
}

TEST(WavReader, OpenFailuresHaveTheirOwnWords) {
    Folder dir;
    cWavReader r("velvora");
    EXPECT_FALSE(r.OpenFile(""));
    expectReaderError(2, "Unable to open file.", [&] { r.OpenFile((dir / "missing.wav").string()); });
    expectReaderError(2, "Unable to open file.", [&] { r.OpenFile(dir.path().string()); });

    writeFile(dir / "text.wav", Bytes{'h', 'e', 'l', 'l', 'o', ' ', 'w', 'o', 'r', 'l', 'd', '!', '!', '!'});
    expectReaderError(3, "Not a Wave file.", [&] { r.OpenFile((dir / "text.wav").string()); });

    Bytes avi;
    putId(avi, "RIFF");
    put32(avi, 16);
    putId(avi, "AVI ");
    putChunk(avi, "data", Bytes(4, 0));
    writeFile(dir / "avi.wav", avi);
    expectReaderError(3, "Not a Wave file.", [&] { r.OpenFile((dir / "avi.wav").string()); });

    Bytes noFmt;
    putChunk(noFmt, "data", Bytes(16, 0));
    writeFile(dir / "nofmt.wav", riff(noFmt));
    expectReaderError(4, "Unable to retrieve format chunk",
                      [&] { r.OpenFile((dir / "nofmt.wav").string()); });

    Bytes noData;
    putChunk(noData, "fmt ", fmtBody(Format{}));
    putChunk(noData, "LIST", Bytes(10, 'x'));
    writeFile(dir / "nodata.wav", riff(noData));
    expectReaderError(6, "No Wave File Open", [&] { r.OpenFile((dir / "nodata.wav").string()); });

    // The data chunk is looked for only after the format chunk.
    Bytes dataFirst;
    putChunk(dataFirst, "data", Bytes(16, 0));
    putChunk(dataFirst, "fmt ", fmtBody(Format{}));
    writeFile(dir / "datafirst.wav", riff(dataFirst));
    expectReaderError(6, "No Wave File Open", [&] { r.OpenFile((dir / "datafirst.wav").string()); });
    expectClosed(r);
}

TEST(WavReader, FindsChunksPastOtherChunksOddSizesAndLongFormats) {
    Folder dir;
    const auto samples = pattern(64);
    Bytes chunks;
    putChunk(chunks, "JUNK", Bytes(7, 'j')); // odd: a pad byte follows
    Bytes fmt = fmtBody(Format{});
    fmt.resize(60, 0); // longer than the 50 bytes kept of it
    putChunk(chunks, "fmt ", fmt);
    putChunk(chunks, "LIST", Bytes(13, 'l'));
    putChunk(chunks, "data", samplesAsBytes(samples));
    putChunk(chunks, "id3 ", Bytes(5, 'i'));
    writeFile(dir / "chunky.wav", riff(chunks));

    cWavReader r("velvora");
    r.ReadBufferSize(1000);
    ASSERT_TRUE(r.OpenFile((dir / "chunky.wav").string()));
    EXPECT_EQ(r.AudioLength(), 64);
    EXPECT_EQ(r.BufferStartPosition(), 0);
    EXPECT_FALSE(r.Read());
    ASSERT_EQ(r.ReadSize(), 64);
    EXPECT_EQ(std::memcmp(r.ReadBufferPtr(), samples.data(), samples.size() * 2), 0);
}

TEST(WavReader, TheLastBlockComesWithFalse) {
    Folder dir;
    for (std::size_t frames : {300u, 250u, 100u, 1u}) {
        SCOPED_TRACE(frames);
        const auto samples = pattern(frames);
        const std::string path = writeStereoWav(dir / "blocks.wav", samples);
        cWavReader r("velvora");
        r.ReadBufferSize(100);
        ASSERT_TRUE(r.OpenFile(path));
        std::size_t at = 0;
        // Every block but the last: true, a whole block, the file's own samples.
        while (frames - at > 100) {
            ASSERT_TRUE(r.Read());
            ASSERT_EQ(r.ReadSize(), 100);
            EXPECT_EQ(std::memcmp(r.ReadBufferPtr(), samples.data() + at * 2, 400), 0);
            at += 100;
            EXPECT_EQ(r.BufferStartPosition(), static_cast<std::int64_t>(at * 4));
        }
        // The last, whole or not: false, with what it held.
        EXPECT_FALSE(r.Read());
        EXPECT_EQ(r.ReadSize(), static_cast<std::int32_t>(frames - at));
        EXPECT_EQ(std::memcmp(r.ReadBufferPtr(), samples.data() + at * 2, (frames - at) * 4), 0);
        // Past the end: false, nothing read, the size of the last read kept.
        EXPECT_FALSE(r.Read());
        EXPECT_EQ(r.ReadSize(), static_cast<std::int32_t>(frames - at));
        r.CloseFile();
        EXPECT_EQ(r.ReadSize(), 0);
    }
}

TEST(WavReader, BufferSizeMemoryAndPositionErrors) {
    Folder dir;
    const std::string path = writeStereoWav(dir / "ten.wav", pattern(10));
    cWavReader r("velvora");
    EXPECT_EQ(r.ReadBufferSize(), 32768);
    for (std::int32_t frames : {-1, 0}) {
        r.ReadBufferSize(frames);
        expectReaderError(7, "Insufficient memory", [&] { r.OpenFile(path); });
        expectClosed(r);
    }
    r.ReadBufferSize(4);
    ASSERT_TRUE(r.OpenFile(path));
    expectReaderError(9, "Cannot change buffer size whilst a file is open.", [&] { r.ReadBufferSize(8); });
    EXPECT_EQ(r.ReadBufferSize(), 4);

    expectReaderError(8, "Position out of range", [&] { r.SeekAbsolute(-1); });
    expectReaderError(8, "Position out of range", [&] { r.SeekAbsolute(11); });
    r.SeekAbsolute(8);
    EXPECT_EQ(r.BufferStartPosition(), 32);
    EXPECT_FALSE(r.Read());
    EXPECT_EQ(r.ReadSize(), 2);
    r.SeekAbsolute(10);
    EXPECT_FALSE(r.Read());
    EXPECT_EQ(r.ReadSize(), 2);

    // A relative move is measured from the file's second byte, and starts from there: 44 bytes of
    // header put the first sample 11 frames on.
    expectReaderError(8, "Position out of range", [&] { r.SeekRelative(10); });
    r.SeekRelative(13);
    EXPECT_EQ(r.BufferStartPosition(), 1 + 13 * 4 - 44);
    expectReaderError(8, "Position out of range", [&] { r.SeekRelative(22); });

    r.CloseFile();
    r.ReadBufferSize(8);
    EXPECT_EQ(r.ReadBufferSize(), 8);
}

// Files written by other programs: each either refused with the reader's words or read whole.
TEST(WavReader, RealFilesAreRefusedOrReadCleanly) {
    const std::map<std::string, int> expected = {
        {"atl__cue.wav", 1},                               // 8-bit mono
        {"atl__illegal_id3v2.wav", 3},                     // a tag before the RIFF header
        {"atl__rifx.wav", 3},                              // big-endian container
        {"audio-scan__bug14462-wav-bad-data-size.wav", 1}, // 8-bit mono
        {"audio-scan__wav32.wav", 1},                      // 32-bit float
        {"hound__crash-e879de4eb4d206c59e21f0e01def16457af80fdc.wav", 4},
        {"hound__nonstandard-01.wav", 1}, // 24-bit
        {"hound__pcmwaveformat-16bit-44100Hz-mono-extra.wav", 1},
        {"hound__pcmwaveformat-16bit-44100Hz-mono.wav", 1},
        {"hound__pcmwaveformat-24bit-4byte-48kHz-stereo.wav", 1},
        {"hound__pcmwaveformat-8bit-44100Hz-mono.wav", 1},
        {"hound__waveformatex-8bit-11025Hz-mono.wav", 1},
        {"hound__waveformatex-ieeefloat-44100Hz-mono.wav", 1},
        {"hound__waveformatextensible-24bit-192kHz-mono.wav", 1},
        {"hound__waveformatextensible-24bit-4byte-48kHz-stereo.wav", 1},
        {"music-metadata__issue-819.wav", 1},               // 16-bit mono
        {"music-metadata__odd-list-type.wav", 1},           // 24-bit stereo
        {"mutagen__silence-2s-PCM-16000-08-ID3v23.wav", 1}, // 8-bit stereo
        {"taglib__alaw.wav", 1},                            // A-law, 8 bits
        {"taglib__float64.wav", 1},
        {"taglib__invalid-chunk.wav", 4},       // no format chunk
        {"taglib__pcm_with_fact_chunk.wav", 0}, // stereo 16-bit: read
        {"taglib__zero-size-chunk.wav", 4},     // RIFF size 8: nothing inside
    };
    const std::filesystem::path folder = std::filesystem::path(VELVORA_REALDATA) / "wav";
    if (!std::filesystem::is_directory(folder)) GTEST_SKIP() << "no real data beside the clone";
    std::size_t seen = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        SCOPED_TRACE(name);
        const auto it = expected.find(name);
        ASSERT_NE(it, expected.end()) << "a real file with no stated outcome";
        ++seen;
        cWavReader r("velvora");
        r.ReadBufferSize(1024);
        try {
            r.Filename(entry.path().string());
            EXPECT_EQ(it->second, 0) << "read, but should be refused with code " << it->second;
            const std::int64_t fileSize = static_cast<std::int64_t>(entry.file_size());
            std::int64_t frames = 0;
            while (r.Read()) frames += r.ReadSize();
            frames += r.ReadSize();
            EXPECT_EQ(frames, r.AudioLength());
            EXPECT_LE(r.BufferStartPosition(), fileSize);
        } catch (const RaisedError& e) {
            EXPECT_EQ(e.number(), 29670 + it->second) << e.description();
            EXPECT_EQ(e.source(), "velvora.cWavePlayer");
            expectClosed(r);
        }
    }
    EXPECT_EQ(seen, expected.size());
}

} // namespace
