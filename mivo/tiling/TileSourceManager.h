// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>
#include <mivo/tiling/TileSource.h>

#include <QList>
#include <QObject>
#include <QString>

#include <memory>

class QNetworkAccessManager;
class QNetworkReply;
class QTimer;

namespace mivo::tiling {

/**
 * The tile sources a tile server offers, discovered from its discovery document or
 * added by hand, each with its descriptor and extents fetched once.
 *
 * Requests (plain GETs, redirects not followed, documents as TileServerProtocol.h
 * describes them):
 * - discoverTileSources(url): url + "/tilesources.json";
 * - per source: its baseUrl + "/tiledescriptor.json", and once that has answered,
 *   baseUrl + "/tileextents.json".
 *
 * Every source passes through three steps, and si_tileSourceListChanged() is emitted
 * at each of them: added (a discovered source has no name yet), descriptor stored
 * (an empty name takes the descriptor's name), extents stored.
 *
 * Answers are matched to sources by their URL, over all sources: sources that share a
 * base URL are all served by one answer, the first in list order reads the body and
 * the later ones an empty body (so they get the defaults below). An answer for a
 * discovery URL that has been replaced since is ignored.
 *
 * Failures are not reported and nothing is retried: a failed or unreadable discovery
 * adds nothing; a failed descriptor stores a default (invalid) descriptor and still
 * asks for the extents; failed extents store (0, 0, 0, 0). Documents are read within
 * the tile loader's limits (TileLoaderQNetworkAccessManagerSettings' defaults): a
 * body of more than maximumDocumentSize bytes, as sent or as decompressed, one that
 * is not complete 30 s after its header, or one in an encoding other than gzip or
 * deflate is refused and counts as failed. Each refusal is logged at debug level in
 * the category "mivo.tiling".
 *
 * Finished replies are not deleted: they stay children of the manager's private
 * network access manager until the manager is destroyed (one per request made, its
 * body dropped once handled).
 *
 * Tiles are not loaded here: a host passes the chosen source's baseUrl to
 * TileProvider::setTileSource(). GUI thread only.
 */
class MIVO_EXPORT TileSourceManager : public QObject
{
    Q_OBJECT

public:
    /// The largest document body read, in bytes (as sent and as decompressed); a longer
    /// answer is aborted and counts as failed. The tile loader's document limit.
    static constexpr qint64 maximumDocumentSize = qint64(1) << 20;
    /// Entries of one discovery document read; later ones are ignored. Every source
    /// costs requests and replies kept until the manager goes (a server could list a
    /// quarter of a million ids in one document).
    static constexpr int maximumDiscoveredTileSources = 1000;

    explicit TileSourceManager(QObject* parent = nullptr);
    /// Pending requests are dropped without signals.
    ~TileSourceManager() override;

    /**
     * Stores @p url as the discovery URL (base URLs of sources added from now on start
     * with it) and asks for url + "/tilesources.json". Known sources are kept; every
     * listed id not yet known is added with a null name, in the order listed (of the
     * first maximumDiscoveredTileSources entries).
     */
    void discoverTileSources(const QString& url);

    /**
     * Appends a source with baseUrl discovery URL + "/" + @p id (just "/" + id before
     * any discovery), emits si_tileSourceListChanged() and asks for its descriptor.
     * Does nothing when a source with this id exists (null and empty ids are the same).
     */
    void addTileSource(const QString& id, const QString& name);

    /**
     * Removes every source with @p id and emits si_tileSourceListChanged(), unless the
     * first source with that id has a null name (kept: a discovered source whose
     * descriptor has not given it a name, or one added with a null name, cannot be
     * removed) or there is none. Emits nothing then.
     */
    void removeTileSource(const QString& id);

    /// A copy of the first source with @p id, or a default TileSource (null id).
    TileSource tileSource(const QString& id) const;
    /// All sources in order of addition.
    const QList<TileSource>& tileSources() const;

    /// The URL last given to discoverTileSources(); null before.
    const QString& discoveryUrl() const;

    /**
     * Kept inert: never connected to anything. It would only be started, with the
     * descriptor's updateInterval in milliseconds, when its interval (0, never set) in
     * milliseconds exceeded updateInterval * 1000, which never holds.
     */
    const QTimer& updateTimer() const;

Q_SIGNALS:
    /// A source was added or removed, or its descriptor or extents arrived.
    void si_tileSourceListChanged();
    /**
     * The answer to the discovery document of @p url has been handled: the sources it
     * listed that were new are added (their si_tileSourceListChanged() came first).
     * Emitted also when the answer failed, was cut off or listed nothing, so a host
     * can tell "no sources here" from "not answered yet". Not emitted for an answer to
     * a discovery URL that has been replaced since.
     */
    void si_discoveryFinished(const QString& url);

private Q_SLOTS:
    void sl_networkRequestFinished(QNetworkReply* reply);

private:
    Q_DISABLE_COPY(TileSourceManager)

    void initializeTileSource(const TileSource& source);
    void get(const QString& url);
    void handleDescriptorReply(const QString& id, QNetworkReply& reply);
    void handleExtentsReply(const QString& id, QNetworkReply& reply);
    void handleDiscoveryReply(QNetworkReply& reply);
    int indexOf(const QString& id) const;

    QString m_discoveryUrl;
    QList<TileSource> m_tileSources;
    const std::unique_ptr<QNetworkAccessManager> m_networkAccessManager;
    const std::unique_ptr<QTimer> m_timer;
};

} // namespace mivo::tiling
