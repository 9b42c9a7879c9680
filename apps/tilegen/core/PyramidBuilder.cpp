// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "PyramidBuilder.h"

#include "AxisGrid.h"
#include "RowReduction.h"
#include "StripTiler.h"

#include <algorithm>
#include <cstring>

namespace mivo::tilegen {

class PyramidBuilder::Strip : public TileRowStrip
{
public:
    Strip(int yZoom, TilePlane plane)
        : TileRowStrip(yZoom, std::move(plane))
        , reducedRow(size_t(this->plane.width))
    {
    }

    std::vector<quint8> reducedRow; // one row pair combined, on its way to the strip above
};

PyramidBuilder::PyramidBuilder(const Settings& settings, TileSink sink)
    : m_settings(settings)
    , m_sink(std::move(sink))
    , m_tiler(std::make_unique<StripTiler>(settings))
{
    Q_ASSERT(settings.tileSize > 0 && settings.tileSize % 2 == 0 && "halving needs whole pixel pairs per tile");
    Q_ASSERT(settings.firstColumn >= 0 && settings.lastColumn >= settings.firstColumn);
    for (int yZoom = 0; yZoom <= settings.topYZoom; ++yZoom)
        m_strips.push_back(std::make_unique<Strip>(yZoom, m_tiler->makePlane(0)));
}

PyramidBuilder::~PyramidBuilder() = default;

PyramidBuilder::Strip& PyramidBuilder::stripFor(int yZoom, qint64 row)
{
    Strip& strip = *m_strips[size_t(yZoom)];
    strip.moveTo(row, m_settings.tileSize, [&] { flushLevel(yZoom); });
    return strip;
}

void PyramidBuilder::addRow(qint64 row, const quint8* values, const std::vector<qint64>& columnOf)
{
    addRow(row, values, ColumnMap(columnOf));
}

void PyramidBuilder::addRow(qint64 row, const quint8* values, const ColumnMap& columns)
{
    Strip& strip = stripFor(0, row);
    strip.plane.mergeRow(int(row - strip.tileRow * m_settings.tileSize), values, columns);
}

void PyramidBuilder::flushLevel(int yZoom)
{
    Strip& strip = *m_strips[size_t(yZoom)];
    if (!strip.active)
        return;
    emitTiles(strip);

    if (yZoom < m_settings.topYZoom) {
        const int tileSize = m_settings.tileSize;
        const qint64 firstRow = strip.tileRow * tileSize;
        const int width = strip.plane.width;
        // Per strip: stripFor() below may flush the strip above, which reduces too.
        quint8* reduced = strip.reducedRow.data();
        for (int r = 0; r < tileSize; r += 2) {
            combineRows(strip.plane.row(r), strip.plane.row(r + 1), width, reduced, m_settings.reduction);
            // Rows without data do not start the upper strip: it may begin later.
            if (!anyNonZero(reduced, width))
                continue;
            const qint64 upperRow = (firstRow + r) / 2;
            Strip& upper = stripFor(yZoom + 1, upperRow);
            // Each upper row comes from exactly one pixel pair of this strip: a copy.
            std::memcpy(upper.plane.row(int(upperRow - upper.tileRow * tileSize)), reduced, size_t(width));
        }
    }
    strip.clear();
}

void PyramidBuilder::emitTiles(const Strip& strip)
{
    m_tilesEmitted += m_tiler->emitTiles(strip.plane, strip.yZoom, strip.tileRow, m_sink);
}

void PyramidBuilder::finish()
{
    for (int yZoom = 0; yZoom <= m_settings.topYZoom; ++yZoom)
        flushLevel(yZoom);
}

} // namespace mivo::tilegen
