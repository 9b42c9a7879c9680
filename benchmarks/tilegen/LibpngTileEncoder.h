// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QByteArray>
#include <QImage>
#include <QRgb>
#include <QVector>

// The tile generator's former encoder, kept here as the reference its replacement is
// measured against: libpng writing rows through zlib, with the PNG filters and the
// zlib strategy and level to choose.
class LibpngTileEncoder
{
public:
    // pngFilters: libpng's PNG_FILTER_* mask (several bits: libpng picks per row);
    // zlibStrategy: Z_DEFAULT_STRATEGY, Z_FILTERED, Z_HUFFMAN_ONLY, Z_RLE.
    LibpngTileEncoder(const QVector<QRgb>& palette, int pngFilters, int zlibStrategy, int zlibLevel);

    // `tile` is Indexed8. An empty result: libpng failed.
    QByteArray encode(const QImage& tile) const;

private:
    QVector<QRgb> m_palette;
    int m_filters;
    int m_strategy;
    int m_level;
};
