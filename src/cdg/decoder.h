// A CD+G file's screen at any packet: `seek(n)` gives the screen after the file's first n packets
// (300 packets a second; `packetAt` turns a time into n).
//
// Opening runs through the whole file once and keeps restart points: each memory preset (a
// cleared screen costs nothing to save), and, when the drawing since the last point would cost
// more than a set budget to replay, a saved screen (four bits a pixel). A seek restarts from the
// nearest point at or before its target, or carries on from where the screen is when that is
// nearer, so it replays at most about one budget of drawing whatever the file's length; seeking
// forward packet by packet, as playback does, only draws the new packets.
//
// Threads: a Decoder is used from one thread at a time (the UI's); nothing in it blocks.
#pragma once

#include "cdg/screen.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace velvora::cdg {

class Decoder {
  public:
    // Takes the file's bytes; a last partial packet is passed over.
    explicit Decoder(std::vector<std::uint8_t> bytes);

    std::size_t packetCount() const { return bytes_.size() / kPacketBytes; }
    double durationSeconds() const { return static_cast<double>(packetCount()) / kPacketsPerSecond; }
    // The number of packets played by `seconds` into the song (negative times give 0).
    static std::size_t packetAt(double seconds);

    // The screen after the first `packets` packets (at most packetCount()).
    const Screen& seek(std::size_t packets);
    const Screen& screen() const { return screen_; }
    // Packets drawn onto screen() so far.
    std::size_t position() const { return position_; }

    // Restart points kept, for tests and benchmarks.
    std::size_t restartPointCount() const { return points_.size(); }
    std::size_t savedScreenCount() const;

  private:
    struct RestartPoint {
        std::size_t packet = 0;
        std::array<std::uint16_t, kColours> colours{};
        int transparent = -1;
        int hOffset = 0, vOffset = 0;
        int fillIndex = -1;               // >= 0: every pixel is this index
        std::vector<std::uint8_t> packed; // otherwise two pixels a byte, the first in the low nibble
    };

    Screen::Effect step();
    void addPoint(bool cleared);
    void restore(const RestartPoint& point);

    std::vector<std::uint8_t> bytes_;
    std::vector<RestartPoint> points_;
    Screen screen_;
    std::size_t position_ = 0;
};

} // namespace velvora::cdg
