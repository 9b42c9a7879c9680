// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// The documents and requests of a tile server.
//
// Per tile source, under its base URL (no trailing slash; nothing strips one):
//   <base>/tiledescriptor.json                  the pyramid (TileSystemDescriptor)
//   <base>/tileextents.json                     the value rectangle that holds data
//   <base>/<yZoom>/<y>/<xZoom>/<x>.png          one tile, 8-bit level indices
// and under a discovery URL, <discovery>/tilesources.json lists the source ids.
// URLs are built by plain string concatenation and parsed in tolerant mode.
//
// The parsers never fail: a body that is not the expected JSON yields the defaults
// described with each function, so a broken or failed reply is delivered like any other.
// A key that repeats in one object counts with its last value. Known limit of Qt 5.15's
// JSON parser, which these functions use: when the earlier value of a repeated key is a
// non-empty array or object, it is never freed (about 100 to 200 bytes per document).

#include <mivo/mivo_export.h>
#include <mivo/tiling/Tile.h>
#include <mivo/tiling/TileId.h>
#include <mivo/tiling/TileSystemDescriptor.h>

#include <QByteArray>
#include <QList>
#include <QRectF>
#include <QString>

#include <memory>

namespace mivo::tiling {

/**
 * Reads {"name": string, "xaxis": {...}, "yaxis": {...}}. The name defaults to an
 * empty (valid) string, so any JSON object gives a valid descriptor; a name that is not
 * a string gives the empty string. Axis keys: "basevalue" (double, default 1.0),
 * "tilesize" (QJsonValue::toInt, default 256, stored modulo 65536), "minzoomlevel" and
 * "maxzoomlevel" (doubles, defaults 0 and 65535, truncated toward zero and stored
 * modulo 65536). A missing or non-object axis keeps all defaults. Other keys and the
 * other descriptor fields are not read. A body that is not a JSON object gives a
 * default descriptor, whose null name makes it invalid.
 */
MIVO_EXPORT TileSystemDescriptor parseTileSystemDescriptor(const QByteArray& body);

/**
 * Reads {"x": {"min", "max"}, "y": {"min", "max"}} (each number 0.0 when missing) as
 * the rectangle left x.min, top y.min, width x.max - x.min, height y.max - y.min. A
 * body that is not a JSON object gives (0, 0, 0, 0).
 */
MIVO_EXPORT QRectF parseTileExtents(const QByteArray& body);

/**
 * Reads a JSON array of source ids, in order; an element that is not a string gives
 * an empty id. A body that is not a JSON array gives no sources.
 */
MIVO_EXPORT QList<QString> parseTileSourceList(const QByteArray& body);

/**
 * Decodes a PNG tile into an 8-bit indexed image (default conversion flags). A body
 * that is not a decodable PNG (other image formats included), or one that declares
 * more than maximumTilePixels pixels, gives a tile with a null image; the result is
 * never a null pointer. The loader checks bodies further before it calls this (see
 * TileLoaderQNetworkAccessManager).
 */
MIVO_EXPORT std::shared_ptr<Tile> parseTile(const QByteArray& body, const TileId& id);

/// A PNG declaring more pixels than this is not decoded (a tile is 256 x 256 normally).
constexpr qint64 maximumTilePixels = qint64(1) << 26;

/// "%1/%2/%3/%4/%5.png" with the base URL, yZoomLevel, y, xZoomLevel and x.
MIVO_EXPORT QString tileUrl(const QString& baseUrl, const TileId& id);
/// <base>/tiledescriptor.json
MIVO_EXPORT QString tileSystemDescriptorUrl(const QString& baseUrl);
/// <base>/tileextents.json
MIVO_EXPORT QString tileExtentsUrl(const QString& baseUrl);
/// <discovery>/tilesources.json
MIVO_EXPORT QString tileSourceListUrl(const QString& discoveryUrl);

} // namespace mivo::tiling
