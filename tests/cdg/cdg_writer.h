// Builds CD+G files packet by packet for the tests and the benchmark.
#pragma once

#include "cdg/screen.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <vector>

namespace velvora::testing {

class CdgWriter {
  public:
    using Bytes = std::vector<std::uint8_t>;

    // One graphics packet with the instruction and data bytes given (the rest zero).
    CdgWriter& packet(int instruction, std::initializer_list<int> data) {
        std::array<std::uint8_t, cdg::kPacketBytes> p{};
        p[0] = 9;
        p[1] = static_cast<std::uint8_t>(instruction);
        std::size_t i = 4;
        for (int d : data) p[i++] = static_cast<std::uint8_t>(d);
        bytes_.insert(bytes_.end(), p.begin(), p.end());
        return *this;
    }
    // A packet that is not graphics (as on a disc's subcode channels between graphics).
    CdgWriter& silence(int count = 1) {
        bytes_.insert(bytes_.end(), static_cast<std::size_t>(count) * cdg::kPacketBytes, std::uint8_t{0});
        return *this;
    }
    CdgWriter& memoryPreset(int colour, int repeat = 0) {
        return packet(cdg::kMemoryPreset, {colour, repeat});
    }
    CdgWriter& borderPreset(int colour) { return packet(cdg::kBorderPreset, {colour}); }
    // Twelve rows of six bits, the leftmost pixel in bit 5.
    CdgWriter& tile(int colour0, int colour1, int row, int column, const std::array<int, 12>& rows,
                    bool exclusiveOr = false) {
        std::array<std::uint8_t, cdg::kPacketBytes> p{};
        p[0] = 9;
        p[1] = exclusiveOr ? cdg::kTileBlockXor : cdg::kTileBlock;
        p[4] = static_cast<std::uint8_t>(colour0);
        p[5] = static_cast<std::uint8_t>(colour1);
        p[6] = static_cast<std::uint8_t>(row);
        p[7] = static_cast<std::uint8_t>(column);
        for (std::size_t r = 0; r < 12; ++r) p[8 + r] = static_cast<std::uint8_t>(rows[r]);
        bytes_.insert(bytes_.end(), p.begin(), p.end());
        return *this;
    }
    CdgWriter& solidTile(int colour, int row, int column) {
        std::array<int, 12> rows;
        rows.fill(0x3F);
        return tile(0, colour, row, column, rows);
    }
    // Horizontal and vertical: command (0 none, 1 right/down, 2 left/up) and offset.
    CdgWriter& scroll(bool copy, int colour, int hCommand, int hOffset, int vCommand, int vOffset) {
        return packet(copy ? cdg::kScrollCopy : cdg::kScrollPreset,
                      {colour, (hCommand << 4) | hOffset, (vCommand << 4) | vOffset});
    }
    CdgWriter& transparent(int colour) { return packet(cdg::kDefineTransparent, {colour}); }
    // Eight 12-bit 0xRGB entries, for entries 0-7 (high = false) or 8-15.
    CdgWriter& colours(bool high, const std::array<int, 8>& rgb) {
        std::array<std::uint8_t, cdg::kPacketBytes> p{};
        p[0] = 9;
        p[1] = high ? cdg::kLoadColoursHigh : cdg::kLoadColoursLow;
        for (std::size_t i = 0; i < 8; ++i) {
            const int r = (rgb[i] >> 8) & 15, g = (rgb[i] >> 4) & 15, b = rgb[i] & 15;
            p[4 + 2 * i] = static_cast<std::uint8_t>((r << 2) | (g >> 2));
            p[5 + 2 * i] = static_cast<std::uint8_t>(((g & 3) << 4) | b);
        }
        bytes_.insert(bytes_.end(), p.begin(), p.end());
        return *this;
    }
    // Sixteen distinct colours, so that every index shows as its own RGB.
    CdgWriter& rainbow() {
        colours(false, {0x000, 0xF00, 0x0F0, 0x00F, 0xFF0, 0x0FF, 0xF0F, 0xFFF});
        return colours(true, {0x800, 0x080, 0x008, 0x880, 0x088, 0x808, 0x888, 0x456});
    }

    std::size_t packets() const { return bytes_.size() / cdg::kPacketBytes; }
    const Bytes& bytes() const { return bytes_; }
    void save(const std::filesystem::path& path) const {
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes_.data()), static_cast<std::streamsize>(bytes_.size()));
    }

  private:
    Bytes bytes_;
};

} // namespace velvora::testing
