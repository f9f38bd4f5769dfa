#include "metering/frequency_bars.h"

#include "widgets/barpicture.h"
#include "widgets/main_controls.h"

#include <QImage>

#include <cmath>

namespace velvora::metering {

namespace {

constexpr int kWidth = SpectrumState::width;
constexpr int kHeight = SpectrumState::height;

QImage toImage(const std::vector<std::uint8_t>& bars, const std::array<std::uint32_t, 256>& palette) {
    QImage image(kWidth, kHeight, QImage::Format_Indexed8);
    QList<QRgb> colours;
    colours.reserve(256);
    for (std::uint32_t c : palette) colours.push_back(0xff000000u | c);
    image.setColorTable(colours);
    // The bars' rows count from the bottom, the image's from the top.
    for (int row = 0; row < kHeight; ++row)
        std::copy_n(bars.data() + static_cast<std::size_t>(kHeight - 1 - row) * kWidth, kWidth,
                    image.scanLine(row));
    return image;
}

} // namespace

std::vector<std::uint8_t> spectrumBars(const std::array<float, 1025>& fft) {
    std::vector<std::uint8_t> bars(static_cast<std::size_t>(kWidth) * kHeight, 0);
    const int barWidth = static_cast<int>(static_cast<double>(kWidth) / kBands - 2); // 11 pixels
    const int step = kWidth / kBands;                                                // 13 pixels
    int b0 = 0;
    for (int x = 0; x < kBands; ++x) {
        double sum = 0;
        int b1 = static_cast<int>(std::lround(std::pow(2.0, x * 10.0 / (kBands - 1))));
        if (b1 > 1023) b1 = 1023;
        if (b1 <= b0) b1 = b0 + 1;
        const int sc = 10 + b1 - b0;
        for (; b0 < b1; ++b0) sum += fft[static_cast<std::size_t>(1 + b0)];
        const double level = std::sqrt(std::max(0.0, sum) / std::log10(static_cast<double>(sc)));
        int y = static_cast<int>(std::lround(level * 1.7 * kHeight - 4));
        if (y > kHeight) y = kHeight;
        for (int row = y - 1; row >= 0; --row)
            std::fill_n(bars.begin() + static_cast<std::ptrdiff_t>(row) * kWidth + x * step, barWidth,
                        static_cast<std::uint8_t>(row + 1));
    }
    return bars;
}

void UpdateSpectrum(App& app) {
    std::array<float, 1025> fft{};
    // A channel that gives no data leaves the magnitudes at zero: no bars.
    BASS_ChannelGetData(app.s.chan, fft.data(), BASS_DATA_FFT2048);
    const QImage image = toImage(spectrumBars(fft), app.s.spectrum.palette);
    app.ui.Picture1->setImage(image);
    app.ui.Picture5->setImage(image);
}

} // namespace velvora::metering
