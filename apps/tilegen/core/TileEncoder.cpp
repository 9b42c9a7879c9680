#include "TileEncoder.h"

#include "Error.h"

#include <png.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <csetjmp>

namespace mivo::tilegen {

namespace {

void appendToByteArray(png_structp png, png_bytep data, png_size_t length)
{
    static_cast<QByteArray*>(png_get_io_ptr(png))->append(reinterpret_cast<const char*>(data), int(length));
}

void flushNothing(png_structp) {}

// libpng directly rather than QImageWriter: Qt offers no choice of zlib strategy, and
// with Qt's fastest level deflate still took half of the run time. Run-length deflate
// of unfiltered rows is several times faster and, on noisy spectra, hardly larger.
// Kept free of C++ objects between setjmp and the calls that may longjmp.
bool writePalettePng(const QImage& tile, const QVector<QRgb>& palette, QByteArray& out)
{
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    if (!png)
        return false;
    png_infop info = png_create_info_struct(png);
    if (!info || setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_color colours[256];
    png_byte alpha[256];
    for (int i = 0; i < 256; ++i) {
        colours[i].red = png_byte(qRed(palette[i]));
        colours[i].green = png_byte(qGreen(palette[i]));
        colours[i].blue = png_byte(qBlue(palette[i]));
        alpha[i] = png_byte(qAlpha(palette[i]));
    }
    png_set_write_fn(png, &out, appendToByteArray, flushNothing);
    png_set_IHDR(png, info, png_uint_32(tile.width()), png_uint_32(tile.height()), 8, PNG_COLOR_TYPE_PALETTE,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_PLTE(png, info, colours, 256);
    png_set_tRNS(png, info, alpha, 1, nullptr); // only index 0 is transparent
    png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_NONE);
    png_set_compression_strategy(png, Z_RLE);
    png_set_compression_level(png, 1);
    png_write_info(png, info);
    for (int y = 0; y < tile.height(); ++y)
        png_write_row(png, tile.constScanLine(y));
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return true;
}

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
    QByteArray bytes;
    bytes.reserve(tile.width() * tile.height() / 2);
    if (!writePalettePng(tile, m_palette, bytes))
        throw Error(QStringLiteral("tile"), QStringLiteral("PNG encoding failed"));
    return bytes;
}

} // namespace mivo::tilegen
