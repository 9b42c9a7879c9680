// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// The tile system descriptor document, and what the tile geometry makes of it: every
// view of the extents (a small one, to keep runs fast) must give a bounded tile list,
// without undefined behaviour.

#include "FuzzInput.h"

#include <mivo/tiling/TileServerProtocol.h>
#include <mivo/tiling/TileSystem.h>

using namespace mivo::tiling;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    TileSystem system;
    system.setTileSystemDescriptor(parseTileSystemDescriptor(fuzz::bytes(data, size)));
    system.setExtents(QRectF(1.0e6, 1.7e9, 2.0e6, 3600.0));
    // A 320 x 200 pixel view of all the extents, and one at the finest scale.
    const QRectF all = system.extents();
    const double bx = system.x().basevalue;
    const double by = system.y().basevalue;
    const struct
    {
        QRectF range;
        double xScale;
        double yScale;
    } views[] = {{all, all.width() / 320.0, all.height() / 200.0},
                 {QRectF(all.topLeft(), QSizeF(320.0 * bx, 200.0 * by)), bx, by}};
    for (const auto& view : views) {
        const QList<TileId> tiles = system.tilesInRange(view.range, view.xScale, view.yScale);
        if (quint64(tiles.size()) > TileSystem::maximumTilesInRange)
            abort();
        for (const TileId& id : tiles)
            system.tileIdToValue(id);
    }
    return 0;
}
