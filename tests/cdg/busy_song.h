// A CD+G file with everything going on at once, the same for every run: pages cleared and framed,
// lines of lettering drawn tile by tile and lit with XOR tiles, smooth scrolls up and sideways
// (offsets stepped, then a whole-tile scroll, by preset or copy), colour table loads and
// transparent colours mid-page, and non-graphics packets between.
#pragma once

#include "cdg/cdg_writer.h"

#include <cstdint>

namespace velvora::testing {

inline CdgWriter::Bytes busyCdg(int seconds, std::uint32_t seed = 1) {
    std::uint32_t state = seed * 2654435761u + 12345u;
    auto next = [&state](int below) {
        state = state * 1664525u + 1013904223u;
        return static_cast<int>((state >> 8) % static_cast<std::uint32_t>(below));
    };
    CdgWriter w;
    const std::size_t total = static_cast<std::size_t>(seconds) * cdg::kPacketsPerSecond;
    while (w.packets() < total) {
        // A page: cleared, framed and coloured.
        w.memoryPreset(next(16)).memoryPreset(0, 1).borderPreset(next(16));
        w.rainbow();
        for (int line = 0; line < 14 && w.packets() < total; ++line) {
            const int row = 1 + next(16), first = 1 + next(10), length = 8 + next(30);
            const int ink = 1 + next(15), paper = next(16);
            for (int c = 0; c < length; ++c) {
                std::array<int, 12> rows;
                for (int& r : rows) r = next(64);
                w.tile(paper, ink, row, first + c, rows);
                if (next(4) == 0) w.silence(1 + next(3));
            }
            for (int c = 0; c < length; c += 2) { // the sung part lights up
                std::array<int, 12> rows;
                rows.fill(0x3F);
                w.tile(0, ink ^ 7, row, first + c, rows, true);
                w.silence(next(3));
            }
            switch (next(6)) {
            case 0: // smooth scroll up by one row of tiles
                for (int off = 1; off < 12; ++off) w.scroll(next(2) == 0, paper, 0, 0, 0, off).silence(2);
                w.scroll(next(2) == 0, paper, 0, 0, 2, 0);
                break;
            case 1: // sideways, smooth, then a whole tile
                for (int off = 1; off < 6; ++off) w.scroll(true, paper, 0, off, 0, 0).silence(1);
                w.scroll(next(2) == 0, paper, 2, 0, 0, 0);
                break;
            case 2: // whole-tile scrolls in every direction; copies one way at a time (see
                    // ffmpeg_oracle_test.cpp on diagonal copies)
                if (next(2) == 0)
                    w.scroll(false, paper, 1 + next(2), 0, 1 + next(2), 0);
                else if (next(2) == 0)
                    w.scroll(true, paper, 1 + next(2), 0, 0, 0);
                else
                    w.scroll(true, paper, 0, 0, 1 + next(2), 0);
                break;
            case 3: { // a colour table change mid-page
                std::array<int, 8> rgb;
                for (int& c : rgb) c = next(4096);
                w.colours(next(2) == 1, rgb).transparent(next(16));
                break;
            }
            default:
                w.silence(5 + next(20));
            }
        }
    }
    CdgWriter::Bytes bytes = w.bytes();
    bytes.resize(total * cdg::kPacketBytes);
    return bytes;
}

} // namespace velvora::testing
