// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "LibpngTileEncoder.h"

#include <png.h>

#include <csetjmp>

namespace {

void appendToByteArray(png_structp png, png_bytep data, png_size_t length)
{
    static_cast<QByteArray*>(png_get_io_ptr(png))->append(reinterpret_cast<const char*>(data), int(length));
}

void flushNothing(png_structp)
{
}

// Kept free of C++ objects between setjmp and the calls that may longjmp.
bool writePalettePng(const QImage& tile, const QVector<QRgb>& palette, int filters, int strategy, int level,
                     QByteArray& out)
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
    png_set_tRNS(png, info, alpha, 1, nullptr);
    png_set_filter(png, PNG_FILTER_TYPE_BASE, filters);
    png_set_compression_strategy(png, strategy);
    png_set_compression_level(png, level);
    png_write_info(png, info);
    for (int y = 0; y < tile.height(); ++y)
        png_write_row(png, tile.constScanLine(y));
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return true;
}

} // namespace

LibpngTileEncoder::LibpngTileEncoder(const QVector<QRgb>& palette, int pngFilters, int zlibStrategy, int zlibLevel)
    : m_palette(palette)
    , m_filters(pngFilters)
    , m_strategy(zlibStrategy)
    , m_level(zlibLevel)
{
}

QByteArray LibpngTileEncoder::encode(const QImage& tile) const
{
    QByteArray bytes;
    bytes.reserve(tile.width() * tile.height() / 2);
    if (!writePalettePng(tile, m_palette, m_filters, m_strategy, m_level, bytes))
        return QByteArray();
    return bytes;
}
