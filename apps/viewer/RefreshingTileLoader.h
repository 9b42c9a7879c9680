#pragma once

#include <mivo/tiling/ITileLoader.h>

namespace mivo::viewer {

/**
 * A tile loader that hands everything to another one, and gives every descriptor it
 * delivers the host's extents refresh interval: the descriptor document has no key for
 * it, so a host of a live source supplies it this way and the provider re-polls the
 * extents. The inner loader is not owned and must outlive this one.
 */
class RefreshingTileLoader : public tiling::ITileLoader
{
    Q_OBJECT

public:
    RefreshingTileLoader(tiling::ITileLoader& inner, quint32 refreshIntervalMs, QObject* parent = nullptr);

    void setBaseUrl(const QUrl& url) override;
    void loadTileSystemDescriptor() override;
    void loadTileExtents() override;
    void loadTile(const tiling::TileId& tileId, bool highPriority) override;
    void cancelTileLoad(const tiling::TileId& tileId) override;

private:
    tiling::ITileLoader& m_inner;
    quint32 m_refreshIntervalMs;
};

} // namespace mivo::viewer
