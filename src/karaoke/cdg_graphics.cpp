#include "karaoke/cdg_graphics.h"

#include "cdg/decoder.h"
#include "core/controller.h"
#include "widgets/lyricpicture.h"
#include "widgets/main_controls.h"

#include <QPainter>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <vector>

namespace velvora::karaoke {

namespace {

constexpr QWORD kNoPosition = static_cast<QWORD>(-1);

std::vector<std::uint8_t> readBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return {};
    return std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

QColor qcolour(cdg::Rgb c) {
    return QColor(c.r, c.g, c.b);
}

void paintInto(const cdg::Screen& screen, widgets::LyricPicture& picture) {
    PaintCdgScreen(screen, picture.image());
    picture.refresh();
}

} // namespace

void LoadCdgGraphics(App& app) {
    Session& s = app.s;
    s.cdgGraphics.reset();
    s.cdgShownPacket = -1;
    if (!isCdgSong(s.FileName)) return;
    std::vector<std::uint8_t> bytes = readBytes(s.FileName);
    if (bytes.size() < cdg::kPacketBytes) return;
    s.cdgGraphics = std::make_shared<cdg::Decoder>(std::move(bytes));
}

void ShowCdgFrame(App& app) {
    Session& s = app.s;
    if (!s.cdgGraphics) return;
    const DWORD chan = s.chan;
    const QWORD bytes = BASS_ChannelGetPosition(chan, BASS_POS_BYTE);
    if (bytes == kNoPosition) return;
    const double seconds = BASS_ChannelBytes2Seconds(chan, bytes);
    if (seconds < 0) return;
    cdg::Decoder& decoder = *s.cdgGraphics;
    const std::size_t packet = std::min(cdg::Decoder::packetAt(seconds), decoder.packetCount());

    widgets::LyricPicture* page = app.ui.Picture3;
    widgets::LyricPicture* singers = page ? page->companion() : nullptr;
    const bool singersWaiting = singers && singers->isVisible() && singers->isBlank();
    const bool same = static_cast<std::int64_t>(packet) == s.cdgShownPacket;
    if (same && page && !page->isBlank() && !singersWaiting) return;

    const cdg::Screen& screen = decoder.seek(packet);
    s.cdgShownPacket = static_cast<std::int64_t>(packet);
    if (page) paintInto(screen, *page);
    if (singers && singers->isVisible()) paintInto(screen, *singers);
}

void PaintCdgScreen(const cdg::Screen& screen, QImage& into) {
    if (into.isNull()) return;
    QImage shown(cdg::kShownWidth, cdg::kShownHeight, QImage::Format_RGB888);
    std::vector<std::uint8_t> rgb(static_cast<std::size_t>(cdg::kShownWidth * cdg::kShownHeight * 3));
    screen.shownRgb(rgb);
    for (int y = 0; y < cdg::kShownHeight; ++y)
        std::copy_n(rgb.data() + static_cast<std::size_t>(y * cdg::kShownWidth * 3), cdg::kShownWidth * 3,
                    shown.scanLine(y));

    // The largest size of the shown area's aspect that fits, centred.
    const int w = into.width();
    const int h = into.height();
    int drawW = w;
    int drawH = w * cdg::kShownHeight / cdg::kShownWidth;
    if (drawH > h) {
        drawH = h;
        drawW = h * cdg::kShownWidth / cdg::kShownHeight;
    }
    const QRect target((w - drawW) / 2, (h - drawH) / 2, drawW, drawH);

    QPainter painter(&into);
    painter.fillRect(into.rect(), qcolour(screen.colour(screen.pixel(0, 0))));
    painter.setRenderHint(QPainter::SmoothPixmapTransform, false);
    painter.drawImage(target, shown);
}

} // namespace velvora::karaoke
