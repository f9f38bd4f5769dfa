// Runs the CD+G decoder over arbitrary bytes (any length, any instruction, tiles and scroll
// offsets out of range) and seeks about in it: no read or write outside the screen (the
// sanitizers watch), every pixel a palette index, and a seek back lands on the same screen as
// drawing straight from the start.
#include "cdg/decoder.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace {

using velvora::cdg::Decoder;
using velvora::cdg::Screen;

void checkScreen(const Screen& s) {
    for (std::uint8_t p : s.pixels())
        if (p > 15) __builtin_trap();
    if (s.transparent() < -1 || s.transparent() > 15) __builtin_trap();
    if (s.horizontalOffset() < 0 || s.horizontalOffset() > 5) __builtin_trap();
    if (s.verticalOffset() < 0 || s.verticalOffset() > 11) __builtin_trap();
    std::vector<std::uint8_t> rgb(velvora::cdg::kShownWidth * velvora::cdg::kShownHeight * 3);
    s.shownRgb(rgb);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::uint8_t> bytes(data, data + size);
    Decoder d(bytes);
    const std::size_t n = d.packetCount();
    const Screen end = d.seek(n);
    checkScreen(end);
    const std::size_t middle = n / 2 + (size % 7);
    const Screen& back = d.seek(middle);
    checkScreen(back);
    Screen straight;
    for (std::size_t i = 0; i < middle && i < n; ++i)
        straight.apply(std::span<const std::uint8_t, velvora::cdg::kPacketBytes>(
            &bytes[i * velvora::cdg::kPacketBytes], velvora::cdg::kPacketBytes));
    if (!(straight == back)) __builtin_trap();
    if (!(d.seek(n + 1000) == end)) __builtin_trap();
    return 0;
}
