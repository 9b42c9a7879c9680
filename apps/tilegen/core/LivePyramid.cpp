// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "LivePyramid.h"

#include "RowReduction.h"
#include "StripTiler.h"

#include <algorithm>
#include <cstring>

namespace mivo::tilegen {

class LivePyramid::Strip : public TileRowStrip
{
public:
    using TileRowStrip::TileRowStrip;

    bool changed = false; // since it was last cut into tiles
};

LivePyramid::LivePyramid(const PyramidBuilder::Settings& settings)
    : m_settings(settings)
    , m_tiler(std::make_unique<StripTiler>(settings))
{
    Q_ASSERT(settings.tileSize > 0 && settings.tileSize % 2 == 0 && "halving needs whole pixel pairs per tile");
    for (int yZoom = 0; yZoom <= settings.topYZoom; ++yZoom)
        m_strips.push_back(std::make_unique<Strip>(yZoom, m_tiler->makePlane(0)));
    m_combined.resize(size_t(m_strips.front()->plane.width));
}

LivePyramid::~LivePyramid() = default;

void LivePyramid::cut(Strip& strip, Tiles& into)
{
    m_tiler->emitTiles(strip.plane, strip.yZoom, strip.tileRow,
                       [&](const TileKey& key, const QImage& tile) { into.emplace_back(key, tile); });
    strip.changed = false;
}

LivePyramid::Strip& LivePyramid::stripFor(int yZoom, qint64 row)
{
    Strip& strip = *m_strips[size_t(yZoom)];
    strip.moveTo(row, m_settings.tileSize, [&] {
        // Left behind: its last state goes out with the next publication.
        if (strip.changed)
            cut(strip, m_finished);
        strip.clear();
    });
    return strip;
}

void LivePyramid::addRow(qint64 row, const quint8* values, const ColumnMap& columns)
{
    Strip& strip = stripFor(0, row);
    strip.plane.mergeRow(int(row - strip.tileRow * m_settings.tileSize), values, columns);
    strip.changed = true;
    propagate(0, row);
}

void LivePyramid::propagate(int yZoom, qint64 row)
{
    const int tileSize = m_settings.tileSize;
    for (int z = yZoom; z < m_settings.topYZoom; ++z) {
        const Strip& strip = *m_strips[size_t(z)];
        // The pair lies in one strip: tile rows hold an even number of rows.
        const int first = int((row & ~qint64(1)) - strip.tileRow * tileSize);
        const int width = strip.plane.width;
        combineRows(strip.plane.row(first), strip.plane.row(first + 1), width, m_combined.data(), m_settings.reduction);
        const qint64 upperRow = row / 2;
        Strip& upper = stripFor(z + 1, upperRow);
        quint8* target = upper.plane.row(int(upperRow - upper.tileRow * tileSize));
        // An unchanged row changes nothing above it either: coarse levels, whose
        // pixels span minutes, are left alone until their values really change.
        if (std::memcmp(target, m_combined.data(), size_t(width)) == 0)
            return;
        std::memcpy(target, m_combined.data(), size_t(width));
        upper.changed = true;
        row = upperRow;
    }
}

LivePyramid::Tiles LivePyramid::takeChanges()
{
    Tiles tiles;
    tiles.swap(m_finished);
    for (const auto& strip : m_strips) {
        if (strip->active && strip->changed)
            cut(*strip, tiles);
    }
    return tiles;
}

} // namespace mivo::tilegen
