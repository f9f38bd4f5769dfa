// Seeking: any packet's screen, reached from anywhere, equals drawing the file from its start.
#include "cdg/busy_song.h"
#include "cdg/cdg_writer.h"
#include "cdg/decoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>

namespace velvora::cdg {
namespace {

using testing::CdgWriter;

// The screen after each of the given packet counts, drawn straight through from the start.
std::map<std::size_t, Screen> straightThrough(const CdgWriter::Bytes& bytes, std::vector<std::size_t> at) {
    std::sort(at.begin(), at.end());
    std::map<std::size_t, Screen> out;
    Screen s;
    std::size_t done = 0;
    for (std::size_t n : at) {
        for (; done < n; ++done)
            s.apply(std::span<const std::uint8_t, kPacketBytes>(&bytes[done * kPacketBytes], kPacketBytes));
        out[n] = s;
    }
    return out;
}

TEST(CdgSeek, AnyOrderOfSeeksGivesTheStraightThroughScreens) {
    const CdgWriter::Bytes bytes = testing::busyCdg(40, 7);
    Decoder d(bytes);
    ASSERT_EQ(d.packetCount(), 40u * kPacketsPerSecond);
    EXPECT_GT(d.savedScreenCount(), 3u);
    EXPECT_GT(d.restartPointCount(), d.savedScreenCount());
    // Backwards, forwards, onto and just beside restart points, the very start and end.
    std::vector<std::size_t> at = {d.packetCount(), 0, 1, 11999, 5000, 5001, 5002, 300, 9000, 8999, 12000, 2};
    for (std::size_t k = 0; k < 40; ++k) at.push_back((k * 7919) % d.packetCount());
    const std::map<std::size_t, Screen> expected = straightThrough(bytes, at);
    for (std::size_t n : at) {
        ASSERT_EQ(d.seek(n), expected.at(n)) << "seek to " << n;
        EXPECT_EQ(d.position(), n);
    }
}

TEST(CdgSeek, PlaybackStepsForwardAndSeeksPastTheEndStopThere) {
    const CdgWriter::Bytes bytes = testing::busyCdg(6, 3);
    Decoder d(bytes);
    std::vector<std::size_t> at;
    for (std::size_t n = 0; n <= d.packetCount(); n += 10) at.push_back(n); // 30 frames a second
    const std::map<std::size_t, Screen> expected = straightThrough(bytes, at);
    for (std::size_t n : at) ASSERT_EQ(d.seek(n), expected.at(n)) << n;
    EXPECT_EQ(d.seek(std::numeric_limits<std::size_t>::max()), expected.at(d.packetCount()));
    EXPECT_EQ(d.position(), d.packetCount());
}

TEST(CdgSeek, APartialLastPacketAndAnEmptyFileDrawNothing) {
    CdgWriter w;
    w.memoryPreset(4).solidTile(2, 1, 1);
    CdgWriter::Bytes bytes = w.bytes();
    const Screen whole = Decoder(bytes).seek(2);
    bytes.insert(bytes.end(), {9, 1, 0, 0, 7}); // a memory preset cut short
    Decoder d(bytes);
    EXPECT_EQ(d.packetCount(), 2u);
    EXPECT_EQ(d.seek(3), whole);
    Decoder empty({});
    EXPECT_EQ(empty.packetCount(), 0u);
    EXPECT_EQ(empty.seek(100), Screen{});
}

TEST(CdgSeek, ScrollOnlyFilesKeepFewSavedScreens) {
    CdgWriter w;
    w.memoryPreset(1).solidTile(2, 3, 3);
    for (int i = 0; i < 60 * kPacketsPerSecond; ++i)
        w.scroll(i % 2 == 0, 5, 1 + i % 2, 0, 1 + (i / 2) % 2, 0);
    Decoder d(w.bytes());
    // At most one saved screen a second of packets, and not many fewer, or seeks would replay long.
    EXPECT_LE(d.savedScreenCount(), 60u);
    EXPECT_GE(d.savedScreenCount(), 50u);
    const std::map<std::size_t, Screen> expected = straightThrough(w.bytes(), {17999, 9001});
    EXPECT_EQ(d.seek(17999), expected.at(17999));
    EXPECT_EQ(d.seek(9001), expected.at(9001));
}

TEST(CdgSeek, TimesBecomePacketCounts) {
    EXPECT_EQ(Decoder::packetAt(0.0), 0u);
    EXPECT_EQ(Decoder::packetAt(1.0), 300u);
    EXPECT_EQ(Decoder::packetAt(0.1), 30u); // not 29 from 0.1 * 300 rounding down
    EXPECT_EQ(Decoder::packetAt(1.0 / 300 * 0.99), 0u);
    EXPECT_EQ(Decoder::packetAt(-5), 0u);
    EXPECT_EQ(Decoder::packetAt(std::nan("")), 0u);
    EXPECT_GT(Decoder::packetAt(1e300), 1000000000u);
    CdgWriter w;
    w.silence(450);
    EXPECT_DOUBLE_EQ(Decoder(w.bytes()).durationSeconds(), 1.5);
}

} // namespace
} // namespace velvora::cdg
