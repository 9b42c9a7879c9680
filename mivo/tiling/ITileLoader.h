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
    void si_tileSystemDescriptorLoaded(const TileSystemDescriptor& descriptor);
    void si_tileSystemExtentsLoaded(const QRectF& extents);
    void si_tileLoaded(const std::shared_ptr<Tile>& tile);
    void si_tileLoadFailed(const TileId& tileId);

private:
    Q_DISABLE_COPY(ITileLoader)
};

} // namespace mivo::tiling
