// The CD+G screen: 300 x 216 pixels of palette indexes, the 16-entry colour table, the transparent
// colour and the scroll offsets, and `apply`, which draws one 24-byte packet onto it.
//
// A packet is a command byte (low six bits 9 for graphics; anything else is not ours and is
// passed over), an instruction byte (low six bits), two parity bytes, 16 data bytes and four more
// parity bytes. Only the low six bits of each data byte carry information. The instructions:
//   1  memory preset      data[0] colour, data[1] repeat count; fills the whole screen. Copies
//                         with a non-zero repeat count are passed over (they only restate it).
//   2  border preset      data[0] colour; fills the border (6 px left and right, 12 px top and
//                         bottom) and leaves the shown area alone.
//   6  tile block         data[0], data[1] the colours for 0 and 1 bits, data[2] row (0..17),
//                         data[3] column (0..49), data[4..15] twelve rows of six bits, the
//                         leftmost pixel in bit 5. A tile past the screen is passed over.
//  38  tile block XOR     the same, but each pixel's index is XORed with its bit's colour.
//  20  scroll preset      data[0] fill colour, data[1] horizontal (bits 4-5 command, bits 0-2
//  24  scroll copy        offset), data[2] vertical (bits 4-5 command, bits 0-3 offset).
//                         Command 1 moves the picture right 6 px / down 12 px, 2 left / up;
//                         preset fills what is uncovered with the colour, copy wraps around.
//  28  define transparent data[0] colour.
//  30, 31  load colour table, entries 0-7 or 8-15: two bytes each, 12 bits of 0xRGB.
//
// Scroll offsets (horizontal 0..5, vertical 0..11; larger values are clamped) are a state: each
// scroll moves the picture by the change of offset as well, right for the horizontal offset and up
// for the vertical one, which is how ffmpeg's decoder shows them (the tests compare with it). The
// screen therefore always holds what is shown, and the shown area is the fixed 294 x 204 window
// inside the border. Scroll command 3 is undefined and moves nothing but the offsets; a scroll
// that moves nothing changes nothing; a copy that moves both ways wraps the whole picture around.
//
// Every index read from a packet is masked or range-checked before use: no packet, however
// malformed, reads or writes outside the screen. A Screen is a plain value; it is not shared
// between threads.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace velvora::cdg {

inline constexpr int kWidth = 300;
inline constexpr int kHeight = 216;
inline constexpr int kBorderX = 6;
inline constexpr int kBorderY = 12;
inline constexpr int kShownWidth = kWidth - 2 * kBorderX;   // 294
inline constexpr int kShownHeight = kHeight - 2 * kBorderY; // 204
inline constexpr int kTileWidth = 6;
inline constexpr int kTileHeight = 12;
inline constexpr int kTileColumns = kWidth / kTileWidth; // 50
inline constexpr int kTileRows = kHeight / kTileHeight;  // 18
inline constexpr int kColours = 16;
inline constexpr std::size_t kPacketBytes = 24;
inline constexpr int kPacketsPerSecond = 300;

// Instruction numbers (the instruction byte's low six bits).
enum Instruction : std::uint8_t {
    kMemoryPreset = 1,
    kBorderPreset = 2,
    kTileBlock = 6,
    kScrollPreset = 20,
    kScrollCopy = 24,
    kDefineTransparent = 28,
    kLoadColoursLow = 30,
    kLoadColoursHigh = 31,
    kTileBlockXor = 38,
};

struct Rgb {
    std::uint8_t r = 0, g = 0, b = 0;
    bool operator==(const Rgb&) const = default;
};

// A 12-bit colour table entry (0xRGB, four bits each) as 8-bit RGB: each nibble times 17.
Rgb toRgb(std::uint16_t entry);

class Screen {
  public:
    // What one packet did, for callers that keep restart points: nothing, filled the whole screen,
    // changed a few pixels or the state, or moved the whole picture.
    enum class Effect { None, Cleared, Changed, Scrolled };

    // Draws one packet (kPacketBytes long) onto the screen.
    Effect apply(std::span<const std::uint8_t, kPacketBytes> packet);

    // The palette index at (x, y) of the whole 300 x 216 screen; the caller keeps x, y in range.
    std::uint8_t pixel(int x, int y) const { return pixels_[static_cast<std::size_t>(y * kWidth + x)]; }
    // The same at (x, y) of the shown 294 x 204 area.
    std::uint8_t shownPixel(int x, int y) const { return pixel(x + kBorderX, y + kBorderY); }
    const std::array<std::uint8_t, kWidth * kHeight>& pixels() const { return pixels_; }

    // The colour table as loaded (12-bit 0xRGB entries), and one entry as RGB.
    const std::array<std::uint16_t, kColours>& colourTable() const { return colours_; }
    Rgb colour(int index) const { return toRgb(colours_[static_cast<std::size_t>(index & 15)]); }
    std::array<Rgb, kColours> palette() const;
    // The index defined as transparent, or -1 while none has been defined.
    int transparent() const { return transparent_; }
    int horizontalOffset() const { return hOffset_; }
    int verticalOffset() const { return vOffset_; }

    // The shown area row by row: palette indexes (kShownWidth * kShownHeight bytes) or RGB
    // triplets (three times as many). A smaller span is filled as far as it goes.
    void shownIndexes(std::span<std::uint8_t> out) const;
    void shownRgb(std::span<std::uint8_t> out) const;

    bool operator==(const Screen&) const = default;

  private:
    friend class Decoder; // restores saved screens

    void drawTile(const std::uint8_t* data, bool exclusiveOr);
    bool scroll(const std::uint8_t* data, bool wrap); // true when the picture moved
    void fillRect(int x0, int y0, int x1, int y1, std::uint8_t index);
    void loadColours(const std::uint8_t* data, int first);

    std::array<std::uint8_t, kWidth * kHeight> pixels_{};
    std::array<std::uint16_t, kColours> colours_{};
    int transparent_ = -1;
    int hOffset_ = 0;
    int vOffset_ = 0;
};

} // namespace velvora::cdg
