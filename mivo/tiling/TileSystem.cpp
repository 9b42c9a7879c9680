// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/tiling/TileSystem.h>

#include "../core/Logging_p.h"

#include "TileGeometry_p.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace mivo::tiling {

using namespace geometry;

namespace {

static_assert(std::numeric_limits<double>::is_iec559,
              "level values divide by valueSteps with IEEE semantics (0 steps gives inf or NaN)");

// The level whose pixels are the largest not larger than a screen pixel: floor of
// log2(scale / basevalue), truncated to 64 bits and taken modulo 65536 (negative levels
// wrap to large ones), then clamped to the axis's levels with unsigned comparisons.
quint16 zoomLevelForScale(const TileAxis& axis, double scale)
{
    const qint64 level = truncateToInt64(std::floor(std::log2(scale / axis.basevalue)));
    quint16 zoom = static_cast<quint16>(static_cast<quint64>(level) & 0xffffu);
    zoom = std::min(zoom, axis.maxzoomlevel);
    zoom = std::max(axis.minzoomlevel, zoom);
    return zoom;
}

// The number of tiles of one axis that [first, last] of the range covers at a level.
quint64 tileCount(const TileAxis& axis, double first, double last, quint16 zoomLevel)
{
    const quint64 firstIndex = tileIndex(axis, first, zoomLevel);
    const quint64 lastIndex = tileIndex(axis, last, zoomLevel);
    if (firstIndex > lastIndex)
        return 0;
    const quint64 span = lastIndex - firstIndex;
    return span == std::numeric_limits<quint64>::max() ? span : span + 1;
}

// The most tiles a view of @p pixels screen pixels takes along an axis.
quint64 tileBudget(const TileAxis& axis, double pixels)
{
    if (!(pixels > 0.0))
        pixels = 0.0;
    pixels = std::min(pixels, TileSystem::maximumViewPixels);
    if (axis.tilesize == 0)
        return 2;
    return static_cast<quint64>(2.0 * pixels / axis.tilesize) + 2;
}

// One axis of a view: the range's ends, the level in use and the tiles it takes.
struct ViewAxis
{
    const TileAxis& axis;
    double first;
    double last;
    quint16 zoomLevel;
    quint64 count = 0;

    void recount() { count = tileCount(axis, first, last, zoomLevel); }
    bool canCoarsen() const { return zoomLevel < axis.maxzoomlevel; }
    void coarsen()
    {
        ++zoomLevel;
        recount();
    }
};

// From the level in use on towards the coarsest: the first level at which the axis
// takes no more than @p budget tiles. False if there is none.
bool fitAxis(ViewAxis& view, quint64 budget)
{
    view.recount();
    // Past 64 levels every index has been halved away; levels beyond 30 wrap anyway.
    for (int step = 0; step < 64 && view.count > budget && view.canCoarsen(); ++step)
        view.coarsen();
    return view.count <= budget;
}

// Coarsens the axis with more tiles until the view takes no more than @p budget.
bool fitView(ViewAxis& x, ViewAxis& y, quint64 budget)
{
    const auto total = [&] { return x.count != 0 && y.count > budget / x.count ? budget + 1 : x.count * y.count; };
    for (int step = 0; step < 128 && total() > budget; ++step) {
        ViewAxis* wider = x.count >= y.count ? &x : &y;
        ViewAxis* other = wider == &x ? &y : &x;
        if (wider->canCoarsen())
            wider->coarsen();
        else if (other->canCoarsen())
            other->coarsen();
        else
            break;
    }
    return total() <= budget;
}

} // namespace

TileSystem::TileSystem() = default;

TileSystem::~TileSystem() = default;

bool TileSystem::isValid() const
{
    return !m_descriptor.name.isNull();
}

void TileSystem::setTileSystemDescriptor(const TileSystemDescriptor& descriptor)
{
    m_descriptor = descriptor;
    m_x = descriptor.xaxis;
    m_y = descriptor.yaxis;
    Q_EMIT si_tileSystemChanged();
}

void TileSystem::setExtents(const QRectF& extents)
{
    // Exact comparison: QRectF's own operator is fuzzy in Qt 5.
    if (extents.x() == m_extents.x() && extents.y() == m_extents.y() && extents.width() == m_extents.width()
        && extents.height() == m_extents.height()) {
        return;
    }
    m_extents = extents;
    Q_EMIT si_extentsChanged(m_extents);
}

