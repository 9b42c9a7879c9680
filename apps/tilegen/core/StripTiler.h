// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "ColumnMap.h"
#include "PyramidBuilder.h"
#include "TileKey.h"

#include <QImage>

#include <algorithm>
#include <memory>
#include <vector>

namespace mivo::tilegen {

// Rows of pixels over absolute columns origin .. origin + width - 1 of one x level.
struct TilePlane
{
    qint64 origin = 0;
    int width = 0;
    int rows = 0;
    std::vector<quint8> pixels;

    quint8* row(int r) { return pixels.data() + size_t(r) * size_t(width); }
    const quint8* row(int r) const { return pixels.data() + size_t(r) * size_t(width); }

    // Merges a row of bin values into row `r` by maximum (several bins or frames may
    // share a pixel): values[run.firstBin + i] goes to column run.firstColumn + i.
    void mergeRow(int r, const quint8* values, const ColumnMap& columns);
};

// The unfinished tile row of one y level: tileSize rows of level-0 columns.
struct TileRowStrip
{
    TileRowStrip(int yZoom, TilePlane plane)
        : yZoom(yZoom)
        , plane(std::move(plane))
    {
    }

    // Zeroes the pixels; no tile row is active afterwards.
    void clear()
    {
        std::fill(plane.pixels.begin(), plane.pixels.end(), quint8(0));
        active = false;
    }

    // Makes `row` (a tile row) the active one, if none is.
    void start(qint64 row)
    {
        if (!active) {
            active = true;
            tileRow = row;
        }
    }

    // Makes the tile row that holds pixel row `row` the active one. Rows arrive in time
    // order, so an active tile row other than that one is finished: `finish` gets it
    // and must leave the strip cleared.
    template <typename Finish> void moveTo(qint64 row, int tileSize, Finish&& finish)
    {
        Q_ASSERT(row >= 0 && "rows before the grid's origin cannot be stored");
        const qint64 rowOfTiles = row / tileSize;
        if (active && tileRow != rowOfTiles) {
            Q_ASSERT(rowOfTiles > tileRow && "rows must arrive in time order");
            finish();
            Q_ASSERT(!active && "a finished tile row is cleared");
        }
        start(rowOfTiles);
    }

    const int yZoom;
    TilePlane plane;
    bool active = false;
    qint64 tileRow = 0;
};

// Cuts one tile row of level-0 columns (a strip of tileSize rows) into the tiles of
// every x level: x level 0 as it is, each coarser one by halving the one below. The
// planes of the coarser levels are made once and reused for every strip.
class StripTiler
{
public:
    // Level-0 columns firstColumn..lastColumn (absolute), x levels 0..topXZoom.
    explicit StripTiler(const PyramidBuilder::Settings& settings);
    ~StripTiler();
    StripTiler(const StripTiler&) = delete;
    StripTiler& operator=(const StripTiler&) = delete;

    // A zeroed plane of x level `xZoom` covering the columns, tile-aligned.
    TilePlane makePlane(int xZoom) const;

    // Hands every tile of `strip` (a plane of x level 0, tile row `tileRow` of y
    // level `yZoom`) that holds at least one non-zero pixel to `sink`, x level by x
    // level, each level from low to high columns. Returns the number of tiles.
    quint64 emitTiles(const TilePlane& strip, int yZoom, qint64 tileRow, const PyramidBuilder::TileSink& sink);

private:
    quint64 emitTilesOf(const TilePlane& plane, int xZoom, int yZoom, qint64 tileRow,
                        const PyramidBuilder::TileSink& sink) const;

    PyramidBuilder::Settings m_settings;
    std::vector<std::unique_ptr<TilePlane>> m_coarser; // x levels 1..
};

} // namespace mivo::tilegen
