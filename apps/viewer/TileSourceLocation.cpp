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
    return {QString(), message};
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
        if (sourceId.isEmpty() && directory.exists(QStringLiteral("tiledescriptor.json")))
            return {QUrl::fromLocalFile(directory.absolutePath()).toString(), QString()};
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
            return failed(QStringLiteral("%1: no tiledescriptor.json in source \"%2\"").arg(directory.absolutePath(), id));
        return {QUrl::fromLocalFile(chosen.absolutePath()).toString(), QString()};
    }

    const QUrl url(source, QUrl::StrictMode);
    const QString scheme = url.scheme();
    if (!url.isValid() || !(scheme == QLatin1String("http") || scheme == QLatin1String("https")
                            || scheme == QLatin1String("file"))) {
        return failed(QStringLiteral("%1: not a directory and not an http(s) or file URL").arg(source));
    }
    const QString base = withoutTrailingSlash(source);
    return {sourceId.isEmpty() ? base : base + QLatin1Char('/') + sourceId, QString()};
}

} // namespace mivo::viewer
