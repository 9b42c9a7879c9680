// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "ColumnMap.h"
#include "TileKey.h"

#include <QImage>

#include <functional>
#include <memory>
#include <vector>

namespace mivo::tilegen {

enum class Reduction
{
    Maximum, // peak hold: a coarser pixel is the largest of the pixels it covers
    Mean // rounded mean of the covered pixels that hold data (index > 0)
};

// Builds every tile of every (x, y) zoom level combination from level-0 rows that
// arrive in time order, holding only one strip of tiles (tileSize rows, all columns)
// per y level and one for the coarser x levels of the strip being emitted: memory is
// about (yLevels + 2) * tileSize * columns bytes, whatever the length of the recording.
//
// Level-0 columns are absolute pixel indices firstColumn..lastColumn on the x grid,
// rows absolute pixel indices on the y grid; both grids are anchored at 0. A coarser
// level halves one axis: (xZoom + 1) comes from xZoom, (yZoom + 1, xZoom 0) from
// (yZoom, xZoom 0). Only tiles with at least one non-zero pixel are emitted; every
// tile is emitted once, on the thread that calls addRow() or finish().
class StripTiler;

class PyramidBuilder
{
public:
    struct Settings
    {
        int tileSize = 256;
        qint64 firstColumn = 0;
        qint64 lastColumn = 0;
        int topXZoom = 0;
        int topYZoom = 0;
        Reduction reduction = Reduction::Maximum;
    };

    using TileSink = std::function<void(const TileKey& key, const QImage& tile)>;

    // The sink receives Indexed8 images of tileSize x tileSize without a colour table.
    PyramidBuilder(const Settings& settings, TileSink sink);
    ~PyramidBuilder();
    PyramidBuilder(const PyramidBuilder&) = delete;
    PyramidBuilder& operator=(const PyramidBuilder&) = delete;

    // Merges values into level-0 row `row` by maximum: values[i] goes to column
    // columnOf[i] (absolute; negative entries are skipped). Rows must not decrease.
    void addRow(qint64 row, const quint8* values, const std::vector<qint64>& columnOf);
    // The same with the columns worked out once for all rows.
    void addRow(qint64 row, const quint8* values, const ColumnMap& columns);

    // Emits everything still held. No rows may be added afterwards.
    void finish();

    quint64 tilesEmitted() const { return m_tilesEmitted; }

private:
    class Strip;
    void flushLevel(int yZoom);
    void emitTiles(const Strip& strip);
    Strip& stripFor(int yZoom, qint64 row);

    Settings m_settings;
    TileSink m_sink;
    std::vector<std::unique_ptr<Strip>> m_strips; // one per y level
    std::unique_ptr<StripTiler> m_tiler; // the tiles of a strip at every x level
    quint64 m_tilesEmitted = 0;
};

} // namespace mivo::tilegen
