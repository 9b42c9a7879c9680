// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "ColumnMap.h"
#include "PyramidBuilder.h"
#include "TileKey.h"

#include <QImage>
#include <QVector>

#include <memory>
#include <utility>
#include <vector>

namespace mivo::tilegen {

class StripTiler;

// The pyramid of a recording that grows: level-0 rows arrive in time order without
// end, and at any moment takeChanges() hands out every tile that changed since the
// last call, the partial newest ones included, at every zoom level.
//
// Coarser y levels are kept current row by row: when a row of level z changes, the
// row of level z + 1 above its pixel pair is made again from the pair (a missing
// partner counts as no data, which both reductions ignore), so every level always
// shows all rows received. Where that row comes out as it was, the levels above are
// left alone, and their tiles are not handed out again. Each level holds only its unfinished tile row (one strip
// of tileSize rows over the band's columns); a strip that is left behind is cut into
// tiles at once and held until the next takeChanges(). Memory is therefore about
// (topYZoom + 2) * tileSize * columns bytes plus the tiles of one publication,
// however long it runs. Once every row has arrived, the tiles handed out over time,
// the last version of each, equal the batch PyramidBuilder's for the same rows.
class LivePyramid
{
public:
    using Tiles = std::vector<std::pair<TileKey, QImage>>;

    // Settings as PyramidBuilder's; topYZoom bounds how coarse the time axis goes.
    explicit LivePyramid(const PyramidBuilder::Settings& settings);
    ~LivePyramid();
    LivePyramid(const LivePyramid&) = delete;
    LivePyramid& operator=(const LivePyramid&) = delete;

    // Merges values into level-0 row `row` by maximum (as PyramidBuilder::addRow)
    // and brings the coarser levels up to date. Rows must not decrease; gaps are
    // allowed.
    void addRow(qint64 row, const quint8* values, const ColumnMap& columns);

    // Every tile changed since the last call (Indexed8, tileSize square, without a
    // colour table), finished strips first, each tile once, with its latest pixels.
    // Tiles without any data are left out.
    Tiles takeChanges();

private:
    class Strip;
    Strip& stripFor(int yZoom, qint64 row);
    void propagate(int yZoom, qint64 row);
    void cut(Strip& strip, Tiles& into);

    PyramidBuilder::Settings m_settings;
    std::unique_ptr<StripTiler> m_tiler;
    std::vector<std::unique_ptr<Strip>> m_strips; // one per y level
    Tiles m_finished; // tiles of strips left behind since the last takeChanges()
    std::vector<quint8> m_combined; // a row pair combined, on its way to the level above
};

} // namespace mivo::tilegen
