// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/tiling/TileProvider.h>

#include "../core/Logging_p.h"

#include "TileGeometry_p.h"

#include <mivo/tiling/ITileLoader.h>

#include <QUrl>

#include <algorithm>
#include <climits>
#include <set>

namespace mivo::tiling {

namespace {

// The parts of @p oldExtents that @p newExtents no longer covers: bands above, below,
// left and right. Empty unless both have positive size and intersect.
QList<QRectF> uncoveredBands(const QRectF& oldExtents, const QRectF& newExtents)
{
    QList<QRectF> bands;
    if (!(oldExtents.width() > 0.0 && oldExtents.height() > 0.0 && newExtents.width() > 0.0
          && newExtents.height() > 0.0)
        || !oldExtents.intersects(newExtents)) {
        return bands;
    }
    const double oldBottom = oldExtents.top() + oldExtents.height();
    const double newBottom = newExtents.top() + newExtents.height();
    const double aboveHeight = newExtents.top() - oldExtents.top();
    if (aboveHeight > 0.0)
        bands.append(QRectF(oldExtents.left(), oldExtents.top(), oldExtents.width(), aboveHeight));
    const double belowHeight = oldExtents.height() - (newBottom - oldExtents.top());
    if (belowHeight > 0.0 && oldBottom > newBottom)
        bands.append(QRectF(oldExtents.left(), newBottom, oldExtents.width(), belowHeight));
    const double sideTop = std::max(oldExtents.top(), newExtents.top());
    const double sideHeight = std::min(newBottom, oldBottom) - sideTop;
    const double leftWidth = newExtents.left() - oldExtents.left();
    if (leftWidth > 0.0 && sideHeight > 0.0)
        bands.append(QRectF(oldExtents.left(), sideTop, leftWidth, sideHeight));
    const double newRight = newExtents.left() + newExtents.width();
    const double rightWidth = oldExtents.width() - (newRight - oldExtents.left());
    if (rightWidth > 0.0)
        bands.append(QRectF(newRight, sideTop, rightWidth, sideHeight));
    return bands;
}

// Above this many candidates the coarser-tile search visits only the levels that
// hold cached tiles: a descriptor with absurd level ranges must not stall painting.
constexpr quint64 exhaustiveSearchLimit = 4096;

} // namespace

TileProvider::TileProvider(ITileLoader& loader, QObject* parent)
    : ITileProvider(parent)
    , m_loader(loader)
    , m_cache(defaultCacheSize)
{
    // ITileProvider registered the meta types.
    connect(&m_loader, &ITileLoader::si_tileSystemDescriptorLoaded, this, &TileProvider::sl_tileSystemDescriptorLoaded);
    connect(&m_loader, &ITileLoader::si_tileSystemExtentsLoaded, this, &TileProvider::sl_tileSystemExtentsLoaded);
    connect(&m_loader, &ITileLoader::si_tileLoaded, this, &TileProvider::sl_tileLoaded);
    // Failed tiles are deliberately not observed: they stay pending.
    connect(&m_updateTimer, &QTimer::timeout, this, &TileProvider::sl_updateTileSystem);
}

TileProvider::~TileProvider() = default;

quint64 TileProvider::tileMemoryCost(const TileSystemDescriptor& descriptor)
{
    // An 8-bit image's rows are padded to 32 bits.
    const quint64 bytesPerLine = (quint64(descriptor.xaxis.tilesize) + 3) & ~quint64(3);
    return bytesPerLine * descriptor.yaxis.tilesize + tileOverheadBytes;
}

quint64 TileProvider::cacheSizeForMemoryBudget(quint64 bytes, const TileSystemDescriptor& descriptor)
{
    return std::max<quint64>(1, bytes / tileMemoryCost(descriptor));
}

quint64 TileProvider::maximumBaseTiles() const
{
    return std::max<quint64>(1, maximumBaseTileBytes / tileMemoryCost(m_tileSystem.tileSystemDescriptor()));
}

void TileProvider::setCacheSize(quint64 tileCount)
{
    m_cache.setMaximumSize(tileCount);
}

void TileProvider::clearCache()
{
    m_cache.clear();
    m_reloading.clear();
}

void TileProvider::setTileSource(const QString& url)
{
    m_cache.clear();
    m_pending.clear();
    m_reloading.clear();
    m_loader.setBaseUrl(QUrl(url, QUrl::TolerantMode));
    m_tileSystem.setTileSystemDescriptor(TileSystemDescriptor());
    if (!url.isNull())
        m_loader.loadTileSystemDescriptor();
    Q_EMIT si_tileSourceChanged(url);
}

void TileProvider::setColorTable(const QVector<unsigned int>& colorTable)
{
    m_colorTable = colorTable;
    // Looked up with touch, so the recency order follows the key order afterwards.
    const QList<TileId> ids = m_cache.keys();
    for (const TileId& id : ids) {
        if (const std::shared_ptr<Tile> cached = m_cache.lookup(id, true))
            cached->image.setColorTable(m_colorTable);
    }
}

void TileProvider::reloadTiles(const QRectF& valueRect)
{
    if (!m_tileSystem.isValid() || !(valueRect.width() > 0.0 && valueRect.height() > 0.0))
        return;
    const auto overlaps = [&](const TileId& id) {
        const QRectF area = m_tileSystem.tileIdToValue(id);
        return area.intersects(valueRect);
    };
    // Reloads whose tile left the cache meanwhile would insert a tile nobody asked
    // for: forget them, which also bounds the set by the cache.
    for (auto it = m_reloading.begin(); it != m_reloading.end();) {
        if (m_cache.contains(*it))
            ++it;
        else
            it = m_reloading.erase(it);
    }
    const QList<TileId> cached = m_cache.keys();
    for (const TileId& id : cached) {
        if (overlaps(id)) {
            m_reloading.insert(id);
            m_loader.loadTile(id, true);
        }
    }
    for (const TileId& id : qAsConst(m_pending)) {
        if (overlaps(id))
            m_loader.loadTile(id, true);
    }
}

QList<TileId> TileProvider::additionalTiles(const QList<TileId>& tiles)
{
    QList<TileId> additional;
    additional.reserve(tiles.size() * 9);
    for (const TileId& t : tiles) {
        for (const qint64 dx : {-1, 0, 1}) {
            for (const qint64 dy : {-1, 0, 1}) {
                if (dx == 0 && dy == 0)
                    continue;
                // Unsigned arithmetic: left of column 0 is column 2^64 - 1.
                additional.append(
                    TileId(t.x + static_cast<quint64>(dx), t.y + static_cast<quint64>(dy), t.xZoomLevel, t.yZoomLevel));
            }
        }
        additional.append(
            TileId(t.x >> 1, t.y >> 1, static_cast<quint16>(t.xZoomLevel + 1), static_cast<quint16>(t.yZoomLevel + 1)));
    }
    return additional;
}

void TileProvider::request(const TileId& tileId, bool highPriority)
{
    if (m_cache.contains(tileId))
        return;
    m_pending.insert(tileId);
    m_loader.loadTile(tileId, highPriority);
}

void TileProvider::setRequiredTiles(const QList<TileId>& tiles)
{
    if (!m_tileSystem.isValid())
        return;
    const QSet<TileId> required(tiles.cbegin(), tiles.cend());
    const QList<TileId> additionalList = additionalTiles(tiles);
    QSet<TileId> additional(additionalList.cbegin(), additionalList.cend());
    additional.subtract(required);

    for (auto it = m_pending.begin(); it != m_pending.end();) {
        if (!required.contains(*it) && !additional.contains(*it)) {
            m_loader.cancelTileLoad(*it);
            it = m_pending.erase(it);
        } else {
            ++it;
        }
    }
    // Set iteration order, as the loader only uses it as a request order.
    const QSet<TileId> pendingBefore = m_pending;
    for (const TileId& id : required) {
        if (!pendingBefore.contains(id))
            request(id, true);
    }
    for (const TileId& id : additional) {
        if (!pendingBefore.contains(id))
            request(id, false);
    }
}

std::shared_ptr<Tile> TileProvider::tile(const TileId& tileId)
{
    if (!m_tileSystem.isValid())
        return {};
    if (std::shared_ptr<Tile> cached = m_cache.lookup(tileId, true))
        return cached;
    return lowResolutionTile(tileId);
}

std::shared_ptr<Tile> TileProvider::lowResolutionTile(const TileId& tileId)
{
    const quint16 maxX = m_tileSystem.x().maxzoomlevel;
    const quint16 maxY = m_tileSystem.y().maxzoomlevel;
    if (tileId.xZoomLevel > maxX || tileId.yZoomLevel > maxY)
        return {};

    const auto candidateAt = [&tileId](quint16 xz, quint16 yz) {
        return TileId(geometry::shiftedIndex(tileId.x, xz - tileId.xZoomLevel),
                      geometry::shiftedIndex(tileId.y, yz - tileId.yZoomLevel), xz, yz);
    };

    // Coarser time resolution first: y is the inner loop.
    const quint64 candidates = quint64(maxX - tileId.xZoomLevel + 1) * quint64(maxY - tileId.yZoomLevel + 1);
    if (candidates <= exhaustiveSearchLimit) {
        for (unsigned int xz = tileId.xZoomLevel; xz <= maxX; ++xz) {
            for (unsigned int yz = tileId.yZoomLevel; yz <= maxY; ++yz) {
                if (std::shared_ptr<Tile> found = m_cache.lookup(candidateAt(xz, yz), false))
                    return found;
            }
        }
        return {};
    }

    // Same order, restricted to the levels present in the cache.
    std::set<quint16> xLevels;
    std::set<quint16> yLevels;
    for (const TileId& cached : m_cache.keys()) {
        xLevels.insert(cached.xZoomLevel);
        yLevels.insert(cached.yZoomLevel);
    }
    for (auto xz = xLevels.lower_bound(tileId.xZoomLevel); xz != xLevels.end() && *xz <= maxX; ++xz) {
        for (auto yz = yLevels.lower_bound(tileId.yZoomLevel); yz != yLevels.end() && *yz <= maxY; ++yz) {
            if (std::shared_ptr<Tile> found = m_cache.lookup(candidateAt(*xz, *yz), false))
                return found;
        }
    }
    return {};
}

void TileProvider::preloadBaseTiles(const QRectF& extents)
{
    // The pending set is neither consulted nor updated for base tiles.
    const QList<TileId> baseTiles
        = m_tileSystem.tilesInRange(extents, m_tileSystem.x().maxzoomlevel, m_tileSystem.y().maxzoomlevel);
    // More than can stay resident: the coarsest level is no overview; preload nothing.
    if (quint64(baseTiles.size()) > maximumBaseTiles()) {
        qCDebug(lcTiling) << "coarsest level has" << baseTiles.size() << "tiles, more than the" << maximumBaseTiles()
                          << "that stay resident: none preloaded";
        return;
    }
    for (const TileId& id : baseTiles) {
        if (!m_cache.contains(id))
            m_loader.loadTile(id, true);
    }
}

void TileProvider::invalidateTilesInChangedExtents(const QRectF& oldExtents, const QRectF& newExtents)
{
    const QList<QRectF> bands = uncoveredBands(oldExtents, newExtents);
    if (bands.isEmpty())
        return;
    const QList<TileId> ids = m_cache.keys();
    for (const TileId& id : ids) {
        const QRectF area = m_tileSystem.tileIdToValue(id);
        for (const QRectF& band : bands) {
            if (area.intersects(band)) {
                m_cache.remove(id);
                m_reloading.remove(id);
                break;
            }
        }
    }
}

void TileProvider::sl_tileSystemDescriptorLoaded(const TileSystemDescriptor& descriptor)
{
    m_tileSystem.setTileSystemDescriptor(descriptor);
    m_loader.loadTileExtents();
    if (descriptor.updateInterval != 0)
        m_updateTimer.start(static_cast<int>(std::min<quint32>(descriptor.updateInterval, INT_MAX)));
    else
        m_updateTimer.stop();
}

void TileProvider::sl_tileSystemExtentsLoaded(const QRectF& extents)
{
    invalidateTilesInChangedExtents(m_tileSystem.extents(), extents);
    m_tileSystem.setExtents(extents);
    preloadBaseTiles(extents);
}

void TileProvider::sl_tileLoaded(const std::shared_ptr<Tile>& tile)
{
    if (!tile)
        return; // another loader's bug must not crash the view
    const TileId id = tile->tileId;
    m_pending.remove(id);
    // A reloaded tile replaces the image shown so far; otherwise a cached id keeps
    // its first image, as insertion into the cache does.
    if (m_reloading.remove(id))
        m_cache.remove(id);
    // Base tiles beyond their memory bound are cached as ordinary, evictable tiles.
    if (id.xZoomLevel == m_tileSystem.x().maxzoomlevel && id.yZoomLevel == m_tileSystem.y().maxzoomlevel
        && m_cache.baseSize() < maximumBaseTiles())
        m_cache.insertBase(id, tile);
    else
        m_cache.insert(id, tile);
    tile->image.setColorTable(m_colorTable);
    Q_EMIT si_tileAvailable(id);
}

void TileProvider::sl_updateTileSystem()
{
    m_loader.loadTileExtents();
}

} // namespace mivo::tiling
