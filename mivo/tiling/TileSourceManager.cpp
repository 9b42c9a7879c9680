// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/tiling/TileSourceManager.h>

#include "../core/Logging_p.h"
#include "BoundedBody_p.h"
#include "TilingMetaTypes_p.h"

#include <mivo/tiling/TileLoaderQNetworkAccessManager.h>
#include <mivo/tiling/TileServerProtocol.h>

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>
#include <QUrl>

#include <algorithm>
#include <climits>

namespace mivo::tiling {

namespace {

// The same limits as the tile loader's documents.
const TileLoaderQNetworkAccessManagerSettings documentLimits;
static_assert(TileSourceManager::maximumDocumentSize == TileLoaderQNetworkAccessManagerSettings().maximumDocumentBytes,
              "the source manager reads documents within the loader's limit");

// The whole body as read within the limits; nothing when it was refused (too large,
// too slow, badly encoded). A second reader of the same reply gets an empty body.
QByteArray readBody(QNetworkReply& reply)
{
    BoundedBody body = BoundedBodyReader::take(reply, documentLimits.maximumDocumentBytes);
    if (body.failure)
        qCDebug(lcTiling).noquote() << "document" << reply.url().toString() << "failed:" << body.failure->reason;
    return std::move(body.bytes);
}

} // namespace

TileSourceManager::TileSourceManager(QObject* parent)
    : QObject(parent)
    , m_networkAccessManager(std::make_unique<QNetworkAccessManager>())
    , m_timer(std::make_unique<QTimer>())
{
    registerTilingMetaTypes();
    connect(m_networkAccessManager.get(), &QNetworkAccessManager::finished, this,
            &TileSourceManager::sl_networkRequestFinished);
}

TileSourceManager::~TileSourceManager()
{
    // The network access manager deletes its replies after this body; none of them
    // may reach a half-destroyed manager.
    m_networkAccessManager->disconnect(this);
}

void TileSourceManager::discoverTileSources(const QString& url)
{
    m_discoveryUrl = url;
    get(tileSourceListUrl(m_discoveryUrl));
}

void TileSourceManager::addTileSource(const QString& id, const QString& name)
{
    if (indexOf(id) >= 0)
        return;
    TileSource source;
    source.id = id;
    source.name = name;
    source.baseUrl = m_discoveryUrl + QLatin1Char('/') + id;
    m_tileSources.append(source);
    initializeTileSource(source);
    Q_EMIT si_tileSourceListChanged();
}

void TileSourceManager::removeTileSource(const QString& id)
{
    // kept: a source whose name is still null stays.
    if (tileSource(id).name.isNull())
        return;
    m_tileSources.erase(std::remove_if(m_tileSources.begin(), m_tileSources.end(),
                                       [&id](const TileSource& source) { return source.id == id; }),
                        m_tileSources.end());
    Q_EMIT si_tileSourceListChanged();
}

TileSource TileSourceManager::tileSource(const QString& id) const
{
    const int index = indexOf(id);
    return index >= 0 ? m_tileSources.at(index) : TileSource();
}

const QList<TileSource>& TileSourceManager::tileSources() const
{
    return m_tileSources;
}

const QString& TileSourceManager::discoveryUrl() const
{
    return m_discoveryUrl;
}

const QTimer& TileSourceManager::updateTimer() const
{
    return *m_timer;
}

void TileSourceManager::initializeTileSource(const TileSource& source)
{
    get(tileSystemDescriptorUrl(source.baseUrl));
}

void TileSourceManager::get(const QString& url)
{
    QNetworkRequest request(QUrl(url, QUrl::TolerantMode));
    // Answers are matched by reply->url(), which a followed redirect would change.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    prepareBoundedRequest(request);
    QNetworkReply* reply = m_networkAccessManager->get(request);
    BoundedBodyReader::attach(*reply, documentLimits.maximumDocumentBytes, documentLimits.bodyTimeoutMs);
}

void TileSourceManager::sl_networkRequestFinished(QNetworkReply* reply)
{
    const QUrl url = reply->url();
    // Ids are unique, so a source is found again by its id after a slot connected to
    // the list-changed signal has added or removed sources.
    const QList<TileSource> sources = m_tileSources;
    for (const TileSource& source : sources) {
        if (url == QUrl(tileSystemDescriptorUrl(source.baseUrl)))
            handleDescriptorReply(source.id, *reply);
        else if (url == QUrl(tileExtentsUrl(source.baseUrl)))
            handleExtentsReply(source.id, *reply);
    }
    if (url == QUrl(tileSourceListUrl(m_discoveryUrl)))
        handleDiscoveryReply(*reply);
    // Not deleted: the reply stays a child of the network access manager. Its reader
    // goes, with a body no source read (an answer for a source removed meanwhile), so
    // that kept replies hold no documents.
    BoundedBodyReader::release(*reply);
}

void TileSourceManager::handleDescriptorReply(const QString& id, QNetworkReply& reply)
{
    const TileSystemDescriptor descriptor = parseTileSystemDescriptor(readBody(reply));
    const int index = indexOf(id);
    if (index < 0)
        return;
    TileSource& source = m_tileSources[index];
    source.descriptor = descriptor;
    if (source.name.isEmpty())
        source.name = descriptor.name;
    const QString baseUrl = source.baseUrl;
    Q_EMIT si_tileSourceListChanged();
    get(tileExtentsUrl(baseUrl));
    // kept: a millisecond interval compared with seconds times 1000; the interval is
    // never set, so the timer never starts.
    if (double(m_timer->interval()) > double(descriptor.updateInterval) * 1000.0)
        m_timer->start(int(std::min<quint32>(descriptor.updateInterval, INT_MAX)));
}

void TileSourceManager::handleExtentsReply(const QString& id, QNetworkReply& reply)
{
    const QRectF extents = parseTileExtents(readBody(reply));
    const int index = indexOf(id);
    if (index < 0)
        return;
    m_tileSources[index].extents = extents;
    Q_EMIT si_tileSourceListChanged();
}

void TileSourceManager::handleDiscoveryReply(QNetworkReply& reply)
{
    QList<QString> ids = parseTileSourceList(readBody(reply));
    if (ids.size() > maximumDiscoveredTileSources) {
        qCDebug(lcTiling).noquote() << "discovery" << reply.url().toString() << "lists" << ids.size()
                                    << "sources; only the first" << maximumDiscoveredTileSources << "are read";
        ids = ids.mid(0, maximumDiscoveredTileSources);
    }
    for (const QString& id : qAsConst(ids))
        addTileSource(id, QString());
    Q_EMIT si_discoveryFinished(m_discoveryUrl);
}

int TileSourceManager::indexOf(const QString& id) const
{
    const auto found = std::find_if(m_tileSources.cbegin(), m_tileSources.cend(),
                                    [&id](const TileSource& source) { return source.id == id; });
    return found != m_tileSources.cend() ? int(found - m_tileSources.cbegin()) : -1;
}

} // namespace mivo::tiling
