// Each instruction on files written packet by packet, checked on the decoded screen's pixels.
#include "cdg/cdg_writer.h"
#include "cdg/decoder.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace velvora::cdg {
namespace {

using testing::CdgWriter;

Screen decode(const CdgWriter& w) {
    Decoder d(w.bytes());
    return d.seek(d.packetCount());
}

// How many pixels of the rectangle [x0, x1) x [y0, y1) have the index.
int count(const Screen& s, int x0, int y0, int x1, int y1, int index) {
    int n = 0;
    for (int y = y0; y < y1; ++y)
        for (int x = x0; x < x1; ++x) n += s.pixel(x, y) == index;
    return n;
}
int countAll(const Screen& s, int index) {
    return count(s, 0, 0, kWidth, kHeight, index);
}

constexpr std::array<int, 12> kArrow = {0x20, 0x30, 0x38, 0x3C, 0x3E, 0x3F,
                                        0x01, 0x02, 0x04, 0x08, 0x10, 0x21};

TEST(CdgPresets, MemoryPresetFillsTheWholeScreenAndRepeatsArePassedOver) {
    CdgWriter w;
    w.memoryPreset(5);
    EXPECT_EQ(countAll(decode(w), 5), kWidth * kHeight);
    w.solidTile(3, 4, 4).memoryPreset(9, 1).memoryPreset(9, 15); // copies that only restate it
    Screen s = decode(w);
    EXPECT_EQ(countAll(s, 5), kWidth * kHeight - 72);
    EXPECT_EQ(count(s, 24, 48, 30, 60, 3), 72);
    w.memoryPreset(0x17, 0x10); // only the low four bits count: colour 7, repeat 0
    EXPECT_EQ(countAll(decode(w), 7), kWidth * kHeight);
}

TEST(CdgPresets, BorderPresetFillsTheBorderAndLeavesTheShownArea) {
    CdgWriter w;
    w.memoryPreset(1).borderPreset(0x24); // colour 4
    const Screen s = decode(w);
    EXPECT_EQ(count(s, kBorderX, kBorderY, kWidth - kBorderX, kHeight - kBorderY, 1),
              kShownWidth * kShownHeight);
    EXPECT_EQ(countAll(s, 4), kWidth * kHeight - kShownWidth * kShownHeight);
    for (int y : {0, 11, 204, 215}) EXPECT_EQ(s.pixel(150, y), 4) << y;
    for (int x : {0, 5, 294, 299}) EXPECT_EQ(s.pixel(x, 100), 4) << x;
    EXPECT_EQ(s.shownPixel(0, 0), 1);
    EXPECT_EQ(s.shownPixel(kShownWidth - 1, kShownHeight - 1), 1);
}

TEST(CdgTiles, TileDrawsItsBitsLeftmostFirstAtItsRowAndColumn) {
    CdgWriter w;
    w.memoryPreset(9).tile(2, 0x1B, 3, 7, kArrow); // colour 0x1B is 11
    const Screen s = decode(w);
    for (int r = 0; r < 12; ++r)
        for (int i = 0; i < 6; ++i) {
            const bool on = (kArrow[static_cast<std::size_t>(r)] >> (5 - i)) & 1;
            EXPECT_EQ(s.pixel(42 + i, 36 + r), on ? 11 : 2) << "row " << r << " pixel " << i;
        }
    EXPECT_EQ(countAll(s, 9), kWidth * kHeight - 72);
}

TEST(CdgTiles, TilesReachTheCornersAndNoFurther) {
    CdgWriter w;
    w.memoryPreset(0).solidTile(1, 0, 0).solidTile(2, 17, 49);
    w.solidTile(3, 18, 0).solidTile(3, 0, 50).solidTile(3, 31, 63); // past the screen
    w.solidTile(4, 0x21, 2);                                        // the row's high bit is not part of it
    const Screen s = decode(w);
    EXPECT_EQ(count(s, 0, 0, 6, 12, 1), 72);
    EXPECT_EQ(count(s, 294, 204, 300, 216, 2), 72);
    EXPECT_EQ(countAll(s, 3), 0);
    EXPECT_EQ(count(s, 12, 12, 18, 24, 4), 72);
}

TEST(CdgTiles, XorTileFlipsIndexesAndTwiceRestoresThem) {
    CdgWriter w;
    w.memoryPreset(0).tile(1, 2, 5, 5, kArrow).tile(0, 7, 5, 5, kArrow, true);
    Screen s = decode(w);
    for (int r = 0; r < 12; ++r)
        for (int i = 0; i < 6; ++i) {
            const bool on = (kArrow[static_cast<std::size_t>(r)] >> (5 - i)) & 1;
            EXPECT_EQ(s.pixel(30 + i, 60 + r), on ? (2 ^ 7) : 1) << r << "," << i;
        }
    std::array<int, 12> all;
    all.fill(0x3F);
    w.tile(12, 12, 5, 5, all, true).tile(12, 12, 5, 5, all, true); // both colours flip the same way
    w.tile(0, 7, 5, 5, kArrow, true);
    s = decode(w);
    for (int r = 0; r < 12; ++r)
        for (int i = 0; i < 6; ++i)
            EXPECT_EQ(s.pixel(30 + i, 60 + r), (kArrow[static_cast<std::size_t>(r)] >> (5 - i)) & 1 ? 2 : 1);
}

// A screen of colour 1 with a 6 x 12 marker of colour 2 at tile (row 5, column 10), its top-left
// pixel at (60, 60), and colour 3 along the leftmost column and the top row of tiles.
CdgWriter markedScreen() {
    CdgWriter w;
    w.memoryPreset(1).solidTile(2, 5, 10);
    for (int c = 0; c < kTileColumns; ++c) w.solidTile(3, 0, c);
    for (int r = 1; r < kTileRows; ++r) w.solidTile(3, r, 0);
    return w;
}

TEST(CdgScroll, PresetMovesByWholeTilesAndFillsWhatIsUncovered) {
    struct Case {
        int h, v, dx, dy;
    };
    for (const Case c : {Case{1, 0, 6, 0}, Case{2, 0, -6, 0}, Case{0, 1, 0, 12}, Case{0, 2, 0, -12}}) {
        CdgWriter w = markedScreen();
        w.scroll(false, 4, c.h, 0, c.v, 0);
        const Screen s = decode(w);
        SCOPED_TRACE(::testing::Message() << "h " << c.h << " v " << c.v);
        EXPECT_EQ(count(s, 60 + c.dx, 60 + c.dy, 66 + c.dx, 72 + c.dy, 2), 72);
        const int uncovered = c.dx ? 6 * kHeight : 12 * kWidth;
        EXPECT_EQ(countAll(s, 4), uncovered);
        if (c.dx > 0) {
            EXPECT_EQ(count(s, 0, 0, 6, kHeight, 4), uncovered);
        }
        if (c.dx < 0) {
            EXPECT_EQ(count(s, 294, 0, 300, kHeight, 4), uncovered);
        }
        if (c.dy > 0) {
            EXPECT_EQ(count(s, 0, 0, kWidth, 12, 4), uncovered);
        }
        if (c.dy < 0) {
            EXPECT_EQ(count(s, 0, 204, kWidth, kHeight, 4), uncovered);
        }
    }
}

TEST(CdgScroll, CopyWrapsAroundAndLosesNothing) {
    struct Case {
        int h, v, dx, dy;
    };
    for (const Case c :
         {Case{1, 0, 6, 0}, Case{2, 0, -6, 0}, Case{0, 1, 0, 12}, Case{0, 2, 0, -12}, Case{2, 1, -6, 12}}) {
        const Screen before = decode(markedScreen());
        CdgWriter w = markedScreen();
        w.scroll(true, 4, c.h, 0, c.v, 0);
        const Screen s = decode(w);
        SCOPED_TRACE(::testing::Message() << "h " << c.h << " v " << c.v);
        EXPECT_EQ(countAll(s, 4), 0);
        for (int y = 0; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x)
                ASSERT_EQ(s.pixel((x + c.dx + kWidth) % kWidth, (y + c.dy + kHeight) % kHeight),
                          before.pixel(x, y))
                    << x << "," << y;
    }
}

TEST(CdgScroll, OffsetsMoveThePictureByTheirChangeAndAreClamped) {
    CdgWriter w = markedScreen();
    w.scroll(true, 4, 0, 3, 0, 0); // horizontal offset 3: three pixels right
    Screen s = decode(w);
    EXPECT_EQ(s.horizontalOffset(), 3);
    EXPECT_EQ(count(s, 63, 60, 69, 72, 2), 72);
    w.scroll(true, 4, 0, 3, 0, 5); // the same horizontal offset again, vertical 5: five pixels up
    s = decode(w);
    EXPECT_EQ(count(s, 63, 55, 69, 67, 2), 72);
    w.scroll(true, 4, 0, 7, 0, 15); // clamped to 5 and 11
    s = decode(w);
    EXPECT_EQ(s.horizontalOffset(), 5);
    EXPECT_EQ(s.verticalOffset(), 11);
    EXPECT_EQ(count(s, 65, 49, 71, 61, 2), 72);
    w.scroll(true, 4, 0, 0, 2, 0); // up a tile, offsets back to 0: 11 - 12 = 1 pixel up in all
    s = decode(w);
    EXPECT_EQ(count(s, 60, 48, 66, 60, 2), 72);
    w.scroll(false, 4, 3, 0, 3, 0); // command 3 is not a scroll
    EXPECT_EQ(decode(w), s);
    w.scroll(true, 4, 0, 4, 0, 0).memoryPreset(1).solidTile(2, 5, 10); // offsets outlive a preset:
    w.scroll(true, 4, 0, 2, 0, 0);                                     // 4 to 2 is two pixels left
    s = decode(w);
    EXPECT_EQ(count(s, 58, 60, 64, 72, 2), 72);
}

TEST(CdgColours, TableEntriesBecomeRgbAndLoadsChangeWhatIsShownMidSong) {
    EXPECT_EQ(toRgb(0x000), (Rgb{0, 0, 0}));
    EXPECT_EQ(toRgb(0xF84), (Rgb{255, 136, 68}));
    EXPECT_EQ(toRgb(0x1AF), (Rgb{17, 170, 255}));
    CdgWriter w;
    w.colours(false, {0x000, 0xF00, 0x0F0, 0x00F, 0x123, 0x456, 0x789, 0xABC});
    w.colours(true, {0xDEF, 0xFED, 0xCBA, 0x987, 0x654, 0x321, 0x0F0, 0xFFF});
    w.memoryPreset(9).solidTile(1, 5, 5);
    const std::size_t beforeChange = w.packets();
    w.silence(10).colours(true, {0x111, 0x222, 0x333, 0x444, 0x555, 0x666, 0x777, 0x888}).silence(10);
    Decoder d(w.bytes());
    const Screen& early = d.seek(beforeChange);
    EXPECT_EQ(early.colourTable()[4], 0x123);
    EXPECT_EQ(early.colourTable()[10], 0xCBA);
    EXPECT_EQ(early.palette()[15], (Rgb{255, 255, 255}));
    std::vector<std::uint8_t> rgb(kShownWidth * kShownHeight * 3);
    early.shownRgb(rgb);
    EXPECT_EQ(rgb[0], 0xFF); // colour 9, 0xFED
    EXPECT_EQ(rgb[1], 0xEE);
    EXPECT_EQ(rgb[2], 0xDD);
    const std::size_t tilePixel = ((60 - kBorderY) * kShownWidth + (30 - kBorderX)) * 3;
    EXPECT_EQ(rgb[tilePixel], 0xFF); // colour 1, 0xF00
    EXPECT_EQ(rgb[tilePixel + 1], 0);
    const Screen& late = d.seek(d.packetCount());
    EXPECT_EQ(late.colourTable()[9], 0x222);
    EXPECT_EQ(late.colourTable()[4], 0x123); // the low half is untouched
    late.shownRgb(rgb);
    EXPECT_EQ(rgb[0], 0x22);
    EXPECT_EQ(rgb[tilePixel], 0xFF);
    std::vector<std::uint8_t> indexes(kShownWidth * kShownHeight);
    late.shownIndexes(indexes);
    EXPECT_EQ(indexes[0], 9);
    EXPECT_EQ(indexes[tilePixel / 3], 1);
    // A short span takes what fits and nothing past it.
    std::vector<std::uint8_t> few(11, 0x77);
    late.shownRgb(std::span(few).first(10));
    EXPECT_EQ(few[6], 0x22);
    EXPECT_EQ(few[8], 0x22);
    EXPECT_EQ(few[9], 0x77);
    EXPECT_EQ(few[10], 0x77);
    std::fill(few.begin(), few.end(), 0x77);
    late.shownIndexes(std::span(few).first(3));
    EXPECT_EQ(few[2], 9);
    EXPECT_EQ(few[3], 0x77);
}

TEST(CdgColours, TransparentColourIsNoneUntilDefinedAndMayChange) {
    CdgWriter w;
    w.memoryPreset(3);
    EXPECT_EQ(decode(w).transparent(), -1);
    w.transparent(6);
    EXPECT_EQ(decode(w).transparent(), 6);
    w.transparent(0x3E);
    const Screen s = decode(w);
    EXPECT_EQ(s.transparent(), 14);
    EXPECT_EQ(countAll(s, 3), kWidth * kHeight); // defining it draws nothing
}

TEST(CdgPackets, OnlyGraphicsPacketsAndKnownInstructionsDraw) {
    CdgWriter w;
    w.memoryPreset(2);
    CdgWriter::Bytes bytes = w.bytes();
    auto add = [&bytes](std::uint8_t command, std::uint8_t instruction, std::uint8_t colour) {
        std::array<std::uint8_t, kPacketBytes> p{};
        p[0] = command;
        p[1] = instruction;
        p[4] = colour;
        bytes.insert(bytes.end(), p.begin(), p.end());
    };
    add(0x08, kMemoryPreset, 5); // another subcode mode
    add(0x09, 0, 5);             // no such instruction
    add(0x09, 63, 5);
    Decoder a(bytes);
    EXPECT_EQ(countAll(a.seek(a.packetCount()), 2), kWidth * kHeight);
    add(0xC9, 0xC1, 6); // the top two bits of both bytes are not part of them
    Decoder b(bytes);
    EXPECT_EQ(countAll(b.seek(b.packetCount()), 6), kWidth * kHeight);
}

} // namespace
} // namespace velvora::cdg
