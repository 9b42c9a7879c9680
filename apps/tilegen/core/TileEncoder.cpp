#include "TileEncoder.h"

#include <QBuffer>
#include <QImageWriter>

#include <algorithm>
#include <cmath>

namespace mivo::tilegen {

namespace {

// zlib level 1 of 9: tiles of noisy spectra hardly compress better at higher levels,
// and encoding dominates the run time otherwise.
constexpr int pngQuality = 85; // Qt maps quality q to zlib level (100 - q) * 9 / 91

} // namespace

TileEncoder::TileEncoder()
    : m_palette(palette())
{
}

QVector<QRgb> TileEncoder::palette()
{
    QVector<QRgb> colours(256);
    colours[0] = qRgba(0, 0, 0, 0);
    // Black -> blue -> magenta -> orange -> yellow -> white.
    const struct { double at; int r, g, b; } stops[] = {
        {0.0, 0, 0, 0}, {0.25, 20, 20, 140}, {0.5, 160, 30, 140},
        {0.75, 250, 130, 30}, {0.9, 255, 230, 60}, {1.0, 255, 255, 255}};
    for (int i = 1; i < 256; ++i) {
        const double x = (i - 1) / 254.0;
        size_t s = 0;
        while (s + 2 < std::size(stops) && x > stops[s + 1].at)
            ++s;
        const auto& lo = stops[s];
        const auto& hi = stops[s + 1];
        const double f = (x - lo.at) / (hi.at - lo.at);
        const auto mix = [f](int a, int b) { return int(std::lround(a + (b - a) * f)); };
        colours[i] = qRgb(mix(lo.r, hi.r), mix(lo.g, hi.g), mix(lo.b, hi.b));
    }
    return colours;
}

QByteArray TileEncoder::encode(const QImage& tile) const
{
    Q_ASSERT(tile.format() == QImage::Format_Indexed8);
    QImage image = tile;
    image.setColorTable(m_palette);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "png");
    writer.setQuality(pngQuality);
    writer.write(image);
    return bytes;
}

} // namespace mivo::tilegen
