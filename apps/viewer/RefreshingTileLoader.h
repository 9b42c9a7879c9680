// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/tiling/ITileLoader.h>

#include <QNetworkAccessManager>
#include <QString>

class QNetworkReply;

namespace mivo::viewer {

/**
 * A tile loader that hands everything to another one, and gives every descriptor it
 * delivers an extents refresh interval: the library's descriptor parser reads no key
 * for it, so the host supplies it this way and the provider re-polls the extents.
 *
 * The interval is, in this order of precedence: the host's explicit interval (the
 * viewer's --refresh); the "updateInterval" number (milliseconds) of the source's own
 * tiledescriptor.json, which a live source written by mivo-tilegen --follow carries;
 * the fallback interval (0: none). To read that document, loadTileSystemDescriptor()
 * first fetches it itself (at most 1 MiB; a failed or malformed answer counts as no
 * interval) and only then asks the inner loader, so the interval is known when the
 * descriptor is delivered.
 *
 * The inner loader is not owned and must outlive this one.
 */
class RefreshingTileLoader : public tiling::ITileLoader
{
    Q_OBJECT

public:
    RefreshingTileLoader(tiling::ITileLoader& inner, quint32 refreshIntervalMs, QObject* parent = nullptr);

    /// The interval used when neither the host nor the document gives one.
    void setFallbackInterval(quint32 milliseconds) { m_fallbackIntervalMs = milliseconds; }
    /// The "updateInterval" of the current source's document; 0 until it was read or
    /// when it has none.
    quint32 documentInterval() const { return m_documentIntervalMs; }

    void setBaseUrl(const QUrl& url) override;
    void loadTileSystemDescriptor() override;
    void loadTileExtents() override;
    void loadTile(const tiling::TileId& tileId, bool highPriority) override;
    void cancelTileLoad(const tiling::TileId& tileId) override;

private:
    void documentRead(QNetworkReply* reply);

    tiling::ITileLoader& m_inner;
    quint32 m_refreshIntervalMs;
    quint32 m_fallbackIntervalMs = 0;
    quint32 m_documentIntervalMs = 0;
    QString m_baseUrl;
    QNetworkAccessManager m_network;
    QNetworkReply* m_documentReply = nullptr; // the fetch in flight, owned by m_network
};

} // namespace mivo::viewer
