// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/tiling/TileId.h>

#include <QImage>
#include <QMetaType>

#include <memory>

namespace mivo::tiling {

/**
 * One loaded tile: an 8-bit indexed image of tilesize(x) x tilesize(y) pixels whose
 * pixel values are level indices (row 0 is the earliest time of the tile). Shared as
 * std::shared_ptr<Tile> between the loader, the cache and the painters; only the
 * image's colour table changes after creation, in the GUI thread.
 */
struct Tile
{
    Tile(const TileId& tileId, const QImage& image)
        : tileId(tileId)
        , image(image)
    {
    }

    TileId tileId;
    QImage image;
};

} // namespace mivo::tiling

Q_DECLARE_METATYPE(std::shared_ptr<mivo::tiling::Tile>)
