#include <mivo/tiling/TileLoaderQNetworkAccessManager.h>

#include "TileLoaderQNetworkAccessManager_p.h"
#include "TilingMetaTypes_p.h"

#include <mivo/tiling/TileLoaderThread.h>
#include <mivo/tiling/TileServerProtocol.h>

#include <QCoreApplication>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <memory>

namespace mivo::tiling {

namespace {

constexpr unsigned long workerShutdownTimeoutMs = 10000;

void getWithHighPriority(QNetworkAccessManager& manager, const QString& url)
{
    QNetworkRequest request(QUrl(url, QUrl::TolerantMode));
    request.setPriority(QNetworkRequest::HighPriority);
    // A followed redirect would change reply->url(), by which the answer is matched.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    manager.get(request);
}

} // namespace

TileLoaderQNetworkAccessManager::Private::Private(TileLoaderQNetworkAccessManager& loader, int workerCount)
    : q(loader)
    , networkAccessManager(new QNetworkAccessManager(this))
{
    connect(networkAccessManager, &QNetworkAccessManager::finished, this, &Private::sl_replyFinished);
    for (int i = 0; i < workerCount; ++i) {
        auto* worker = new TileLoaderThread;
        worker->start(QThread::InheritPriority);
        worker->setBaseUrl(baseUrl);
        worker->setPriority(QThread::LowPriority);
        // Signal to signal: queued into the loader's thread.
        connect(worker, &TileLoaderThread::si_tileLoaded, &q, &ITileLoader::si_tileLoaded);
        connect(worker, &TileLoaderThread::si_tileLoadFailed, &q, &ITileLoader::si_tileLoadFailed);
        workers.append(worker);
    }
}

TileLoaderQNetworkAccessManager::Private::~Private()
{
    shutDownWorkers();
}

void TileLoaderQNetworkAccessManager::Private::shutDownWorkers()
{
    for (TileLoaderThread* worker : qAsConst(workers)) {
        QMetaObject::invokeMethod(worker, "sl_shutdown", Qt::QueuedConnection);
        if (worker->wait(workerShutdownTimeoutMs)) {
            delete worker;
            continue;
        }
        // Deleting a running QThread aborts the process. Release the worker once it has
        // finished instead; its results no longer reach anybody. Whichever of the two
        // paths below sees it finished first deletes it.
        worker->disconnect(&q);
        const auto claimed = std::make_shared<std::atomic_bool>(false);
        const auto release = [worker, claimed] {
            if (claimed->exchange(true))
                return;
            worker->wait();
            delete worker;
        };
        if (QCoreApplication::instance())
            QObject::connect(worker, &QThread::finished, QCoreApplication::instance(), release, Qt::QueuedConnection);
        if (worker->isFinished())
            release();
    }
    workers.clear();
}

TileLoaderThread& TileLoaderQNetworkAccessManager::Private::workerFor(const TileId& tileId) const
{
    return *workers.at(static_cast<int>(tileId.key() % static_cast<quint32>(workers.size())));
}

void TileLoaderQNetworkAccessManager::Private::sl_replyFinished(QNetworkReply* reply)
{
    // Matched by URL; the reply's error is not consulted: a failed request parses as
    // the documents' defaults.
    const QUrl url = reply->url();
    if (url == QUrl(tileSystemDescriptorUrl(baseUrl), QUrl::TolerantMode))
        Q_EMIT q.si_tileSystemDescriptorLoaded(parseTileSystemDescriptor(reply->readAll()));
    else if (url == QUrl(tileExtentsUrl(baseUrl), QUrl::TolerantMode))
        Q_EMIT q.si_tileSystemExtentsLoaded(parseTileExtents(reply->readAll()));
    reply->deleteLater();
}

TileLoaderQNetworkAccessManager::TileLoaderQNetworkAccessManager()
    : TileLoaderQNetworkAccessManager(QThread::idealThreadCount())
{
}

TileLoaderQNetworkAccessManager::TileLoaderQNetworkAccessManager(int idealThreadCount)
    : d((registerTilingMetaTypes(), std::make_unique<Private>(*this, workerCountFor(idealThreadCount))))
{
}

TileLoaderQNetworkAccessManager::~TileLoaderQNetworkAccessManager() = default;

int TileLoaderQNetworkAccessManager::workerCountFor(int idealThreadCount)
{
    return std::max(2, idealThreadCount / 2);
}

int TileLoaderQNetworkAccessManager::workerCount() const
{
    return d->workers.size();
}

const TileLoaderThread& TileLoaderQNetworkAccessManager::worker(int index) const
{
    return *d->workers.at(index);
}

void TileLoaderQNetworkAccessManager::setBaseUrl(const QUrl& url)
{
    d->baseUrl = url.toString();
    for (TileLoaderThread* worker : qAsConst(d->workers))
        worker->setBaseUrl(d->baseUrl);
}

void TileLoaderQNetworkAccessManager::loadTileSystemDescriptor()
{
    if (!d->baseUrl.isNull())
        getWithHighPriority(*d->networkAccessManager, tileSystemDescriptorUrl(d->baseUrl));
}

void TileLoaderQNetworkAccessManager::loadTileExtents()
{
    if (!d->baseUrl.isNull())
        getWithHighPriority(*d->networkAccessManager, tileExtentsUrl(d->baseUrl));
}

void TileLoaderQNetworkAccessManager::loadTile(const TileId& tileId, bool highPriority)
{
    if (d->baseUrl.isNull())
        return;
    QMetaObject::invokeMethod(&d->workerFor(tileId), "sl_loadTile", Qt::AutoConnection, Q_ARG(TileId, tileId),
                              Q_ARG(bool, highPriority));
}

void TileLoaderQNetworkAccessManager::cancelTileLoad(const TileId& tileId)
{
    QMetaObject::invokeMethod(&d->workerFor(tileId), "sl_cancelLoadTile", Qt::AutoConnection,
                              Q_ARG(TileId, tileId));
}

} // namespace mivo::tiling
