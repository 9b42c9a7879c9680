// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/tiling/TileLoaderThread.h>

#include "../core/Logging_p.h"
#include "BoundedBody_p.h"
#include "PalettePngDecoder_p.h"
#include "TileBodyDecoder_p.h"
#include "TileLoadFailureReporter_p.h"

#include <mivo/tiling/TileServerProtocol.h>

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrl>

namespace mivo::tiling {

namespace {

const char tileIdProperty[] = "tileid";

} // namespace

TileLoaderThread::TileLoaderThread()
    : m_failureReporter(new TileLoadFailureReporter(this))
    , m_networkAccessManager(new QNetworkAccessManager(this))
{
    moveToThread(this);
    connect(m_networkAccessManager, &QNetworkAccessManager::finished, this, &TileLoaderThread::sl_replyFinished);
}

TileLoaderThread::~TileLoaderThread()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
}

void TileLoaderThread::run()
{
    exec();
    const std::lock_guard<std::mutex> lock(m_mutex);
}

void TileLoaderThread::setBaseUrl(const QString& baseUrl)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_baseUrl = baseUrl;
}

QString TileLoaderThread::baseUrl() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_baseUrl;
}

void TileLoaderThread::setSettings(const TileLoaderQNetworkAccessManagerSettings& settings)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_settings = settings;
}

TileLoaderQNetworkAccessManagerSettings TileLoaderThread::settings() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_settings;
}

void TileLoaderThread::setTileSize(const QSize& size)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_tileSize = size;
}

QSize TileLoaderThread::tileSize() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_tileSize;
}

void TileLoaderThread::synchronizeHandOver() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
}

TileLoadFailureReporter& TileLoaderThread::failureReporter() const
{
    return *m_failureReporter;
}

void TileLoaderThread::sl_loadTile(TileId tileId, bool highPriority)
{
    // No second request, and the running request keeps its priority.
    if (m_pendingReplies.contains(tileId) || !m_networkAccessManager)
        return;
    const TileLoaderQNetworkAccessManagerSettings limits = settings();
    const QUrl url(tileUrl(baseUrl(), tileId), QUrl::TolerantMode);
    if (url.isLocalFile()) {
        // Read here rather than by the network access manager, which would block on a FIFO.
        const BoundedBody file = readLocalFile(url.toLocalFile(), limits.maximumTileBytes);
        if (file.failure)
            fail(tileId, *file.failure);
        else
            deliver(tileId, file.bytes);
        return;
    }
    QNetworkRequest request(url);
    request.setPriority(highPriority ? QNetworkRequest::HighPriority : QNetworkRequest::NormalPriority);
    // Stated, not left to Qt's default (which Qt 6 changes): a tile is its URL's answer.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    prepareBoundedRequest(request);
    allowZeroCopyBody(request, limits.maximumTileBytes); // the reply goes once its tile is decoded
    QNetworkReply* reply = m_networkAccessManager->get(request);
    reply->setProperty(tileIdProperty, QVariant::fromValue(tileId));
    BoundedBodyReader::attach(*reply, limits.maximumTileBytes, limits.bodyTimeoutMs);
    m_pendingReplies.insert(tileId, reply);
}

void TileLoaderThread::sl_cancelLoadTile(TileId tileId)
{
    // Kept on purpose: the request is not aborted and stays pending; it ends and is
    // reported like any other. Only the SSL errors are to be ignored from now on.
    QNetworkReply* reply = m_pendingReplies.value(tileId, nullptr);
    if (reply)
        reply->ignoreSslErrors();
}

void TileLoaderThread::sl_shutdown()
{
    if (m_networkAccessManager) {
        // Deleted in this thread, as the thread ends, rather than by the thread
        // object's destructor in the loader's thread.
        m_networkAccessManager->setParent(nullptr);
        m_networkAccessManager->deleteLater();
        m_networkAccessManager = nullptr;
    }
    m_pendingReplies.clear();
    quit();
}

void TileLoaderThread::sl_replyFinished(QNetworkReply* reply)
{
    const QVariant property = reply->property(tileIdProperty);
    if (!property.isValid())
        return; // not ours: left alone
    const TileId tileId = property.value<TileId>();
    const BoundedBody body = BoundedBodyReader::take(*reply, settings().maximumTileBytes);
    if (body.failure)
        fail(tileId, *body.failure);
    else
        deliver(tileId, body.bytes);
    m_pendingReplies.remove(tileId);
    reply->deleteLater();
}

void TileLoaderThread::deliver(const TileId& tileId, const QByteArray& body)
{
    if (!m_pngDecoder)
        m_pngDecoder = std::make_unique<PalettePngDecoder>();
    const DecodedTileBody decoded
        = decodeTileBody(body, tileId, tileSize(), settings().maximumTilePixels, PngDecoder::Fast, m_pngDecoder.get());
    if (!decoded.refusal.isEmpty())
        qCDebug(lcTiling).noquote() << "tile" << tileId.toString() << "refused:" << decoded.refusal;
    {
        // Released after the tile is built; see synchronizeHandOver().
        const std::lock_guard<std::mutex> lock(m_mutex);
    }
    Q_EMIT si_tileLoaded(decoded.tile);
}

void TileLoaderThread::fail(const TileId& tileId, const TileLoadFailure& failure)
{
    qCDebug(lcTiling).noquote() << "tile" << tileId.toString() << "failed:" << failure.reason;
    Q_EMIT m_failureReporter->si_tileLoadFailedBecause(tileId, failure);
    Q_EMIT si_tileLoadFailed(tileId);
}

} // namespace mivo::tiling
