// The entry points over LAME: what the record says shows in the frames; bad handles, records and
// sizes are refused with their statuses.
#include "encoding/lame_shim.h"
#include "encoding/mp3_frames.h"
#include "encoding/wav_bytes.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

namespace {

using namespace velvora::encoding;
using namespace enctest;

BeConfig packageRecord() {
    BeConfig c{};
    c.configKind = kBeConfigLame;
    c.structVersion = 1;
    c.structSize = sizeof(BeConfig);
    c.inputRate = 44100;
    c.mode = kModeStereo;
    c.bitrate = 256;
    c.preset = kPresetCbr;
    c.mpegVersion = kMpeg1;
    c.original = 1;
    c.noReservoir = 1;
    return c;
}

// Encodes `seconds` of two tones with the record; the bytes of the stream.
Bytes encode(const BeConfig& c, double seconds, std::uint32_t rate = 44100) {
    std::uint32_t samples = 0, room = 0, h = 0;
    EXPECT_EQ(beInitStream(&c, &samples, &room, &h), kBeOk);
    const auto input = twoTone(static_cast<std::size_t>(seconds * rate), rate);
    Bytes out, block(room);
    std::uint32_t written = 0;
    for (std::size_t at = 0; at + samples <= input.size(); at += samples) {
        EXPECT_EQ(beEncodeChunk(h, samples, input.data() + at, block.data(), &written), kBeOk);
        out.insert(out.end(), block.begin(), block.begin() + written);
    }
    EXPECT_EQ(beDeinitStream(h, block.data(), &written), kBeOk);
    out.insert(out.end(), block.begin(), block.begin() + written);
    EXPECT_EQ(beCloseStream(h), kBeOk);
    return out;
}

TEST(LameShim, ChunkSizeAndOutputRoomForMpegOne) {
    const BeConfig c = packageRecord();
    std::uint32_t samples = 0, room = 0, h = 0;
    ASSERT_EQ(beInitStream(&c, &samples, &room, &h), kBeOk);
    EXPECT_NE(h, 0u);
    EXPECT_EQ(samples, 2304u);
    EXPECT_GE(room, 7200u + 1440u);
    EXPECT_EQ(beCloseStream(h), kBeOk);
}

TEST(LameShim, TheRecordsHeaderBitsModeAndRatesShowInEveryFrame) {
    BeConfig c = packageRecord();
    c.crc = 1;
    c.copyright = 1;
    c.privateBit = 1;
    c.original = 0;
    c.mode = kModeMono;
    c.bitrate = 128;
    c.inputRate = 48000;
    const auto fs = mp3Frames(encode(c, 2, 48000));
    ASSERT_GT(fs.size(), 60u);
    const FrameValues v = valuesOf(fs);
    EXPECT_EQ(v.kbps, std::set<int>{128});
    EXPECT_EQ(v.rate, std::set<int>{48000});
    EXPECT_EQ(v.mode, std::set<int>{3});
    EXPECT_EQ(v.crc, std::set<bool>{true});
    EXPECT_EQ(v.copyright, std::set<bool>{true});
    EXPECT_EQ(v.privateBit, std::set<bool>{true});
    EXPECT_EQ(v.original, std::set<bool>{false});

    // MPEG-2 at the nearest of its rates, joint stereo.
    c = packageRecord();
    c.mpegVersion = kMpeg2;
    c.mode = kModeJointStereo;
    c.bitrate = 64;
    c.inputRate = 22050;
    const auto fs2 = mp3Frames(encode(c, 1, 22050));
    ASSERT_FALSE(fs2.empty());
    const FrameValues v2 = valuesOf(fs2);
    EXPECT_EQ(v2.mpegVersion, std::set<int>{2});
    EXPECT_EQ(v2.rate, std::set<int>{22050});
    EXPECT_EQ(v2.kbps, std::set<int>{64});
    EXPECT_EQ(v2.mode, std::set<int>{1});
}

TEST(LameShim, AVariableRateRecordVariesTheRateWithinItsBounds) {
    BeConfig c = packageRecord();
    c.preset = kPresetNone;
    c.enableVbr = 1;
    c.vbrQuality = 2;
    c.bitrate = 96;
    c.maxBitrate = 224;
    c.mode = kModeJointStereo;
    const std::set<int> rates = valuesOf(mp3Frames(encode(c, 3))).kbps;
    ASSERT_GT(rates.size(), 1u);
    EXPECT_LE(*rates.rbegin(), 224);
}

TEST(LameShim, BadRecordsHandlesAndSizesAreRefused) {
    BeConfig c = packageRecord();
    std::uint32_t samples = 0, room = 0, h = 0;
    c.configKind = 0;
    EXPECT_EQ(beInitStream(&c, &samples, &room, &h), kBeInvalidFormat);
    EXPECT_EQ(h, 0u);
    for (auto spoil : std::vector<void (*)(BeConfig&)>{
             [](BeConfig& r) { r.bitrate = 255; }, [](BeConfig& r) { r.mode = 4; },
             [](BeConfig& r) { r.mpegVersion = 2; }, [](BeConfig& r) { r.outputRate = 22050; },
             [](BeConfig& r) { r.inputRate = 0; }, [](BeConfig& r) { r.preset = 9999; }}) {
        c = packageRecord();
        spoil(c);
        EXPECT_EQ(beInitStream(&c, &samples, &room, &h), kBeInvalidFormatParameters);
    }
    EXPECT_EQ(beInitStream(nullptr, &samples, &room, &h), kBeInvalidFormatParameters);

    c = packageRecord();
    ASSERT_EQ(beInitStream(&c, &samples, &room, &h), kBeOk);
    std::vector<std::int16_t> pcm(samples * 2, 0);
    Bytes out(room);
    std::uint32_t written = 0;
    EXPECT_EQ(beEncodeChunk(h, samples + 2, pcm.data(), out.data(), &written), kBeBufferTooSmall);
    EXPECT_EQ(beEncodeChunk(h + 1000, samples, pcm.data(), out.data(), &written), kBeInvalidHandle);
    EXPECT_EQ(beCloseStream(h), kBeOk);
    // A closed handle is refused everywhere.
    EXPECT_EQ(beEncodeChunk(h, samples, pcm.data(), out.data(), &written), kBeInvalidHandle);
    EXPECT_EQ(beDeinitStream(h, out.data(), &written), kBeInvalidHandle);
    EXPECT_EQ(beCloseStream(h), kBeInvalidHandle);
}

TEST(LameShim, StreamsRunOutAtSixtyFour) {
    const BeConfig c = packageRecord();
    std::vector<std::uint32_t> open;
    std::uint32_t samples = 0, room = 0, h = 0, status = kBeOk;
    while ((status = beInitStream(&c, &samples, &room, &h)) == kBeOk && open.size() < 100) open.push_back(h);
    EXPECT_EQ(status, kBeOutOfHandles);
    EXPECT_EQ(open.size(), 64u);
    for (std::uint32_t s : open) EXPECT_EQ(beCloseStream(s), kBeOk);
    ASSERT_EQ(beInitStream(&c, &samples, &room, &h), kBeOk);
    EXPECT_EQ(beCloseStream(h), kBeOk);
}

} // namespace
