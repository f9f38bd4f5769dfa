// Our screens beside ffmpeg's CD+G decoder (libavcodec's cdgraphics), pixel for pixel in the shown
// area at 20 times per file: on files written here, one per group of instructions plus a busy one,
// and on the real files in the shared data folder.
//
// ffmpeg's timing, found by running it: the demuxer makes one 24-byte packet per 1/300 s (time
// base 1/300, frame rate 300/1) and the decoder returns one frame per graphics packet, with the
// packet's index as its pts and the packet already drawn. Non-graphics packets, and tiles past
// the screen, give no frame; the default constant-rate output fills such gaps with copies of the
// previous frame, so ffmpeg's 300 fps output frame k is the screen after packets 0..k, our
// seek(k + 1). Here frames are taken as decoded (-fps_mode passthrough) with their pts from
// ffprobe, and our screen after n packets is compared with the last frame whose pts is below n.
// Its 16-colour table comes out as RGB with each 4-bit level times 17, as ours.
//
// Two things ffmpeg does that we do not, so the files written here leave them out (the unit tests
// pin what we do instead):
// - A scroll that moves nothing (commands 0 or 3 on both axes with unchanged, or clamped to
//   unchanged, offsets) shows a stale screen from then on: the one from before the previous
//   scroll, or a blank one if there was none; a second such scroll brings the right one back. We
//   take it as the no-op it says it is.
// - A scroll copy that moves both ways at once wraps the uncovered column strip without the
//   vertical move and the uncovered row strip without the horizontal one, so a corner tile is
//   drawn twice and another lost; we wrap the whole picture around (nothing lost). Copies that
//   move one way, and presets that move both ways, agree.
#include "cdg/busy_song.h"
#include "cdg/cdg_writer.h"
#include "cdg/decoder.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <unistd.h>

namespace velvora::cdg {
namespace {

namespace fs = std::filesystem;
using testing::CdgWriter;

constexpr std::size_t kFrameBytes = std::size_t{kShownWidth} * kShownHeight * 3;
constexpr int kTimes = 20;

std::string run(const std::string& command) {
    std::string out;
    if (FILE* p = popen(command.c_str(), "r")) {
        char buffer[1 << 16];
        for (std::size_t n; (n = fread(buffer, 1, sizeof buffer, p)) > 0;) out.append(buffer, n);
        pclose(p);
    }
    return out;
}

bool haveFfmpeg() {
    return std::system("ffmpeg -version >/dev/null 2>&1 && ffprobe -version >/dev/null 2>&1") == 0;
}

std::string quoted(const fs::path& p) {
    std::string out = "'";
    for (char c : p.string()) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

// Decodes the file with ffmpeg and compares the shown area at 20 times spread over it.
void compareWithFfmpeg(const fs::path& file) {
    SCOPED_TRACE(file.string());
    std::ifstream in(file, std::ios::binary);
    Decoder ours(std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), {}));
    ASSERT_GT(ours.packetCount(), 0u);

    std::vector<long> pts;
    std::istringstream list(
        run("ffprobe -v error -select_streams v -show_entries frame=pts -of csv=p=0 " + quoted(file)));
    for (long p; list >> p;) pts.push_back(p);
    ASSERT_FALSE(pts.empty()) << "ffprobe gave no frames";

    // The times: from just after ffmpeg's first frame to the end of the file.
    const std::size_t first = static_cast<std::size_t>(pts.front()) + 1, last = ours.packetCount();
    std::vector<std::pair<std::size_t, std::size_t>> times; // (our packet count, ffmpeg frame index)
    for (int k = 0; k < kTimes; ++k) {
        const std::size_t n = first + (last - first) * static_cast<std::size_t>(k) / (kTimes - 1);
        const std::size_t frame = static_cast<std::size_t>(
            std::upper_bound(pts.begin(), pts.end(), static_cast<long>(n) - 1) - pts.begin() - 1);
        times.emplace_back(n, frame);
    }
    std::set<std::size_t> frames;
    for (const auto& t : times) frames.insert(t.second);
    std::string select;
    for (std::size_t f : frames)
        select += (select.empty() ? "" : "+") + std::string("eq(n\\,") + std::to_string(f) + ")";
    const std::string raw = run("ffmpeg -v error -i " + quoted(file) + " -vf \"select='" + select +
                                "',crop=" + std::to_string(kShownWidth) + ":" + std::to_string(kShownHeight) +
                                ":" + std::to_string(kBorderX) + ":" + std::to_string(kBorderY) +
                                "\" -fps_mode passthrough -f rawvideo -pix_fmt rgb24 -");
    ASSERT_EQ(raw.size(), frames.size() * kFrameBytes) << "ffmpeg gave the wrong number of frames";

    std::vector<std::uint8_t> mine(kFrameBytes);
    for (const auto& [n, frame] : times) {
        const std::size_t slot = static_cast<std::size_t>(std::distance(frames.begin(), frames.find(frame)));
        const auto* theirs = reinterpret_cast<const std::uint8_t*>(raw.data()) + slot * kFrameBytes;
        ours.seek(n).shownRgb(mine);
        std::size_t differ = 0, firstDiffer = kFrameBytes;
        for (std::size_t i = 0; i < kFrameBytes; ++i)
            if (mine[i] != theirs[i]) {
                ++differ;
                firstDiffer = std::min(firstDiffer, i);
            }
        EXPECT_EQ(differ, 0u) << "after " << n << " packets (ffmpeg frame " << frame << ", pts " << pts[frame]
                              << "): first at x " << firstDiffer / 3 % kShownWidth << " y "
                              << firstDiffer / 3 / kShownWidth;
    }
}

class CdgBesideFfmpeg : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!haveFfmpeg()) GTEST_SKIP() << "ffmpeg is not installed (scripts/install-deps installs it)";
        dir_ = fs::temp_directory_path() / ("velvora-cdg-oracle-" + std::to_string(getpid()));
        fs::create_directories(dir_);
    }
    void TearDown() override {
        std::error_code ec;
        if (!dir_.empty()) fs::remove_all(dir_, ec);
    }
    void check(const std::string& name, const CdgWriter& w) {
        const fs::path file = dir_ / (name + ".cdg");
        w.save(file);
        compareWithFfmpeg(file);
    }
    fs::path dir_;
};

