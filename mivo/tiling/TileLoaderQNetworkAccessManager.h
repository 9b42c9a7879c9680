#pragma once

#include <mivo/mivo_export.h>
#include <mivo/tiling/ITileLoader.h>

#include <memory>

namespace mivo::tiling {

class TileLoaderThread;

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
 * The pool starts in the constructor and stops in the destructor: each worker is
 * asked to finish and waited for at most 10 s; a worker that is still busy then is
 * released as soon as it finishes instead of blocking or crashing the process.
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

    class Private;

private:
    Q_DISABLE_COPY(TileLoaderQNetworkAccessManager)

    const std::unique_ptr<Private> d;
};

} // namespace mivo::tiling
