// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/tiling/TileLoaderQNetworkAccessManager.h>

#include <QList>
#include <QObject>
#include <QSize>
#include <QString>
#include <QUrl>

class QNetworkAccessManager;
class QNetworkReply;

namespace mivo::tiling {

class TileLoaderThread;

class TileLoaderQNetworkAccessManager::Private : public QObject
{
    Q_OBJECT

public:
    Private(TileLoaderQNetworkAccessManager& loader, int workerCount);
    ~Private() override;

    TileLoaderThread& workerFor(const TileId& tileId) const;
    /// Requests a document (descriptor or extents) under the limits.
    void getDocument(const QString& url);
    /// Hands a document's body to the signal its URL names, if it is still one of the
    /// current source's.
    void deliverDocument(const QUrl& url, const QByteArray& body);
    void setTileSize(const QSize& size);

    TileLoaderQNetworkAccessManager& q;
    QNetworkAccessManager* networkAccessManager; // child of this object
    QString baseUrl; // null until a base URL is set
    QList<TileLoaderThread*> workers; // owned
    TileLoaderQNetworkAccessManagerSettings settings;

public Q_SLOTS:
    void sl_replyFinished(QNetworkReply* reply);

private:
    void shutDownWorkers();
    void releaseWhenFinished(TileLoaderThread& worker);
};

} // namespace mivo::tiling
