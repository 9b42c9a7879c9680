// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "TileSourceLocation.h"

#include <mivo/tiling/TileServerProtocol.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUrl>

namespace mivo::viewer {

namespace {

TileSourceLocation failed(const QString& message)
{
    TileSourceLocation location;
    location.error = message;
    return location;
}

QString fileUrl(const QDir& directory)
{
    return QUrl::fromLocalFile(directory.absolutePath()).toString();
}

QString withoutTrailingSlash(QString text)
{
    while (text.size() > 1 && text.endsWith(QLatin1Char('/')))
        text.chop(1);
    return text;
}

} // namespace

TileSourceLocation locateTileSource(const QString& source, const QString& sourceId)
{
    const QFileInfo info(source);
    if (info.isDir()) {
        const QDir directory(info.absoluteFilePath());
        TileSourceLocation location;
        if (sourceId.isEmpty() && directory.exists(QStringLiteral("tiledescriptor.json"))) {
            location.baseUrl = fileUrl(directory);
            QDir parent = directory;
            if (parent.cdUp() && parent.exists(QStringLiteral("tilesources.json"))) {
                location.discoveryUrl = fileUrl(parent); // its siblings, to pick from
                location.sourceId = directory.dirName();
            }
            return location;
        }
        QString id = sourceId;
        if (id.isEmpty()) {
            QFile list(directory.filePath(QStringLiteral("tilesources.json")));
            if (!list.open(QIODevice::ReadOnly))
                return failed(QStringLiteral("%1: neither tiledescriptor.json nor tilesources.json found")
                                  .arg(directory.absolutePath()));
            const QList<QString> ids = mivo::tiling::parseTileSourceList(list.readAll());
            if (ids.isEmpty() || ids.constFirst().isEmpty())
                return failed(QStringLiteral("%1: tilesources.json lists no source").arg(list.fileName()));
            id = ids.constFirst();
        }
        const QDir chosen(directory.filePath(id));
        if (!chosen.exists(QStringLiteral("tiledescriptor.json")))
            return failed(
                QStringLiteral("%1: no tiledescriptor.json in source \"%2\"").arg(directory.absolutePath(), id));
        location.baseUrl = fileUrl(chosen);
        location.discoveryUrl = fileUrl(directory);
        location.sourceId = id;
        return location;
    }

    const QUrl url(source, QUrl::StrictMode);
    const QString scheme = url.scheme();
    if (!url.isValid()
        || !(scheme == QLatin1String("http") || scheme == QLatin1String("https") || scheme == QLatin1String("file"))) {
        return failed(QStringLiteral("%1: not a directory and not an http(s) or file URL").arg(source));
    }
    TileSourceLocation location;
    location.discoveryUrl = withoutTrailingSlash(source);
    location.sourceId = sourceId;
    location.baseUrl = sourceId.isEmpty() ? location.discoveryUrl : location.discoveryUrl + QLatin1Char('/') + sourceId;
    location.awaitDiscovery = sourceId.isEmpty();
    return location;
}

} // namespace mivo::viewer
