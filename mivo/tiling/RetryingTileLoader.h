// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>
#include <mivo/tiling/ITileLoader.h>
#include <mivo/tiling/TileLoadFailure.h>

#include <QHash>
#include <QRandomGenerator>

#include <memory>

class QTimer;

namespace mivo::tiling {

class TileLoaderQNetworkAccessManager;

/// How RetryingTileLoader tries a tile again.
struct RetryingTileLoaderSettings
{
    /// Requests per tile in all, the first included: 4.
    int maximumAttempts = 4;
    /// Wait before the second request, in milliseconds: 250. Each further wait doubles,
    /// up to maximumDelayMs.
    int initialDelayMs = 250;
    /// Longest wait between two requests, in milliseconds: 8000.
    int maximumDelayMs = 8000;
    /// Each wait is drawn evenly from [1 - jitter, 1 + jitter] times its nominal length,
    /// so that tiles failing together are not asked for again together: 0.5.
    double jitter = 0.5;
};

/**
 * A tile loader that hands everything to the library's loader and asks again for a
 * tile whose failure may pass: timeouts, connections closed or reset before the
 * answer was complete, and HTTP statuses 408, 429 and 5xx (TileLoadFailure::isTransient()).
 * Other failures, and a transient one after maximumAttempts requests, are reported by
 * si_tileLoadFailed() at once. Documents are not retried (their failures are delivered
 * as the documents' defaults, see TileLoaderQNetworkAccessManager).
 *
 * While a tile waits for its next request it counts as pending: loadTile() for it
 * changes nothing but may raise its priority. cancelTileLoad() of a waiting tile ends
 * the wait and reports it failed (its last outcome); a cancelled tile in flight is not
 * tried again. setBaseUrl() ends every wait the same way.
 *
 * The inner loader is not owned and must outlive this one. Lives in the inner loader's
 * thread.
 */
class MIVO_EXPORT RetryingTileLoader : public ITileLoader
{
    Q_OBJECT

public:
    explicit RetryingTileLoader(TileLoaderQNetworkAccessManager& inner, QObject* parent = nullptr);
    ~RetryingTileLoader() override;

    RetryingTileLoaderSettings settings() const { return m_settings; }
    /// Applies to waits that begin from now on.
    void setSettings(const RetryingTileLoaderSettings& settings);
    /// Seeds the jitter, so that a run can be repeated exactly.
    void setRandomSeed(quint32 seed);

    void setBaseUrl(const QUrl& url) override;
    void loadTileSystemDescriptor() override;
    void loadTileExtents() override;
    void loadTile(const TileId& tileId, bool highPriority) override;
    void cancelTileLoad(const TileId& tileId) override;

Q_SIGNALS:
    /// A tile failed with @p failure and is asked for again after @p delayMs
    /// milliseconds, as its request number @p attempt (2 for the first retry).
    void si_retryScheduled(const mivo::tiling::TileId& tileId, int attempt, int delayMs,
                           const mivo::tiling::TileLoadFailure& failure);

private:
    Q_DISABLE_COPY(RetryingTileLoader)

    struct Attempt
    {
        int requests = 1;
        bool highPriority = false;
        bool cancelled = false;
        std::unique_ptr<QTimer> wait; // set while waiting for the next request
    };

    void sl_tileLoaded(const std::shared_ptr<Tile>& tile);
    void sl_tileLoadFailedBecause(const TileId& tileId, const TileLoadFailure& failure);
    void retry(const TileId& tileId);
    int nextDelayMs(int requestsSoFar);
    void endWaits();

    TileLoaderQNetworkAccessManager& m_inner;
    RetryingTileLoaderSettings m_settings;
    QRandomGenerator m_random;
    QHash<TileId, std::shared_ptr<Attempt>> m_attempts;
};

} // namespace mivo::tiling
