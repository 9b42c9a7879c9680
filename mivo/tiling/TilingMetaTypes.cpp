// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "TilingMetaTypes_p.h"

#include <mivo/tiling/Tile.h>
#include <mivo/tiling/TileColorTableDescriptor.h>
#include <mivo/tiling/TileId.h>
#include <mivo/tiling/TileLoadFailure.h>
#include <mivo/tiling/TileSource.h>
#include <mivo/tiling/TileSystemDescriptor.h>

#include <QNetworkReply>

#include <mutex>

namespace mivo::tiling {

void registerTilingMetaTypes()
{
    static std::once_flag once;
    std::call_once(once, [] {
        // Under the qualified names every signal and slot of the library spells.
        qRegisterMetaType<TileId>();
        qRegisterMetaType<TileSystemDescriptor>();
        qRegisterMetaType<std::shared_ptr<Tile>>();
        qRegisterMetaType<TileLoadFailure>();
        qRegisterMetaType<TileColorTableDescriptor>();
        qRegisterMetaType<TileSource>();
        qRegisterMetaType<QNetworkReply*>();
        // The loader's workers keep the short spellings their meta methods are known
        // by ("TileId", "std::shared_ptr<Tile>"; "bool" is built in), and the loader's
        // queued calls into them by name use these names, so they must resolve too.
        // "TileSystemDescriptor" is registered alongside for hosts that queue the
        // descriptor by that name, and "TileColorTableDescriptor" for those that queue
        // the colour table editor's signal by the short name it had (kept).
        qRegisterMetaType<TileId>("TileId");
        qRegisterMetaType<TileSystemDescriptor>("TileSystemDescriptor");
        qRegisterMetaType<std::shared_ptr<Tile>>("std::shared_ptr<Tile>");
        qRegisterMetaType<TileColorTableDescriptor>("TileColorTableDescriptor");
    });
}

} // namespace mivo::tiling
