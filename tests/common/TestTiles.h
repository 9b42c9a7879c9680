// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// Tiles and pyramids for tests: 8-bit palette PNGs whose pixel indices follow a known
// rule, and pyramid directories laid out as a tile server serves them.

#include <mivo/tiling/TileId.h>

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QImageWriter>
#include <QRectF>
#include <QString>

#include <functional>

namespace testtiles {

using IndexRule = std::function<int(int x, int y)>;

/// A colourful 256-entry palette, so that PNG writers keep it a palette image.
inline QVector<QRgb> palette()
{
    QVector<QRgb> colours;
    for (int i = 0; i < 256; ++i)
        colours.append(qRgb(i, 255 - i, (i * 7) % 256));
    return colours;
}

inline QImage indexedImage(int width, int height, const IndexRule& rule)
{
    QImage image(width, height, QImage::Format_Indexed8);
    image.setColorTable(palette());
    for (int y = 0; y < height; ++y) {
        uchar* line = image.scanLine(y);
        for (int x = 0; x < width; ++x)
            line[x] = uchar(rule(x, y));
    }
    return image;
}

inline QByteArray png(const QImage& image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "PNG");
    writer.write(image);
    return bytes;
}

inline QByteArray indexedPng(int width, int height, const IndexRule& rule)
{
    return png(indexedImage(width, height, rule));
}

/// The rule of the tiles in test pyramids: a value from the tile and the pixel, so
/// that a wrong tile or a shifted pixel shows.
inline int tilePixelIndex(const mivo::tiling::TileId& id, int x, int y)
{
    return int((id.x * 31 + id.y * 17 + id.xZoomLevel * 7 + id.yZoomLevel * 3 + quint64(x) + 2 * quint64(y)) % 255) + 1;
}

inline QByteArray tilePng(const mivo::tiling::TileId& id, int tileSize = 16)
{
    return indexedPng(tileSize, tileSize, [&id](int x, int y) { return tilePixelIndex(id, x, y); });
}

/// The path of a tile under its source: <yZoom>/<y>/<xZoom>/<x>.png
inline QString tilePath(const mivo::tiling::TileId& id)
{
    return QStringLiteral("/%1/%2/%3/%4.png").arg(id.yZoomLevel).arg(id.y).arg(id.xZoomLevel).arg(id.x);
}

inline QByteArray descriptorJson(const QString& name, double base, int tileSize, int maxZoom)
{
    return QStringLiteral("{\"name\": \"%1\", \"xaxis\": {\"basevalue\": %2, \"tilesize\": %3, \"minzoomlevel\": 0, "
                          "\"maxzoomlevel\": %4}, \"yaxis\": {\"basevalue\": %2, \"tilesize\": %3, "
                          "\"minzoomlevel\": 0, \"maxzoomlevel\": %4}}")
        .arg(name)
        .arg(base)
        .arg(tileSize)
        .arg(maxZoom)
        .toUtf8();
}

inline QByteArray extentsJson(const QRectF& r)
{
    return QStringLiteral("{\"x\": {\"min\": %1, \"max\": %2}, \"y\": {\"min\": %3, \"max\": %4}}")
        .arg(r.left(), 0, 'g', 17)
        .arg(r.right(), 0, 'g', 17)
        .arg(r.top(), 0, 'g', 17)
        .arg(r.bottom(), 0, 'g', 17)
        .toUtf8();
}

inline bool writeFile(const QString& path, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

} // namespace testtiles
