#include "cdg/decoder.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace velvora::cdg {

namespace {

// Replay costs in tile-sized units (a tile writes 72 pixels): a packet that moves or clears the
// whole screen writes 64,800.
constexpr std::size_t kTileCost = 1;
constexpr std::size_t kScreenCost = kWidth * kHeight / (kTileWidth * kTileHeight);
// A screen is saved once the drawing since the last restart point costs this much to replay
// (under a millisecond: some 16,000 tiles or 18 whole-screen moves), but not more often than once
// a second of packets, which bounds the memory kept (32 KB a screen, 8 MB for four minutes of a
// file that does nothing but scroll; a real song needs a few).
constexpr std::size_t kReplayBudget = 16384;
constexpr std::size_t kMinSavedScreenSpacing = kPacketsPerSecond;
// A memory preset becomes a restart point when what came since the last one is worth skipping.
constexpr std::size_t kMinClearedSpacingCost = 64;

constexpr std::size_t kPackedBytes = kWidth * kHeight / 2;

} // namespace

Decoder::Decoder(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {
    addPoint(true);
    std::size_t costSince = 0;
    while (position_ < packetCount()) {
        switch (step()) {
        case Screen::Effect::None:
            break;
        case Screen::Effect::Changed:
            costSince += kTileCost;
            break;
        case Screen::Effect::Scrolled:
            costSince += kScreenCost;
            break;
        case Screen::Effect::Cleared:
            if (costSince >= kMinClearedSpacingCost) {
                addPoint(true);
                costSince = 0;
            } else {
                costSince += kScreenCost;
            }
            break;
        }
        if (costSince >= kReplayBudget && position_ - points_.back().packet >= kMinSavedScreenSpacing) {
            addPoint(false);
            costSince = 0;
        }
    }
}

std::size_t Decoder::packetAt(double seconds) {
    if (!(seconds > 0)) return 0;
    const double packets = std::floor(seconds * kPacketsPerSecond + 1e-9);
    return packets >= 1e18 ? static_cast<std::size_t>(1e18) : static_cast<std::size_t>(packets);
}

const Screen& Decoder::seek(std::size_t packets) {
    const std::size_t target = std::min(packets, packetCount());
    // The last restart point at or before the target (the first point is at packet 0).
    const auto after = std::upper_bound(points_.begin(), points_.end(), target,
                                        [](std::size_t t, const RestartPoint& p) { return t < p.packet; });
    const RestartPoint& point = *std::prev(after);
    if (position_ > target || position_ < point.packet) restore(point);
    while (position_ < target) step();
    return screen_;
}

std::size_t Decoder::savedScreenCount() const {
    return static_cast<std::size_t>(
        std::count_if(points_.begin(), points_.end(), [](const RestartPoint& p) { return p.fillIndex < 0; }));
}

Screen::Effect Decoder::step() {
    const std::span<const std::uint8_t, kPacketBytes> packet(&bytes_[position_ * kPacketBytes], kPacketBytes);
    ++position_;
    return screen_.apply(packet);
}

// A restart point for the screen as it is now; `cleared` says every pixel has one index.
void Decoder::addPoint(bool cleared) {
    RestartPoint p;
    p.packet = position_;
    p.colours = screen_.colours_;
    p.transparent = screen_.transparent_;
    p.hOffset = screen_.hOffset_;
    p.vOffset = screen_.vOffset_;
    if (cleared) {
        p.fillIndex = screen_.pixels_[0];
    } else {
        p.packed.resize(kPackedBytes);
        for (std::size_t i = 0; i < kPackedBytes; ++i)
            p.packed[i] =
                static_cast<std::uint8_t>(screen_.pixels_[2 * i] | (screen_.pixels_[2 * i + 1] << 4));
    }
    points_.push_back(std::move(p));
}

void Decoder::restore(const RestartPoint& p) {
    screen_.colours_ = p.colours;
    screen_.transparent_ = p.transparent;
    screen_.hOffset_ = p.hOffset;
    screen_.vOffset_ = p.vOffset;
    if (p.fillIndex >= 0) {
        screen_.pixels_.fill(static_cast<std::uint8_t>(p.fillIndex));
    } else {
        for (std::size_t i = 0; i < kPackedBytes; ++i) {
            screen_.pixels_[2 * i] = p.packed[i] & 15;
            screen_.pixels_[2 * i + 1] = static_cast<std::uint8_t>(p.packed[i] >> 4);
        }
    }
    position_ = p.packet;
}

} // namespace velvora::cdg
