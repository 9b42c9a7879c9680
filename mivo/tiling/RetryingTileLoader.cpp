// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/tiling/RetryingTileLoader.h>

#include "../core/Logging_p.h"

#include <mivo/tiling/TileLoaderQNetworkAccessManager.h>

#include <QTimer>

#include <algorithm>
#include <cmath>

namespace mivo::tiling {

RetryingTileLoader::RetryingTileLoader(TileLoaderQNetworkAccessManager& inner, QObject* parent)
    : ITileLoader(parent)
    , m_inner(inner)
    , m_random(QRandomGenerator::securelySeeded())
{
    connect(&m_inner, &ITileLoader::si_tileSystemDescriptorLoaded, this, &ITileLoader::si_tileSystemDescriptorLoaded);
    connect(&m_inner, &ITileLoader::si_tileSystemExtentsLoaded, this, &ITileLoader::si_tileSystemExtentsLoaded);
    connect(&m_inner, &ITileLoader::si_tileLoaded, this, &RetryingTileLoader::sl_tileLoaded);
    // Every failure of the inner loader comes with its reason first; the plain
    // si_tileLoadFailed() that follows it is not needed here.
    connect(&m_inner, &TileLoaderQNetworkAccessManager::si_tileLoadFailedBecause, this,
            &RetryingTileLoader::sl_tileLoadFailedBecause);
}

RetryingTileLoader::~RetryingTileLoader() = default;

void RetryingTileLoader::setSettings(const RetryingTileLoaderSettings& settings)
{
    m_settings = settings;
}

void RetryingTileLoader::setRandomSeed(quint32 seed)
{
    m_random.seed(seed);
}

void RetryingTileLoader::setBaseUrl(const QUrl& url)
{
    endWaits();
    m_inner.setBaseUrl(url);
}

void RetryingTileLoader::loadTileSystemDescriptor()
{
    m_inner.loadTileSystemDescriptor();
}

void RetryingTileLoader::loadTileExtents()
{
    m_inner.loadTileExtents();
}

void RetryingTileLoader::loadTile(const TileId& tileId, bool highPriority)
{
    const auto it = m_attempts.find(tileId);
    if (it == m_attempts.end()) {
        auto attempt = std::make_shared<Attempt>();
        attempt->highPriority = highPriority;
        m_attempts.insert(tileId, attempt);
    } else {
        Attempt& attempt = *it.value();
        attempt.cancelled = false;
        attempt.highPriority = attempt.highPriority || highPriority;
        if (attempt.wait)
            return; // asked for when the wait ends
    }
    m_inner.loadTile(tileId, highPriority);
}

void RetryingTileLoader::cancelTileLoad(const TileId& tileId)
{
    m_inner.cancelTileLoad(tileId);
    const auto it = m_attempts.find(tileId);
    if (it == m_attempts.end())
        return;
    if (!it.value()->wait) {
        it.value()->cancelled = true; // in flight: reported by its outcome, not retried
        return;
    }
    m_attempts.erase(it);
    Q_EMIT si_tileLoadFailed(tileId);
}

void RetryingTileLoader::sl_tileLoaded(const std::shared_ptr<Tile>& tile)
{
    if (tile)
        m_attempts.remove(tile->tileId);
    Q_EMIT si_tileLoaded(tile);
}

void RetryingTileLoader::sl_tileLoadFailedBecause(const TileId& tileId, const TileLoadFailure& failure)
{
    const auto it = m_attempts.find(tileId);
    if (it == m_attempts.end() || it.value()->wait) {
        // Not asked for through this loader (or since the source changed).
        Q_EMIT si_tileLoadFailed(tileId);
        return;
    }
    Attempt& attempt = *it.value();
    if (!failure.isTransient() || attempt.cancelled || attempt.requests >= m_settings.maximumAttempts) {
        m_attempts.erase(it);
        Q_EMIT si_tileLoadFailed(tileId);
        return;
    }
    const int delayMs = nextDelayMs(attempt.requests);
    ++attempt.requests;
    attempt.wait = std::make_unique<QTimer>();
    attempt.wait->setSingleShot(true);
    connect(attempt.wait.get(), &QTimer::timeout, this, [this, tileId] { retry(tileId); });
    attempt.wait->start(delayMs);
    qCDebug(lcTiling).noquote() << "tile" << tileId.toString() << "failed:" << failure.reason << "- request"
                                << attempt.requests << "in" << delayMs << "ms";
    Q_EMIT si_retryScheduled(tileId, attempt.requests, delayMs, failure);
}

void RetryingTileLoader::retry(const TileId& tileId)
{
    const auto it = m_attempts.find(tileId);
    if (it == m_attempts.end())
        return;
    // Deleted later: this runs inside the timer's own signal.
    it.value()->wait.release()->deleteLater();
    m_inner.loadTile(tileId, it.value()->highPriority);
}

int RetryingTileLoader::nextDelayMs(int requestsSoFar)
{
    const double nominal = std::min(double(m_settings.maximumDelayMs),
                                    m_settings.initialDelayMs * std::pow(2.0, std::max(0, requestsSoFar - 1)));
    const double jitter = std::clamp(m_settings.jitter, 0.0, 1.0);
    const double factor = 1.0 - jitter + 2.0 * jitter * m_random.generateDouble();
    return std::max(0, int(std::lround(nominal * factor)));
}

void RetryingTileLoader::endWaits()
{
    QList<TileId> waiting;
    for (auto it = m_attempts.cbegin(); it != m_attempts.cend(); ++it) {
        if (it.value()->wait)
            waiting.append(it.key());
    }
    m_attempts.clear();
    for (const TileId& id : qAsConst(waiting))
        Q_EMIT si_tileLoadFailed(id);
}

} // namespace mivo::tiling
