#pragma once

#include <mivo/tiling/TileLoaderQNetworkAccessManager.h>

#include <QList>
#include <QObject>
#include <QString>

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

    TileLoaderQNetworkAccessManager& q;
    QNetworkAccessManager* networkAccessManager; // child of this object
    QString baseUrl;                             // null until a base URL is set
    QList<TileLoaderThread*> workers;            // owned

public Q_SLOTS:
    void sl_replyFinished(QNetworkReply* reply);

private:
    void shutDownWorkers();
};

} // namespace mivo::tiling
