// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>
#include <mivo/tiling/Tile.h>
#include <mivo/tiling/TileId.h>
#include <mivo/tiling/TileLoadFailure.h>
#include <mivo/tiling/TileLoaderQNetworkAccessManager.h>

#include <QMap>
#include <QSize>
#include <QString>
#include <QThread>

#include <memory>
#include <mutex>

class QNetworkAccessManager;
class QNetworkReply;

namespace mivo::tiling {

class PalettePngDecoder;
class TileLoadFailureReporter;

/**
 * One worker of TileLoaderQNetworkAccessManager: a thread that lives in itself, with
 * its own network access manager, and fetches and decodes tiles there.
 *
 * Its slots are meant to be invoked queued from the loader's thread. A tile already
 * pending in this worker is not requested again. Cancelling does not abort a request:
 * a cancelled tile runs to its end and is reported like any other (kept on purpose).
 * Results leave by si_tileLoaded() and si_tileLoadFailed(), emitted in this thread;
 * before si_tileLoadFailed() the reason goes out through failureReporter(). Bodies
 * are read and decoded within the limits described with
 * TileLoaderQNetworkAccessManager.
 *
 * Its meta methods are exactly these, in this order: the two signals, then the four
 * slots. Their argument types are spelled "TileId", "bool" and
 * "std::shared_ptr<Tile>", the names the loader's queued calls use (registered by
 * the loader); from another thread, invoke the slots by these names.
 */
class MIVO_EXPORT TileLoaderThread : public QThread
{
    Q_OBJECT

public:
    /// Moves the object into its own thread; call start() afterwards.
    TileLoaderThread();
    ~TileLoaderThread() override;

    /// Sets this worker's copy of the base URL; callable from any thread.
    void setBaseUrl(const QString& baseUrl);
    QString baseUrl() const;
    /// The limits for requests made from now on; callable from any thread.
    void setSettings(const TileLoaderQNetworkAccessManagerSettings& settings);
    TileLoaderQNetworkAccessManagerSettings settings() const;
    /// The size every tile of the source must have (columns x rows); an invalid size
    /// accepts any within the pixel limit. Callable from any thread.
    void setTileSize(const QSize& size);
    QSize tileSize() const;
    /// Call in the thread that receives si_tileLoaded() before the tile is used: it
    /// orders the worker's construction of the tile before that use in a way
    /// ThreadSanitizer sees (Qt hands the tile over through its event queue, whose
    /// mutex it cannot see).
    void synchronizeHandOver() const;
    /// Library-internal: lives in this worker's thread and emits, right before each
    /// si_tileLoadFailed(), why the tile failed. Owned by this object.
    TileLoadFailureReporter& failureReporter() const;

Q_SIGNALS:
    // The argument types are spelled as the loader's queued calls name them.
    void si_tileLoaded(std::shared_ptr<Tile> tile);
    void si_tileLoadFailed(TileId tileId);

public Q_SLOTS:
    void sl_loadTile(TileId tileId, bool highPriority);
    void sl_cancelLoadTile(TileId tileId);
    /// Ends the worker: its network access manager is released in this thread and the
    /// event loop quits. Pending replies are not aborted first.
    void sl_shutdown();
    /// Delivers a finished reply that carries a "tileid" property; leaves others alone.
    void sl_replyFinished(QNetworkReply*);

protected:
    void run() override;

private:
    Q_DISABLE_COPY(TileLoaderThread)

    void deliver(const TileId& tileId, const QByteArray& body);
    void fail(const TileId& tileId, const TileLoadFailure& failure);

    // Guards the base URL, the settings and the tile size, written from the loader's
    // thread while this thread reads them. Also kept for ThreadSanitizer, which cannot
    // see Qt's own hand-overs: it passes a built tile to the loader's thread
    // (synchronizeHandOver()) and this object's state to the thread that destroys it
    // (the worker takes it last when its event loop ends, the destructor first).
    mutable std::mutex m_mutex;
    QString m_baseUrl;
    TileLoaderQNetworkAccessManagerSettings m_settings;
    QSize m_tileSize;
    TileLoadFailureReporter* m_failureReporter; // child of this object
    QNetworkAccessManager* m_networkAccessManager; // child of this object until shutdown
    QMap<TileId, QNetworkReply*> m_pendingReplies; // keyed and ordered by tile key
    // Made and used in this thread only, kept from one tile to the next. A member, not a
    // thread_local: a thread-local object with a destructor would keep the library
    // loaded after dlclose until every thread that decoded has fully ended.
    std::unique_ptr<PalettePngDecoder> m_pngDecoder;
};

} // namespace mivo::tiling
