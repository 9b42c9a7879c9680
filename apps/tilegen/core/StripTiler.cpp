// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "StripTiler.h"

#include "AxisGrid.h"
#include "RowReduction.h"

#include <algorithm>
#include <cstring>

namespace mivo::tilegen {

void TilePlane::mergeRow(int r, const quint8* values, const ColumnMap& columns)
{
    quint8* target = row(r);
    for (const ColumnMap::Run& run : columns.runs()) {
        Q_ASSERT(run.firstColumn >= origin && run.firstColumn + run.count <= origin + width);
        combineRowsWith<combineMaximum>(target + (run.firstColumn - origin), values + run.firstBin, run.count,
                                        target + (run.firstColumn - origin));
    }
}

StripTiler::StripTiler(const PyramidBuilder::Settings& settings)
    : m_settings(settings)
{
    for (int xZoom = 1; xZoom <= settings.topXZoom; ++xZoom)
        m_coarser.push_back(std::make_unique<TilePlane>(makePlane(xZoom)));
}

StripTiler::~StripTiler() = default;

TilePlane StripTiler::makePlane(int xZoom) const
{
    const AxisGrid grid(1.0, m_settings.tileSize);
    const qint64 firstTile = grid.tileOf(AxisGrid::pixelAtLevel(m_settings.firstColumn, xZoom));
    const qint64 lastTile = grid.tileOf(AxisGrid::pixelAtLevel(m_settings.lastColumn, xZoom));
    TilePlane plane;
    plane.origin = firstTile * grid.tileSize();
    plane.width = int((lastTile - firstTile + 1) * grid.tileSize());
    plane.rows = m_settings.tileSize;
    plane.pixels.assign(size_t(plane.width) * size_t(plane.rows), 0);
    return plane;
}

quint64 StripTiler::emitTiles(const TilePlane& strip, int yZoom, qint64 tileRow, const PyramidBuilder::TileSink& sink)
{
    const int tileSize = m_settings.tileSize;
    const TilePlane* level = &strip;
    quint64 emitted = emitTilesOf(*level, 0, yZoom, tileRow, sink);
    for (int xZoom = 1; xZoom <= m_settings.topXZoom; ++xZoom) {
        TilePlane& next = *m_coarser[size_t(xZoom) - 1];
        // The finer plane starts at 2 * next.origin or one tile after it, and both
        // widths are whole tiles, so pixel pairs never straddle its edges.
        const qint64 shift = level->origin - 2 * next.origin;
        Q_ASSERT((shift == 0 || shift == tileSize) && "planes are tile-aligned at every level");
        const int begin = int(shift / 2);
        const int end = std::min(next.width, int((shift + level->width) / 2));
        for (int r = 0; r < tileSize; ++r) {
            quint8* out = next.row(r);
            std::fill(out, out + begin, quint8(0));
            halveRow(level->row(r), end - begin, out + begin, m_settings.reduction);
            std::fill(out + end, out + next.width, quint8(0));
        }
        emitted += emitTilesOf(next, xZoom, yZoom, tileRow, sink);
        level = &next;
    }
    return emitted;
}

quint64 StripTiler::emitTilesOf(const TilePlane& plane, int xZoom, int yZoom, qint64 tileRow,
                                const PyramidBuilder::TileSink& sink) const
{
    const int tileSize = m_settings.tileSize;
    const int tiles = plane.width / tileSize;
    quint64 emitted = 0;
    for (int t = 0; t < tiles; ++t) {
        const int left = t * tileSize;
        bool holdsData = false;
        for (int r = 0; r < tileSize && !holdsData; ++r)
            holdsData = anyNonZero(plane.row(r) + left, tileSize);
        if (!holdsData)
            continue;
        QImage image(tileSize, tileSize, QImage::Format_Indexed8);
        for (int r = 0; r < tileSize; ++r)
            std::memcpy(image.scanLine(r), plane.row(r) + left, size_t(tileSize));
        TileKey key;
        key.xZoom = xZoom;
        key.yZoom = yZoom;
        key.x = plane.origin / tileSize + t;
        key.y = tileRow;
        sink(key, image);
        ++emitted;
    }
    return emitted;
}

} // namespace mivo::tilegen