// A page of lettering-like tiles over a border, enough packets for 20 distinct times.
CdgWriter page(int rows) {
    CdgWriter w;
    w.rainbow().memoryPreset(3).borderPreset(8);
    for (int r = 1; r < 1 + rows; ++r)
        for (int c = 1; c < kTileColumns - 1; c += 2) {
            std::array<int, 12> bits;
            for (std::size_t i = 0; i < 12; ++i) bits[i] = (r * 7 + c * 3 + static_cast<int>(i) * 5) & 0x3F;
            w.tile(r % 16, (c + r) % 16, r, c, bits).silence(1);
        }
    return w;
}

TEST_F(CdgBesideFfmpeg, PresetsAndTiles) {
    CdgWriter w = page(16);
    w.memoryPreset(5, 1).borderPreset(2).solidTile(6, 0, 0).solidTile(7, 17, 49).solidTile(9, 18, 3);
    w.silence(30).memoryPreset(12).silence(10);
    check("presets_tiles", w);
}

TEST_F(CdgBesideFfmpeg, XorTiles) {
    CdgWriter w = page(10);
    std::array<int, 12> bits = {1, 2, 4, 8, 16, 32, 33, 18, 12, 12, 18, 33};
    for (int r = 1; r < 11; ++r)
        for (int c = 1; c < kTileColumns - 1; ++c) w.tile(r, c % 16, r, c, bits, true).silence(2);
    check("xor", w);
}

TEST_F(CdgBesideFfmpeg, ScrollPresetEveryWay) {
    CdgWriter w = page(16);
    for (int i = 1; i < 40; ++i) {
        if (i % 3 == 0 && (i / 3) % 3 == 0) continue; // moves nothing
        w.scroll(false, i % 16, i % 3, 0, (i / 3) % 3, 0).silence(3);
    }
    w.scroll(false, 5, 1, 4, 2, 9).scroll(false, 6, 2, 1, 1, 2).silence(3); // offsets with whole tiles
    check("scroll_preset", w);
}

TEST_F(CdgBesideFfmpeg, ScrollCopyEveryWayWithSmoothOffsets) {
    CdgWriter w = page(16);
    for (int i = 0; i < 24; ++i) { // right, left, down, up by whole tiles
        const int command = 1 + i % 2;
        if (i % 4 < 2)
            w.scroll(true, 0, command, 0, 0, 0).silence(3);
        else
            w.scroll(true, 0, 0, 0, command, 0).silence(3);
    }
    for (int off = 1; off < 6; ++off) w.scroll(true, 4, 0, off, 0, 0).silence(2);
    for (int off = 1; off < 12; ++off) w.scroll(true, 4, 0, 5, 0, off).silence(2);
    w.scroll(true, 4, 0, 3, 0, 11).scroll(true, 4, 0, 7, 0, 11).silence(2); // 7 is clamped to 5
    w.scroll(true, 4, 0, 5, 0, 9).scroll(true, 4, 0, 5, 0, 14).silence(2);  // 14 to 11
    w.scroll(true, 4, 0, 5, 2, 0).scroll(true, 4, 1, 0, 0, 0).silence(3);   // a smooth scroll's last steps
    for (int off = 10; off >= 0; off -= 2) w.scroll(false, 7, 0, 0, 0, off).silence(2);
    check("scroll_copy", w);
}

TEST_F(CdgBesideFfmpeg, ColourLoadsAndTransparentMidSong) {
    CdgWriter w = page(16);
    for (int i = 0; i < 30; ++i) {
        std::array<int, 8> rgb;
        for (int k = 0; k < 8; ++k) rgb[static_cast<std::size_t>(k)] = (i * 291 + k * 1365) & 0xFFF;
        w.colours(i % 2 == 1, rgb).transparent(i % 16).silence(4);
    }
    check("colours", w);
}

TEST_F(CdgBesideFfmpeg, BusySong) {
    const CdgWriter::Bytes busy = testing::busyCdg(30, 11);
    const fs::path file = dir_ / "busy.cdg";
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(busy.data()), static_cast<std::streamsize>(busy.size()));
    compareWithFfmpeg(file);
}

TEST_F(CdgBesideFfmpeg, RealFiles) {
    const fs::path folder = fs::path(VELVORA_REALDATA) / "cdg";
    if (!fs::is_directory(folder)) GTEST_SKIP() << "no real CD+G files: " << folder << " is missing";
    int files = 0;
    for (const auto& e : fs::directory_iterator(folder)) {
        std::string ext = e.path().extension().string();
        for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        if (ext != ".cdg") continue;
        ++files;
        compareWithFfmpeg(e.path());
    }
    if (files == 0) GTEST_SKIP() << "no .cdg files in " << folder;
}

} // namespace
} // namespace velvora::cdg
