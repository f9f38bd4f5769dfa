#include "cdg/screen.h"

#include <algorithm>
#include <cstring>

namespace velvora::cdg {

namespace {

constexpr std::uint8_t kGraphicsCommand = 9;
constexpr std::size_t kDataStart = 4;
constexpr int kMaxHorizontalOffset = kTileWidth - 1; // 5
constexpr int kMaxVerticalOffset = kTileHeight - 1;  // 11

// The whole-step part of a scroll: command 1 moves forward (right, down), 2 back, 0 and 3 not at all.
int scrollStep(int command, int step) {
    return command == 1 ? step : command == 2 ? -step : 0;
}

} // namespace

Rgb toRgb(std::uint16_t entry) {
    return Rgb{static_cast<std::uint8_t>(((entry >> 8) & 15) * 17),
               static_cast<std::uint8_t>(((entry >> 4) & 15) * 17),
               static_cast<std::uint8_t>((entry & 15) * 17)};
}

Screen::Effect Screen::apply(std::span<const std::uint8_t, kPacketBytes> packet) {
    if ((packet[0] & 0x3F) != kGraphicsCommand) return Effect::None;
    std::uint8_t data[16];
    for (std::size_t i = 0; i < 16; ++i) data[i] = packet[kDataStart + i] & 0x3F;
    switch (packet[1] & 0x3F) {
    case kMemoryPreset:
        if ((data[1] & 15) != 0) return Effect::None;
        pixels_.fill(data[0] & 15);
        return Effect::Cleared;
    case kBorderPreset: {
        const std::uint8_t c = data[0] & 15;
        fillRect(0, 0, kWidth, kBorderY, c);
        fillRect(0, kHeight - kBorderY, kWidth, kHeight, c);
        fillRect(0, kBorderY, kBorderX, kHeight - kBorderY, c);
        fillRect(kWidth - kBorderX, kBorderY, kWidth, kHeight - kBorderY, c);
        return Effect::Changed;
    }
    case kTileBlock:
    case kTileBlockXor: {
        const int row = data[2] & 0x1F, column = data[3];
        if (row >= kTileRows || column >= kTileColumns) return Effect::None;
        drawTile(data, (packet[1] & 0x3F) == kTileBlockXor);
        return Effect::Changed;
    }
    case kScrollPreset:
    case kScrollCopy:
        return scroll(data, (packet[1] & 0x3F) == kScrollCopy) ? Effect::Scrolled : Effect::Changed;
    case kDefineTransparent:
        transparent_ = data[0] & 15;
        return Effect::Changed;
    case kLoadColoursLow:
        loadColours(data, 0);
        return Effect::Changed;
    case kLoadColoursHigh:
        loadColours(data, 8);
        return Effect::Changed;
    default:
        return Effect::None;
    }
}

void Screen::drawTile(const std::uint8_t* data, bool exclusiveOr) {
    const std::uint8_t colour[2] = {static_cast<std::uint8_t>(data[0] & 15),
                                    static_cast<std::uint8_t>(data[1] & 15)};
    const int x0 = data[3] * kTileWidth, y0 = (data[2] & 0x1F) * kTileHeight;
    for (int r = 0; r < kTileHeight; ++r) {
        std::uint8_t* row = &pixels_[static_cast<std::size_t>((y0 + r) * kWidth + x0)];
        const std::uint8_t bits = data[4 + r];
        for (int i = 0; i < kTileWidth; ++i) {
            const std::uint8_t c = colour[(bits >> (kTileWidth - 1 - i)) & 1];
            row[i] = exclusiveOr ? static_cast<std::uint8_t>(row[i] ^ c) : c;
        }
    }
}

bool Screen::scroll(const std::uint8_t* data, bool wrap) {
    const std::uint8_t fillColour = data[0] & 15;
    const int h = std::min<int>(data[1] & 7, kMaxHorizontalOffset);
    const int v = std::min<int>(data[2] & 15, kMaxVerticalOffset);
    const int dx = scrollStep((data[1] >> 4) & 3, kTileWidth) + (h - hOffset_);
    const int dy = scrollStep((data[2] >> 4) & 3, kTileHeight) - (v - vOffset_);
    hOffset_ = h;
    vOffset_ = v;
    if (dx == 0 && dy == 0) return false;
    // |dx| <= 11 and |dy| <= 23, both well inside the screen.
    const std::array<std::uint8_t, kWidth* kHeight> old = pixels_;
    const std::size_t shift = static_cast<std::size_t>(dx < 0 ? -dx : dx);
    const std::size_t keep = kWidth - shift;
    for (int y = 0; y < kHeight; ++y) {
        std::uint8_t* dst = &pixels_[static_cast<std::size_t>(y * kWidth)];
        int sy = y - dy;
        if (sy < 0 || sy >= kHeight) {
            if (!wrap) {
                std::memset(dst, fillColour, kWidth);
                continue;
            }
            sy = (sy + kHeight) % kHeight;
        }
        const std::uint8_t* src = &old[static_cast<std::size_t>(sy * kWidth)];
        if (dx >= 0) {
            std::memcpy(dst + shift, src, keep);
            if (wrap)
                std::memcpy(dst, src + keep, shift);
            else
                std::memset(dst, fillColour, shift);
        } else {
            std::memcpy(dst, src + shift, keep);
            if (wrap)
                std::memcpy(dst + keep, src, shift);
            else
                std::memset(dst + keep, fillColour, shift);
        }
    }
    return true;
}

void Screen::fillRect(int x0, int y0, int x1, int y1, std::uint8_t index) {
    for (int y = y0; y < y1; ++y)
        std::memset(&pixels_[static_cast<std::size_t>(y * kWidth + x0)], index,
                    static_cast<std::size_t>(x1 - x0));
}

void Screen::loadColours(const std::uint8_t* data, int first) {
    for (int i = 0; i < 8; ++i) {
        const std::uint8_t hi = data[2 * i], lo = data[2 * i + 1];
        const unsigned red = (hi >> 2) & 15, green = ((hi & 3) << 2) | ((lo >> 4) & 3), blue = lo & 15;
        colours_[static_cast<std::size_t>(first + i)] =
            static_cast<std::uint16_t>((red << 8) | (green << 4) | blue);
    }
}

std::array<Rgb, kColours> Screen::palette() const {
    std::array<Rgb, kColours> out;
    for (int i = 0; i < kColours; ++i) out[static_cast<std::size_t>(i)] = colour(i);
    return out;
}

void Screen::shownIndexes(std::span<std::uint8_t> out) const {
    std::size_t n = 0;
    for (int y = 0; y < kShownHeight && n < out.size(); ++y) {
        const std::size_t count = std::min<std::size_t>(kShownWidth, out.size() - n);
        std::memcpy(out.data() + n, &pixels_[static_cast<std::size_t>((y + kBorderY) * kWidth + kBorderX)],
                    count);
        n += count;
    }
}

void Screen::shownRgb(std::span<std::uint8_t> out) const {
    // Pixels go out in pairs: a table of every pair of colours as eight bytes (six of RGB, then
    // anything), so that a pair is one eight-byte store that the next pair's store partly
    // overwrites; the row's last pair is stored exactly. 294 pixels a row make whole pairs.
    static_assert(kShownWidth % 2 == 0);
    std::array<Rgb, kColours> rgb = palette();
    std::array<std::array<std::uint8_t, 8>, kColours * kColours> pair{};
    for (std::size_t i = 0; i < pair.size(); ++i) {
        const Rgb a = rgb[i & 15], b = rgb[i >> 4];
        pair[i] = {a.r, a.g, a.b, b.r, b.g, b.b, 0, 0};
    }
    const std::size_t rowBytes = std::size_t{kShownWidth} * 3;
    for (int y = 0; y < kShownHeight; ++y) {
        const std::size_t at = static_cast<std::size_t>(y) * rowBytes;
        const std::uint8_t* row = &pixels_[static_cast<std::size_t>((y + kBorderY) * kWidth + kBorderX)];
        std::uint8_t* dst = out.data() + at;
        if (out.size() < at + rowBytes) { // a short span: what fits, pixel by pixel
            for (std::size_t x = 0; at + 3 * x + 3 <= out.size(); ++x, dst += 3) {
                const Rgb& c = rgb[row[x] & 15];
                dst[0] = c.r;
                dst[1] = c.g;
                dst[2] = c.b;
            }
            return;
        }
        std::size_t x = 0;
        for (; x + 2 < kShownWidth; x += 2, dst += 6)
            std::memcpy(dst, pair[(row[x] & 15u) | ((row[x + 1] & 15u) << 4)].data(), 8);
        std::memcpy(dst, pair[(row[x] & 15u) | ((row[x + 1] & 15u) << 4)].data(), 6);
    }
}

} // namespace velvora::cdg
