// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/tiling/TileLoaderQNetworkAccessManager.h>

#include "TileLoaderQNetworkAccessManager_p.h"

#include "../core/Logging_p.h"
#include "BoundedBody_p.h"
#include "TileLoadFailureReporter_p.h"

#include <mivo/tiling/TileLoaderThread.h>
#include <mivo/tiling/TileServerProtocol.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <memory>

namespace mivo::tiling {

namespace {

constexpr qint64 workerShutdownTimeoutMs = 10000;

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
        // Worker signals forwarded as the loader's, queued into the loader's thread. The
        // loaded tile takes one step more than a signal-to-signal connection: it passes
        // the worker's mutex (synchronizeHandOver()), kept only so that ThreadSanitizer
        // sees the tile built before it is used here; Qt's event queue hands it over
        // through a mutex that ThreadSanitizer cannot see.
        connect(worker, &TileLoaderThread::si_tileLoaded, this, [this, worker](const std::shared_ptr<Tile>& tile) {
            worker->synchronizeHandOver();
            Q_EMIT q.si_tileLoaded(tile);
        });
        connect(&worker->failureReporter(), &TileLoadFailureReporter::si_tileLoadFailedBecause, &q,
                &TileLoaderQNetworkAccessManager::si_tileLoadFailedBecause);
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
    // Two passes: every worker is asked to end first, then each is waited for against
    // one deadline, so that a pool of busy workers costs one timeout, not one each.
    for (TileLoaderThread* worker : qAsConst(workers))
        QMetaObject::invokeMethod(worker, "sl_shutdown", Qt::QueuedConnection);
    const QDeadlineTimer deadline(workerShutdownTimeoutMs);
    for (TileLoaderThread* worker : qAsConst(workers)) {
        if (worker->wait(deadline))
            delete worker;
        else
            releaseWhenFinished(*worker);
    }
    workers.clear();
}

void TileLoaderQNetworkAccessManager::Private::releaseWhenFinished(TileLoaderThread& worker)
{
    // Deleting a running QThread aborts the process. Release the worker once it has
    // finished instead; its results no longer reach anybody. Whichever of the two
    // paths below sees it finished first deletes it.
    worker.disconnect(this);
    worker.disconnect(&q);
    worker.failureReporter().disconnect(&q);
    const auto claimed = std::make_shared<std::atomic_bool>(false);
    TileLoaderThread* const released = &worker;
    const auto release = [released, claimed] {
        if (claimed->exchange(true))
            return;
        released->wait();
        delete released;
    };
    if (QCoreApplication::instance())
        QObject::connect(released, &QThread::finished, QCoreApplication::instance(), release, Qt::QueuedConnection);
    if (released->isFinished())
        release();
}

TileLoaderThread& TileLoaderQNetworkAccessManager::Private::workerFor(const TileId& tileId) const
{
    return *workers.at(static_cast<int>(tileId.key() % static_cast<quint32>(workers.size())));
}

void TileLoaderQNetworkAccessManager::Private::getDocument(const QString& url)
{
    const QUrl documentUrl(url, QUrl::TolerantMode);
    if (documentUrl.isLocalFile()) {
        // Read here, never blocking on a FIFO, and delivered from the event loop as a
        // reply would be.
        BoundedBody file = readLocalFile(documentUrl.toLocalFile(), settings.maximumDocumentBytes);
        if (file.failure)
            qCDebug(lcTiling).noquote() << "document" << url << "refused:" << file.failure->reason;
        QMetaObject::invokeMethod(
            this, [this, documentUrl, body = std::move(file.bytes)] { deliverDocument(documentUrl, body); },
            Qt::QueuedConnection);
        return;
    }
    QNetworkRequest request(documentUrl);
    request.setPriority(QNetworkRequest::HighPriority);
    // A followed redirect would change reply->url(), by which the answer is matched.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    prepareBoundedRequest(request);
    QNetworkReply* reply = networkAccessManager->get(request);
    BoundedBodyReader::attach(*reply, settings.maximumDocumentBytes, settings.bodyTimeoutMs);
}

void TileLoaderQNetworkAccessManager::Private::sl_replyFinished(QNetworkReply* reply)
{
    // The reply's error is not consulted: a failed or refused request parses as the
    // documents' defaults.
    const BoundedBody body = BoundedBodyReader::take(*reply, settings.maximumDocumentBytes);
    if (body.failure)
        qCDebug(lcTiling).noquote() << "document" << reply->url().toString() << "failed:" << body.failure->reason;
    deliverDocument(reply->url(), body.bytes);
    reply->deleteLater();
}

void TileLoaderQNetworkAccessManager::Private::deliverDocument(const QUrl& url, const QByteArray& body)
{
    if (url == QUrl(tileSystemDescriptorUrl(baseUrl), QUrl::TolerantMode)) {
        const TileSystemDescriptor descriptor = parseTileSystemDescriptor(body);
        // Tiles of this source must have its tile size from now on.
        setTileSize(descriptor.name.isNull() ? QSize() : QSize(descriptor.xaxis.tilesize, descriptor.yaxis.tilesize));
        Q_EMIT q.si_tileSystemDescriptorLoaded(descriptor);
    } else if (url == QUrl(tileExtentsUrl(baseUrl), QUrl::TolerantMode)) {
        Q_EMIT q.si_tileSystemExtentsLoaded(parseTileExtents(body));
    }
}

void TileLoaderQNetworkAccessManager::Private::setTileSize(const QSize& size)
{
    for (TileLoaderThread* worker : qAsConst(workers))
        worker->setTileSize(size);
}

TileLoaderQNetworkAccessManager::TileLoaderQNetworkAccessManager()
    : TileLoaderQNetworkAccessManager(QThread::idealThreadCount())
{
}

TileLoaderQNetworkAccessManager::TileLoaderQNetworkAccessManager(int idealThreadCount)
    : d(std::make_unique<Private>(*this, workerCountFor(idealThreadCount))) // ITileLoader registered the meta types
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
    d->setTileSize(QSize()); // until the new source's descriptor arrives
}

void TileLoaderQNetworkAccessManager::loadTileSystemDescriptor()
{
    if (!d->baseUrl.isNull())
        d->getDocument(tileSystemDescriptorUrl(d->baseUrl));
}

void TileLoaderQNetworkAccessManager::loadTileExtents()
{
    if (!d->baseUrl.isNull())
        d->getDocument(tileExtentsUrl(d->baseUrl));
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
    QMetaObject::invokeMethod(&d->workerFor(tileId), "sl_cancelLoadTile", Qt::AutoConnection, Q_ARG(TileId, tileId));
}

TileLoaderQNetworkAccessManagerSettings TileLoaderQNetworkAccessManager::settings() const
{
    return d->settings;
}

void TileLoaderQNetworkAccessManager::setSettings(const TileLoaderQNetworkAccessManagerSettings& settings)
{
    d->settings = settings;
    for (TileLoaderThread* worker : qAsConst(d->workers))
        worker->setSettings(settings);
}

} // namespace mivo::tiling
