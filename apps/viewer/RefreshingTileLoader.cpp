// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "RefreshingTileLoader.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>
#include <QNetworkRequest>

#include <climits>
#include <cmath>

namespace mivo::viewer {

namespace {

constexpr qint64 maximumDocumentBytes = qint64(1) << 20;

} // namespace

RefreshingTileLoader::RefreshingTileLoader(tiling::ITileLoader& inner, quint32 refreshIntervalMs, QObject* parent)
    : ITileLoader(parent)
    , m_inner(inner)
    , m_refreshIntervalMs(refreshIntervalMs)
{
    connect(&m_inner, &ITileLoader::si_tileSystemDescriptorLoaded, this,
            [this](const tiling::TileSystemDescriptor& descriptor) {
                tiling::TileSystemDescriptor refreshing = descriptor;
                refreshing.updateInterval = m_refreshIntervalMs > 0 ? m_refreshIntervalMs
                    : m_documentIntervalMs > 0                      ? m_documentIntervalMs
                                                                    : m_fallbackIntervalMs;
                Q_EMIT si_tileSystemDescriptorLoaded(refreshing);
            });
    connect(&m_inner, &ITileLoader::si_tileSystemExtentsLoaded, this, &ITileLoader::si_tileSystemExtentsLoaded);
    connect(&m_inner, &ITileLoader::si_tileLoaded, this, &ITileLoader::si_tileLoaded);
    connect(&m_inner, &ITileLoader::si_tileLoadFailed, this, &ITileLoader::si_tileLoadFailed);
}

void RefreshingTileLoader::setBaseUrl(const QUrl& url)
{
    m_baseUrl = url.toString();
    m_documentIntervalMs = 0;
    if (m_documentReply) {
        QNetworkReply* reply = m_documentReply;
        m_documentReply = nullptr; // an old source's answer is not read
        reply->abort();
    }
    m_inner.setBaseUrl(url);
}

void RefreshingTileLoader::loadTileSystemDescriptor()
{
    if (m_baseUrl.isNull() || m_refreshIntervalMs > 0) {
        m_inner.loadTileSystemDescriptor();
        return;
    }
    if (m_documentReply)
        return; // the inner loader is asked when it finishes
    QNetworkRequest request(QUrl(m_baseUrl + QStringLiteral("/tiledescriptor.json"), QUrl::TolerantMode));
    m_documentReply = m_network.get(request);
    QNetworkReply* reply = m_documentReply;
    connect(reply, &QNetworkReply::downloadProgress, reply, [reply](qint64 received, qint64) {
        if (received > maximumDocumentBytes)
            reply->abort();
    });
    connect(reply, &QNetworkReply::finished, this, [this, reply] { documentRead(reply); });
}

void RefreshingTileLoader::documentRead(QNetworkReply* reply)
{
    reply->deleteLater();
    if (reply != m_documentReply)
        return;
    m_documentReply = nullptr;
    m_documentIntervalMs = 0;
    if (reply->error() == QNetworkReply::NoError) {
        const QJsonObject document = QJsonDocument::fromJson(reply->read(maximumDocumentBytes)).object();
        const double interval = document.value(QStringLiteral("updateInterval")).toDouble(0.0);
        if (interval >= 1.0 && interval <= double(INT_MAX))
            m_documentIntervalMs = quint32(std::lround(interval));
    }
    m_inner.loadTileSystemDescriptor();
}

void RefreshingTileLoader::loadTileExtents()
{
    m_inner.loadTileExtents();
}

void RefreshingTileLoader::loadTile(const tiling::TileId& tileId, bool highPriority)
{
    m_inner.loadTile(tileId, highPriority);
}

void RefreshingTileLoader::cancelTileLoad(const tiling::TileId& tileId)
{
    m_inner.cancelTileLoad(tileId);
}

} // namespace mivo::viewer
