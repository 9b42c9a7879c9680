// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>
#include <mivo/tiling/ITileLoader.h>
#include <mivo/tiling/TileLoadFailure.h>

#include <memory>

namespace mivo::tiling {

class TileLoaderThread;

/**
 * What a tile server or a file may make TileLoaderQNetworkAccessManager read. Each
 * refusal has the outcome of a failed request: a descriptor or extents document is
 * delivered with its defaults (an invalid descriptor, a zero rectangle), a tile is
 * reported by si_tileLoadFailed() (body too large, too slow, badly encoded, not a
 * regular file) or delivered with a null image (not a PNG, not the source's tile
 * size, not an 8-bit palette or grey image, too many pixels). The reason is logged
 * at debug level in the category "mivo.tiling".
 */
struct TileLoaderQNetworkAccessManagerSettings
{
    /// Largest descriptor or extents document read, in bytes, as sent and as
    /// decompressed: 1 MiB. Larger bodies are refused as soon as Content-Length or the
    /// bytes read so far show it.
    qint64 maximumDocumentBytes = qint64(1) << 20;
    /// Largest tile body read, in bytes, as sent and as decompressed: 8 MiB.
    qint64 maximumTileBytes = qint64(8) << 20;
    /// Largest tile decoded, in pixels: 4 Mi (a 2048 x 2048 tile, 4 MiB once decoded).
    /// Besides, once a descriptor has arrived, a tile must be exactly its tile size
    /// (its header is read before anything is decoded).
    qint64 maximumTilePixels = qint64(1) << 22;
    /// Once an answer has begun (its header has arrived), its body must be complete
    /// within this many milliseconds: 30 s. A server that never answers at all keeps
    /// its request pending until the tile is cancelled or the source changes.
    int bodyTimeoutMs = 30000;
};

/**
 * The library's tile loader: the descriptor and extents documents are fetched in the
 * loader's own (GUI) thread, tiles by a pool of low-priority worker threads
 * (TileLoaderThread), each with its own network access manager, so that PNG decoding
 * never runs in the GUI thread.
 *
 * A tile always goes to the same worker (tile key modulo the pool size), which is what
 * lets a worker drop duplicate requests. Results come back as queued signals.
 *
 * Descriptor and extents replies are not checked for errors: a failed request yields
 * the documents' defaults (an invalid descriptor, a zero rectangle), delivered like a
 * success. Failed tiles are reported by si_tileLoadFailed(); a body that is not a PNG
 * is reported as a loaded tile with a null image. Redirects are not followed (replies
 * are matched to their requests by URL): a redirected document yields its defaults and a
 * redirected tile a null image. Without a base URL nothing is requested.
 *
 * The pool starts in the constructor and stops in the destructor: every worker is
 * asked to finish, then the destructor waits for them, at most 10 s for the whole
 * pool; a worker that is still busy then is released as soon as it finishes instead
 * of blocking or crashing the process.
 *
 * Bounded: bodies are read within the limits of TileLoaderQNetworkAccessManagerSettings.
 * The loader asks for gzip and deflate itself and inflates them under the same limits
 * (Qt's own inflation has none); other content encodings are refused. file:// sources
 * are read without a network access manager: only regular files, opened so that a FIFO
 * or a device never blocks. Tiles are decoded only after their PNG header has been
 * checked: an 8-bit palette or grey image of exactly the descriptor's tile size (any
 * size within the pixel limit before a descriptor has arrived since the last
 * setBaseUrl()); ancillary PNG chunks are dropped before decoding.
 */
class MIVO_EXPORT TileLoaderQNetworkAccessManager : public ITileLoader
{
    Q_OBJECT

public:
    /// A pool of workerCountFor(QThread::idealThreadCount()) workers.
    TileLoaderQNetworkAccessManager();
    /// A pool sized for @p idealThreadCount cores.
    explicit TileLoaderQNetworkAccessManager(int idealThreadCount);
    ~TileLoaderQNetworkAccessManager() override;

    /// The pool size rule: the larger of 2 and idealThreadCount / 2.
    static int workerCountFor(int idealThreadCount);
    int workerCount() const;
    /// The worker that loads every tile whose key modulo workerCount() is @p index.
    const TileLoaderThread& worker(int index) const;

    void setBaseUrl(const QUrl& url) override;
    void loadTileSystemDescriptor() override;
    void loadTileExtents() override;
    void loadTile(const TileId& tileId, bool highPriority) override;
    void cancelTileLoad(const TileId& tileId) override;

    /// The limits in force; the defaults until setSettings().
    TileLoaderQNetworkAccessManagerSettings settings() const;
    /// Applies to requests made from now on.
    void setSettings(const TileLoaderQNetworkAccessManagerSettings& settings);

    class Private;

Q_SIGNALS:
    /// Emitted right before si_tileLoadFailed() for the same tile, with the reason.
    void si_tileLoadFailedBecause(const mivo::tiling::TileId& tileId, const mivo::tiling::TileLoadFailure& failure);

private:
    Q_DISABLE_COPY(TileLoaderQNetworkAccessManager)

    const std::unique_ptr<Private> d;
};

} // namespace mivo::tiling
