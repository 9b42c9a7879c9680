#include "RefreshingTileLoader.h"

namespace mivo::viewer {

RefreshingTileLoader::RefreshingTileLoader(tiling::ITileLoader& inner, quint32 refreshIntervalMs, QObject* parent)
    : ITileLoader(parent)
    , m_inner(inner)
    , m_refreshIntervalMs(refreshIntervalMs)
{
    connect(&m_inner, &ITileLoader::si_tileSystemDescriptorLoaded, this,
            [this](const tiling::TileSystemDescriptor& descriptor) {
                tiling::TileSystemDescriptor refreshing = descriptor;
                refreshing.updateInterval = m_refreshIntervalMs;
                Q_EMIT si_tileSystemDescriptorLoaded(refreshing);
            });
    connect(&m_inner, &ITileLoader::si_tileSystemExtentsLoaded, this, &ITileLoader::si_tileSystemExtentsLoaded);
    connect(&m_inner, &ITileLoader::si_tileLoaded, this, &ITileLoader::si_tileLoaded);
    connect(&m_inner, &ITileLoader::si_tileLoadFailed, this, &ITileLoader::si_tileLoadFailed);
}

void RefreshingTileLoader::setBaseUrl(const QUrl& url)
{
    m_inner.setBaseUrl(url);
}

void RefreshingTileLoader::loadTileSystemDescriptor()
{
    m_inner.loadTileSystemDescriptor();
}

void RefreshingTileLoader::loadTileExtents()
{
    m_inner.loadTileExtents();
}

void RefreshingTileLoader::loadTile(const tiling::TileId& tileId, bool highPriority)
{
    m_inner.loadTile(tileId, highPriority);
}

void RefreshingTileLoader::cancelTileLoad(const tiling::TileId& tileId)
{
    m_inner.cancelTileLoad(tileId);
}

} // namespace mivo::viewer
