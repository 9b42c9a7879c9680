// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>
#include <mivo/tiling/Tile.h>
#include <mivo/tiling/TileId.h>
#include <mivo/tiling/TileSystemDescriptor.h>

#include <QObject>
#include <QRectF>
#include <QUrl>

#include <memory>

namespace mivo::tiling {

/**
 * Fetches the documents and tiles of the active tile source and reports them by
 * signals, in the thread the loader lives in. Implementations decide where the work
 * happens; TileLoaderQNetworkAccessManager is the library's.
 *
 * Meta types: constructing any of the library's tiling objects registers the tiling
 * records under their qualified names ("mivo::tiling::TileId",
 * "mivo::tiling::TileSystemDescriptor", "std::shared_ptr<mivo::tiling::Tile>",
 * "mivo::tiling::TileLoadFailure", "mivo::tiling::TileColorTableDescriptor",
 * "mivo::tiling::TileSource"); those are the names a host uses in queued connections
 * and queued calls by name. The short names "TileId", "TileSystemDescriptor",
 * "std::shared_ptr<Tile>" and "TileColorTableDescriptor" are registered as well, the
 * first three for TileLoaderThread's meta methods that spell them so.
 */
class MIVO_EXPORT ITileLoader : public QObject
{
    Q_OBJECT

public:
    explicit ITileLoader(QObject* parent = nullptr);
    ~ITileLoader() override;

    /// The base URL of the source: documents and tiles are requested under it.
    virtual void setBaseUrl(const QUrl& url) = 0;
    /// Answered by si_tileSystemDescriptorLoaded().
    virtual void loadTileSystemDescriptor() = 0;
    /// Answered by si_tileSystemExtentsLoaded().
    virtual void loadTileExtents() = 0;
    /// Answered by si_tileLoaded() or si_tileLoadFailed(); a tile already being loaded
    /// is not requested twice.
    virtual void loadTile(const TileId& tileId, bool highPriority) = 0;
    /// Says that a tile is no longer needed.
    virtual void cancelTileLoad(const TileId& tileId) = 0;

Q_SIGNALS:
    // Argument types are spelled fully qualified, the names under which the library
    // registers them, so a host may connect these signals queued across threads (by
    // member pointer, or by these names with SIGNAL()).
    void si_tileSystemDescriptorLoaded(const mivo::tiling::TileSystemDescriptor& descriptor);
    void si_tileSystemExtentsLoaded(const QRectF& extents);
    void si_tileLoaded(const std::shared_ptr<mivo::tiling::Tile>& tile);
    void si_tileLoadFailed(const mivo::tiling::TileId& tileId);

private:
    Q_DISABLE_COPY(ITileLoader)
};

} // namespace mivo::tiling
