#include "TilingMetaTypes_p.h"

#include <mivo/tiling/Tile.h>
#include <mivo/tiling/TileColorTableDescriptor.h>
#include <mivo/tiling/TileId.h>
#include <mivo/tiling/TileLoadFailure.h>
#include <mivo/tiling/TileSystemDescriptor.h>

#include <QNetworkReply>

#include <mutex>

namespace mivo::tiling {

void registerTilingMetaTypes()
{
    static std::once_flag once;
    std::call_once(once, [] {
        qRegisterMetaType<TileId>("mivo::tiling::TileId");
        // Queued invocations and signal signatures name the types as declared inside
        // the namespace.
        qRegisterMetaType<TileId>("TileId");
        qRegisterMetaType<TileSystemDescriptor>("TileSystemDescriptor");
        qRegisterMetaType<std::shared_ptr<Tile>>("std::shared_ptr<Tile>");
        qRegisterMetaType<QNetworkReply*>();
        qRegisterMetaType<TileLoadFailure>("mivo::tiling::TileLoadFailure");
        qRegisterMetaType<TileLoadFailure>("TileLoadFailure");
        qRegisterMetaType<TileColorTableDescriptor>("mivo::tiling::TileColorTableDescriptor");
        qRegisterMetaType<TileColorTableDescriptor>("TileColorTableDescriptor");
    });
}

} // namespace mivo::tiling
