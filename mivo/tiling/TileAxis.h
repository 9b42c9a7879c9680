// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QtGlobal>

namespace mivo::tiling {

/**
 * One axis of a tile pyramid (x: frequency, y: time).
 *
 * At zoom level z (0 is the finest) one tile pixel covers basevalue * 2^z value
 * units and a tile covers tilesize of those pixels. Tiles lie edge to edge from value
 * 0 upward.
 */
struct TileAxis
{
    double basevalue = 1.0; ///< value units per tile pixel at zoom level 0
    quint16 tilesize = 256; ///< pixels per tile along this axis
    quint16 minzoomlevel = 0; ///< finest level the server offers
    quint16 maxzoomlevel = 65535; ///< coarsest level the server offers
};

inline bool operator==(const TileAxis& a, const TileAxis& b)
{
    return a.basevalue == b.basevalue && a.tilesize == b.tilesize && a.minzoomlevel == b.minzoomlevel
        && a.maxzoomlevel == b.maxzoomlevel;
}

inline bool operator!=(const TileAxis& a, const TileAxis& b)
{
    return !(a == b);
}

} // namespace mivo::tiling
