// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// The tile geometry the benchmarks measure against: 10 Hz by 0.1 s pixels at level 0,
// levels 0 to 20 on both axes, data over 0 .. 1 GHz and 1e7 s from 1.7e9 s. Views at
// 15 Hz and 0.15 s per screen pixel (1.5 times the finest level's scale) read level 0.

#include <mivo/tiling/TileSystem.h>

namespace benchmarkgeometry {

constexpr double xScale = 15.0;
constexpr double yScale = 0.15;

inline void configure(mivo::tiling::TileSystem& system)
{
    mivo::tiling::TileSystemDescriptor descriptor;
    descriptor.name = QStringLiteral("bench");
    descriptor.xaxis.basevalue = 10.0;
    descriptor.xaxis.maxzoomlevel = 20;
    descriptor.yaxis.basevalue = 0.1;
    descriptor.yaxis.maxzoomlevel = 20;
    system.setTileSystemDescriptor(descriptor);
    system.setExtents(QRectF(0.0, 1.7e9, 1.0e9, 1.0e7));
}

} // namespace benchmarkgeometry
