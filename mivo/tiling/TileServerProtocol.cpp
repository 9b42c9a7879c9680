// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/tiling/TileServerProtocol.h>

#include "TileGeometry_p.h"

#include <QBuffer>
#include <QImageReader>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>

namespace mivo::tiling {

namespace {

// Levels are read as doubles and truncated toward zero into 16 bits (modulo 65536);
// the conversion goes through 64 bits so that no double is out of range for it.
quint16 readZoomLevel(const QJsonObject& axis, const QString& key, double defaultValue)
{
    const double value = axis.value(key).toDouble(defaultValue);
    return static_cast<quint16>(static_cast<quint64>(geometry::truncateToInt64(value)) & 0xffffu);
}

TileAxis parseAxis(const QJsonValue& value)
{
    TileAxis axis;
    if (!value.isObject())
        return axis;
    const QJsonObject object = value.toObject();
    axis.basevalue = object.value(QStringLiteral("basevalue")).toDouble(1.0);
    // toInt() gives the default for anything that is not an integral number in int range.
    axis.tilesize = static_cast<quint16>(static_cast<quint32>(object.value(QStringLiteral("tilesize")).toInt(256)));
    axis.minzoomlevel = readZoomLevel(object, QStringLiteral("minzoomlevel"), 0.0);
    axis.maxzoomlevel = readZoomLevel(object, QStringLiteral("maxzoomlevel"), 65535.0);
    return axis;
}

} // namespace

TileSystemDescriptor parseTileSystemDescriptor(const QByteArray& body)
{
    const QJsonDocument document = QJsonDocument::fromJson(body);
    if (!document.isObject())
        return {};
    const QJsonObject object = document.object();
    TileSystemDescriptor descriptor;
    // An empty default, not a null one: any object is a valid descriptor.
    descriptor.name = object.value(QStringLiteral("name")).toString(QLatin1String(""));
    descriptor.xaxis = parseAxis(object.value(QStringLiteral("xaxis")));
    descriptor.yaxis = parseAxis(object.value(QStringLiteral("yaxis")));
    return descriptor;
}

QRectF parseTileExtents(const QByteArray& body)
{
    const QJsonDocument document = QJsonDocument::fromJson(body);
    if (!document.isObject())
        return {0.0, 0.0, 0.0, 0.0};
    const QJsonObject object = document.object();
    const QJsonObject x = object.value(QStringLiteral("x")).toObject();
    const QJsonObject y = object.value(QStringLiteral("y")).toObject();
    const double xMin = x.value(QStringLiteral("min")).toDouble(0.0);
    const double xMax = x.value(QStringLiteral("max")).toDouble(0.0);
    const double yMin = y.value(QStringLiteral("min")).toDouble(0.0);
    const double yMax = y.value(QStringLiteral("max")).toDouble(0.0);
    return {xMin, yMin, xMax - xMin, yMax - yMin};
}

QList<QString> parseTileSourceList(const QByteArray& body)
{
    QList<QString> sources;
    const QJsonDocument document = QJsonDocument::fromJson(body);
    if (!document.isArray())
        return sources;
    const QJsonArray array = document.array();
    sources.reserve(array.size());
    for (const QJsonValue& value : array)
        sources.append(value.toString());
    return sources;
}

std::shared_ptr<Tile> parseTile(const QByteArray& body, const TileId& id)
{
    QBuffer buffer;
    buffer.setData(body);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer, QByteArrayLiteral("PNG"));
    // Only PNG: without this the reader falls back to any format it knows by content,
    // and a GIF's 8192 x 8192 screen would be allocated before anything is drawn.
    reader.setAutoDetectImageFormat(false);
    QImage image;
    const QSize declared = reader.size();
    // The header is read first: a small body must not make us allocate gigabytes.
    if (declared.isValid() && qint64(declared.width()) * declared.height() <= maximumTilePixels) {
        if (reader.read(&image))
            image = image.convertToFormat(QImage::Format_Indexed8);
        else
            image = QImage();
    }
    return std::make_shared<Tile>(id, image);
}

QString tileUrl(const QString& baseUrl, const TileId& id)
{
    // One pass: a percent-encoded base URL ("%2F") is not scanned for place markers.
    return QStringLiteral("%1/%2/%3/%4/%5.png")
        .arg(baseUrl, QString::number(id.yZoomLevel), QString::number(id.y), QString::number(id.xZoomLevel),
             QString::number(id.x));
}

QString tileSystemDescriptorUrl(const QString& baseUrl)
{
    return baseUrl + QLatin1String("/tiledescriptor.json");
}

QString tileExtentsUrl(const QString& baseUrl)
{
    return baseUrl + QLatin1String("/tileextents.json");
}

QString tileSourceListUrl(const QString& discoveryUrl)
{
    return discoveryUrl + QLatin1String("/tilesources.json");
}

} // namespace mivo::tiling
