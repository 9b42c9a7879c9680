// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// The extents document, and the tiles a (small) view of those extents needs on a
// pyramid of ordinary geometry.

#include "FuzzInput.h"

#include <mivo/tiling/TileServerProtocol.h>
#include <mivo/tiling/TileSystem.h>

using namespace mivo::tiling;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    TileSystem system;
    TileSystemDescriptor descriptor;
    descriptor.name = QStringLiteral("fuzz");
    descriptor.xaxis.basevalue = 244.140625;
    descriptor.xaxis.maxzoomlevel = 12;
    descriptor.yaxis.basevalue = 0.002048;
    descriptor.yaxis.maxzoomlevel = 14;
    system.setTileSystemDescriptor(descriptor);
    system.setExtents(parseTileExtents(fuzz::bytes(data, size)));
    const QRectF view = system.extents();
    const QList<TileId> tiles = system.tilesInRange(view, view.width() / 160.0, view.height() / 100.0);
    if (quint64(tiles.size()) > TileSystem::maximumTilesInRange)
        abort();
    return 0;
}
