#include <mivo/tiling/TileSourceManager.h>

#include "TilingMetaTypes_p.h"

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

// The whole body; nothing when the reply was aborted (a closed reply has none) or
// when a body over the limit arrived in one piece, too quickly to be aborted. A second
// reader of the same reply gets an empty body.
QByteArray readBody(QNetworkReply& reply)
{
    if (!reply.isOpen() || reply.bytesAvailable() > TileSourceManager::maximumDocumentSize)
        return QByteArray();
    return reply.readAll();
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
    QNetworkReply* reply = m_networkAccessManager->get(request);
    // Bounded memory: the network stack buffers no more than one byte over the limit
    // before it waits for us, and such a body is cut off there. Content-Length says so
    // earlier when it is sent.
    reply->setReadBufferSize(maximumDocumentSize + 1);
    connect(reply, &QNetworkReply::readyRead, reply, [reply] {
        if (reply->bytesAvailable() > maximumDocumentSize)
            reply->abort();
    });
    connect(reply, &QNetworkReply::downloadProgress, reply, [reply](qint64, qint64 total) {
        if (total > maximumDocumentSize)
            reply->abort();
    });
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
    // Not deleted: the reply stays a child of the network access manager. A body no
    // source read (an answer for a source removed meanwhile) is dropped, so that kept
    // replies hold no documents.
    if (reply->isOpen())
        reply->skip(reply->bytesAvailable());
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
    const QList<QString> ids = parseTileSourceList(readBody(reply)).mid(0, maximumDiscoveredTileSources);
    for (const QString& id : ids)
        addTileSource(id, QString());
}

int TileSourceManager::indexOf(const QString& id) const
{
    const auto found = std::find_if(m_tileSources.cbegin(), m_tileSources.cend(),
                                    [&id](const TileSource& source) { return source.id == id; });
    return found != m_tileSources.cend() ? int(found - m_tileSources.cbegin()) : -1;
}

} // namespace mivo::tiling
