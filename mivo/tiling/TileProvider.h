// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>
#include <mivo/tiling/ITileProvider.h>
#include <mivo/tiling/TileCache.h>
#include <mivo/tiling/TileSystem.h>
#include <mivo/tiling/TileSystemDescriptor.h>

#include <QSet>
#include <QString>
#include <QTimer>
#include <QVector>

namespace mivo::tiling {

class ITileLoader;

/**
 * Stands between the painters and a tile loader: keeps a cache of loaded tiles,
 * requests missing ones (the required at high priority; their eight neighbours and
 * their parent at normal priority), cancels requests that are no longer wanted,
 * substitutes a coarser cached tile while one is missing, applies the colour table to
 * every tile image, and follows the source's descriptor and extents (re-polled every
 * updateInterval milliseconds when the descriptor has one).
 *
 * Tiles at the coarsest level of both axes are base tiles: preloaded for the whole
 * extents and never evicted, so some picture can always be shown. Their memory is
 * bounded: at most maximumBaseTiles() of them stay resident (further ones are cached as
 * ordinary tiles), and a source whose coarsest level has more tiles than that over its
 * extents gets none preloaded.
 *
 * Memory: the cache is bounded by a count of ordinary tiles (setCacheSize(), 30000 by
 * default). One cached tile costs tileMemoryCost(): its 8-bit image, whose rows are
 * tilesize(x) bytes rounded up to a multiple of 4, times tilesize(y) rows, plus about
 * tileOverheadBytes for the image header, the tile record and the cache's bookkeeping
 * (the colour table is shared between all tiles). A host with a byte budget calls
 * setCacheSize(cacheSizeForMemoryBudget(bytes, descriptor)) when the descriptor
 * arrives; 256 x 256 tiles cost about 64.5 KiB each, so 512 MiB hold about 8100.
 *
 * A tile that fails to load stays pending and is not requested again until it stops
 * being wanted or the source changes (kept on purpose: a failing server is not
 * hammered). Tiles that arrive after their source was replaced are cached like any.
 *
 * GUI thread only. The loader is not owned and must outlive the provider.
 */
class MIVO_EXPORT TileProvider : public ITileProvider
{
    Q_OBJECT

public:
    static constexpr quint64 defaultCacheSize = 30000;
    /// Per cached tile, besides its pixels: the image header, the tile record and the
    /// cache's list and index entries (an upper bound measured on 64-bit Linux).
    static constexpr quint64 tileOverheadBytes = 512;
    /// The base tiles kept resident take at most this many bytes: 64 MiB.
    static constexpr quint64 maximumBaseTileBytes = quint64(64) << 20;

    /// The bytes one cached tile of @p descriptor costs (see the class description).
    static quint64 tileMemoryCost(const TileSystemDescriptor& descriptor);
    /// The cache size that keeps the ordinary tiles of @p descriptor within @p bytes;
    /// at least 1.
    static quint64 cacheSizeForMemoryBudget(quint64 bytes, const TileSystemDescriptor& descriptor);
    /// How many base tiles of the current source stay resident:
    /// maximumBaseTileBytes / tileMemoryCost(), at least 1.
    quint64 maximumBaseTiles() const;

    explicit TileProvider(ITileLoader& loader, QObject* parent = nullptr);
    ~TileProvider() override;

    /// The largest number of ordinary tiles cached; trims at once.
    void setCacheSize(quint64 tileCount);
    /// Drops every cached tile, base tiles included, and forgets reloads (an arrival is
    /// then cached like any tile); pending requests stay.
    void clearCache();
    /// Geometry of the active source (invalid until its descriptor arrives).
    TileSystem& tileSystem() { return m_tileSystem; }
    const TileSystem& tileSystem() const { return m_tileSystem; }
    /// The cache, for inspection.
    const TileCache& cache() const { return m_cache; }
    /// Tiles requested from the loader and not delivered yet.
    const QSet<TileId>& pendingTiles() const { return m_pending; }

    /// Switches to the tile source at @p url (a null string: no source): clears the
    /// cache, the pending set and the reloads (requests in flight are not cancelled),
    /// resets the descriptor, and asks the loader for the new descriptor.
    void setTileSource(const QString& url);

    /**
     * Loads again the tiles of @p valueRect that the server may have changed, for a
     * source whose data grows while it is shown: every cached tile whose area overlaps
     * @p valueRect (with positive area) is requested again at high priority, and every
     * pending tile there is asked for once more (it may have failed while the data did
     * not reach it yet; a request still running is not duplicated by the loader).
     *
     * The cached image stays in the cache and tile() keeps returning it until the new
     * one arrives, which then replaces it in place (as a base or ordinary tile by the
     * usual rule) and is announced with si_tileAvailable(); the view never falls back
     * to a coarser stand-in meanwhile. A reload that fails keeps the old image. Reloads
     * are not pending tiles: setRequiredTiles() neither counts nor cancels them.
     * Nothing happens without a valid tile system or for an empty rectangle.
     */
    void reloadTiles(const QRectF& valueRect);
    /// Cached tiles whose reload was asked for and has not arrived.
    const QSet<TileId>& reloadingTiles() const { return m_reloading; }

    void setColorTable(const QVector<unsigned int>& colorTable) override;
    void setRequiredTiles(const QList<TileId>& tiles) override;
    std::shared_ptr<Tile> tile(const TileId& tileId) override;

    /// The tiles prefetched with @p tiles: per tile its eight neighbours (dx outer,
    /// dy inner, unsigned indices wrapping) and its parent, duplicates kept.
    static QList<TileId> additionalTiles(const QList<TileId>& tiles);

Q_SIGNALS:
    void si_tileSourceChanged(const QString& tileSource);

private Q_SLOTS:
    void sl_tileSystemDescriptorLoaded(const mivo::tiling::TileSystemDescriptor& descriptor);
    void sl_tileSystemExtentsLoaded(const QRectF& extents);
    void sl_tileLoaded(const std::shared_ptr<mivo::tiling::Tile>& tile);
    void sl_updateTileSystem();

private:
    Q_DISABLE_COPY(TileProvider)

    std::shared_ptr<Tile> lowResolutionTile(const TileId& tileId);
    void preloadBaseTiles(const QRectF& extents);
    void invalidateTilesInChangedExtents(const QRectF& oldExtents, const QRectF& newExtents);
    void request(const TileId& tileId, bool highPriority);

    ITileLoader& m_loader;
    QSet<TileId> m_pending;
    TileSystem m_tileSystem;
    QVector<unsigned int> m_colorTable;
    TileCache m_cache;
    QTimer m_updateTimer;
    QSet<TileId> m_reloading; // cached tiles asked for again; the arrival replaces them
};

} // namespace mivo::tiling
