#include "engine/api.h"
#include "metering/frequency_bars.h"
#include "metering/palette.h"
#include "support/app_fixture.h"
#include "support/song_files.h"
#include "transport/song_open.h"
#include "transport/transport.h"
#include "widgets/barpicture.h"

#include <algorithm>

namespace velvora {
namespace {

using metering::spectrumBars;

constexpr int W = 368, H = 140;

std::uint8_t at(const std::vector<std::uint8_t>& bars, int x, int rowFromBottom) {
    return bars[static_cast<std::size_t>(rowFromBottom) * W + static_cast<std::size_t>(x)];
}

TEST(Spectrum, SilenceDrawsNothing) {
    const auto bars = spectrumBars({});
    EXPECT_TRUE(std::all_of(bars.begin(), bars.end(), [](std::uint8_t v) { return v == 0; }));
}

TEST(Spectrum, AFullScaleFirstBinFillsTheFirstBarToTheTop) {
    std::array<float, 1025> fft{};
    fft[1] = 1.0f; // band 0 takes fft[1] alone
    const auto bars = spectrumBars(fft);
    for (int row = 0; row < H; ++row) {
        for (int x = 0; x < 11; ++x) ASSERT_EQ(at(bars, x, row), row + 1) << x << "," << row;
        EXPECT_EQ(at(bars, 11, row), 0) << "the gap between bars";
        EXPECT_EQ(at(bars, 13, row), 0) << "band 1 has nothing";
    }
    EXPECT_EQ(at(bars, 0, H - 1), 140);
}

TEST(Spectrum, HighBinsLandInTheLastBandAndHeightFollowsTheLevel) {
    std::array<float, 1025> fft{};
    fft[1000] = 0.05f;
    const auto bars = spectrumBars(fft);
    const int lastBand = 27 * 13;
    int height = 0;
    while (height < H && at(bars, lastBand, height) != 0) ++height;
    // sqrt(0.05 / log10(10 + 1023 - 724)) * 1.7 * 140 - 4, rounded
    const double expected = std::sqrt(0.05 / std::log10(10.0 + 1023 - 724)) * 1.7 * 140 - 4;
    EXPECT_EQ(height, static_cast<int>(std::lround(expected)));
    for (int x = 0; x < lastBand; ++x) EXPECT_EQ(at(bars, x, 0), 0) << x;
}

TEST(Spectrum, PaletteRisesFromGreenThroughRedBlueMagentaToYellowAndWhite) {
    const auto pal = metering::spectrumPalette();
    EXPECT_EQ(pal[0], 0x000000u);
    EXPECT_EQ(pal[1], 0x02FE00u); // red 2, green 254
    EXPECT_EQ(pal[127], 0xFE0200u);
    EXPECT_EQ(pal[140], 0x000060u); // blue 8 x 12
    EXPECT_EQ(pal[175], 0x7800FFu);
    EXPECT_EQ(pal[192], 0xFF00F8u);
    EXPECT_EQ(pal[255], 0xFFFFF8u);
}

class SpectrumOnScreen : public testing::AppFixture {};

TEST_F(SpectrumOnScreen, APlayingToneShowsBarsInBothPictures) {
    start();
    const auto wav = folder.path() / "tone.wav";
    testing::writeToneWav(wav, 3.0, 440.0);
    dialogs.answerFile(wav.string());
    transport::CmdCarica_Click(*app);
    transport::CmdPlw_Click(*app);
    ASSERT_TRUE(app->tmr.tmrSpectrum->enabled());
    clock.advance(500);
    const QImage& first = app->ui.Picture1->image();
    ASSERT_EQ(first.size(), QSize(W, H));
    int lit = 0;
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) lit += first.pixelIndex(x, y) != 0;
    EXPECT_GT(lit, 100);
    // The bars rise from the bottom: each lit column is lit from the bottom row up, without a gap.
    int bars = 0;
    for (int x = 0; x < W; ++x) {
        int top = H, count = 0;
        for (int y = 0; y < H; ++y)
            if (first.pixelIndex(x, y) != 0) {
                top = std::min(top, y);
                ++count;
            }
        if (count == 0) continue;
        ++bars;
        EXPECT_NE(first.pixelIndex(x, H - 1), 0) << "column " << x << " stands on the bottom";
        EXPECT_EQ(count, H - top) << "column " << x;
        EXPECT_GT(top, 0) << "a tone at a moderate level does not fill a bar to the top";
    }
    EXPECT_GT(bars, 0);
    EXPECT_EQ(first, app->ui.Picture5->image());
    transport::CmdStw_Click(*app);
    metering::UpdateSpectrum(*app); // a freed channel gives no data: black
    int afterStop = 0;
    const QImage& stopped = app->ui.Picture1->image();
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) afterStop += stopped.pixelIndex(x, y) != 0;
    EXPECT_EQ(afterStop, 0);
}

} // namespace
} // namespace velvora