TileId TileSystem::valueToTileId(const QPointF& value, quint16 xZoomLevel, quint16 yZoomLevel) const
{
    return TileId(tileIndex(m_x, value.x(), xZoomLevel), tileIndex(m_y, value.y(), yZoomLevel), xZoomLevel, yZoomLevel);
}

QRectF TileSystem::tileIdToValue(const TileId& id) const
{
    const double xSpan = pixelValueSpan(m_x, id.xZoomLevel);
    const double ySpan = pixelValueSpan(m_y, id.yZoomLevel);
    // The pixel offsets are unsigned 64-bit products (wrapping), read as unsigned.
    const double left = static_cast<double>(quint64(m_x.tilesize) * id.x) * xSpan;
    const double top = static_cast<double>(quint64(m_y.tilesize) * id.y) * ySpan;
    return {left, top, m_x.tilesize * xSpan, m_y.tilesize * ySpan};
}

QRectF TileSystem::valueToPixelNr(const QRectF& value, quint16 xZoomLevel, quint16 yZoomLevel) const
{
    const double xSpan = pixelValueSpan(m_x, xZoomLevel);
    const double ySpan = pixelValueSpan(m_y, yZoomLevel);
    return {std::fmod(value.left() / xSpan, m_x.tilesize), std::fmod(value.top() / ySpan, m_y.tilesize),
            value.width() / xSpan, value.height() / ySpan};
}

QList<TileId> TileSystem::tilesInRange(const QRectF& range, quint16 xZoomLevel, quint16 yZoomLevel) const
{
    QList<TileId> tiles;
    const QRectF area = range.intersected(m_extents);
    if (!(area.width() > 0.0) || !(area.height() > 0.0) || m_x.tilesize == 0 || m_y.tilesize == 0)
        return tiles;

    const quint64 xFirst = tileIndex(m_x, area.left(), xZoomLevel);
    const quint64 xLast = tileIndex(m_x, area.left() + area.width(), xZoomLevel);
    const quint64 yLast = tileIndex(m_y, area.top() + area.height(), yZoomLevel);
    const quint64 yFirst = tileIndex(m_y, area.top(), yZoomLevel);
    if (yFirst > yLast)
        return tiles;

    // Rows are always visited; columns only when xFirst <= xLast. Count before
    // building, without overflowing, so that absurd documents cannot make us loop.
    const quint64 rows = yLast - yFirst; // one less than the row count
    const quint64 columns = xFirst > xLast ? 0 : xLast - xFirst; // likewise, when any
    if (rows >= maximumTilesInRange || columns >= maximumTilesInRange
        || (xFirst <= xLast && (rows + 1) * (columns + 1) > maximumTilesInRange)) {
        qCDebug(lcTiling) << "range needs more than" << maximumTilesInRange << "tiles: none listed";
        return tiles;
    }
    if (xFirst > xLast)
        return tiles;

    tiles.reserve(static_cast<int>((rows + 1) * (columns + 1)));
    for (quint64 y = yFirst;; ++y) {
        for (quint64 x = xFirst;; ++x) {
            tiles.append(TileId(x, y, xZoomLevel, yZoomLevel));
            if (x == xLast)
                break;
        }
        if (y == yLast)
            break;
    }
    return tiles;
}

QList<TileId> TileSystem::tilesInRange(const QRectF& range, double xScale, double yScale) const
{
    const quint16 xZoomLevel = zoomLevelForScale(m_x, xScale);
    const quint16 yZoomLevel = zoomLevelForScale(m_y, yScale);
    const QRectF area = range.intersected(m_extents);
    if (!(area.width() > 0.0) || !(area.height() > 0.0))
        return {};
    // Bounded by what the view's pixels can show (see the header).
    ViewAxis x{m_x, area.left(), area.left() + area.width(), xZoomLevel};
    ViewAxis y{m_y, area.top(), area.top() + area.height(), yZoomLevel};
    if (!fitAxis(x, tileBudget(m_x, range.width() / xScale)) || !fitAxis(y, tileBudget(m_y, range.height() / yScale))
        || !fitView(x, y, maximumTilesPerView)) {
        qCDebug(lcTiling) << "view needs more tiles than its pixels can show, even at the coarsest levels: none listed";
        return {};
    }
    return tilesInRange(range, x.zoomLevel, y.zoomLevel);
}

double TileSystem::pixelIndexToValue(quint32 index) const
{
    return static_cast<double>(index) / static_cast<double>(m_descriptor.valueSteps)
        * (m_descriptor.maxValue - m_descriptor.minValue)
        + m_descriptor.minValue;
}

} // namespace mivo::tiling
