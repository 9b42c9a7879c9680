// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>
#include <mivo/tiling/TileAxis.h>
#include <mivo/tiling/TileId.h>
#include <mivo/tiling/TileSystemDescriptor.h>

#include <QList>
#include <QObject>
#include <QPointF>
#include <QRectF>

namespace mivo::tiling {

/**
 * The geometry of the active tile source: its descriptor and the extents of its data,
 * and the conversions between values (Hz, seconds), zoom levels, tile indices and
 * pixels inside a tile.
 *
 * At zoom level z one tile pixel covers s(z) = basevalue * f(z) value units, where
 * f(0) = 1 and f(z) = 2 << (z - 1) evaluated as a 32-bit integer shift (shift count
 * taken modulo 32) read as a signed 32-bit number: 2^z for z = 1..30; levels of 31 and
 * more give a negative or wrapped factor, which is kept as it is.
 *
 * The index of a value at level z is the value divided by s(z), truncated to an
 * unsigned 64-bit integer (negative quotients wrap to huge indices; quotients of 2^64
 * and more, infinities and NaN give 0, and quotients below -2^63 give 2^63, as the
 * processor's own conversion does), divided by tilesize. An axis with tile size 0 has
 * no tiles: its indices are 0 and tilesInRange() finds nothing.
 *
 * GUI thread only.
 */
class MIVO_EXPORT TileSystem : public QObject
{
    Q_OBJECT

public:
    /// A range that needs more tiles than this gives an empty list from tilesInRange()
    /// rather than exhausting memory: a server's documents must not make the view hang.
    static constexpr quint64 maximumTilesInRange = quint64(1) << 20;
    /// The most tiles the scale overload of tilesInRange() gives for one view.
    static constexpr quint64 maximumTilesPerView = 4096;
    /// Views wider or taller than this many screen pixels are bounded as if they were not.
    static constexpr double maximumViewPixels = 16384.0;

    TileSystem();
    ~TileSystem() override;

    const TileSystemDescriptor& tileSystemDescriptor() const { return m_descriptor; }
    const TileAxis& x() const { return m_x; }
    const TileAxis& y() const { return m_y; }
    const QRectF& extents() const { return m_extents; }

    /// True when the descriptor's name is not a null string (an empty name is valid).
    bool isValid() const;

    /// Takes @p descriptor and emits si_tileSystemChanged(), even when nothing changed.
    void setTileSystemDescriptor(const TileSystemDescriptor& descriptor);
    /// Emits si_extentsChanged() when any of the four doubles differs exactly.
    void setExtents(const QRectF& extents);

    TileId valueToTileId(const QPointF& value, quint16 xZoomLevel, quint16 yZoomLevel) const;
    /// The value rectangle a tile covers.
    QRectF tileIdToValue(const TileId& id) const;
    /// The tile pixels @p value occupies inside its tile: the left and top are taken
    /// modulo the tile size, width and height are not.
    QRectF valueToPixelNr(const QRectF& value, quint16 xZoomLevel, quint16 yZoomLevel) const;

    /// The tiles of @p range (intersected with the extents) at the given levels, row
    /// by row, each row from low to high x. A range ending on a tile border includes
    /// the tile beyond it.
    QList<TileId> tilesInRange(const QRectF& range, quint16 xZoomLevel, quint16 yZoomLevel) const;
    /// As above, at the coarsest levels whose pixels are not larger than the given
    /// scales (value units per screen pixel), clamped to the levels the axes offer. A
    /// scale finer than basevalue wraps to a huge level and is clamped to maxzoomlevel.
    ///
    /// Bounded by what the view can show. @p range is the view: range.width() / xScale
    /// screen pixels wide (at most maximumViewPixels), likewise high. Along each axis the
    /// view takes at most floor(2 * pixels / tilesize) + 2 tiles (no more than two tile
    /// pixels fall on one screen pixel, plus the two tiles cut by the view's edges), and
    /// at most maximumTilesPerView tiles in all. Where the picked levels need more,
    /// coarser levels the axes offer are taken (per axis for the first rule, the axis
    /// with more tiles first for the second) until the tiles fit; if they cannot (the
    /// coarsest level's tiles are too small on screen), the list is empty. At the levels
    /// the scales pick the first rule always holds, and the second holds for tiles of
    /// 64 pixels and more on views up to 4K; such pyramids viewed within their levels
    /// get exactly the tiles of the picked levels.
    QList<TileId> tilesInRange(const QRectF& range, double xScale, double yScale) const;

    /// The level value of a tile pixel index: index / valueSteps * (max - min) + min.
    double pixelIndexToValue(quint32 index) const;

Q_SIGNALS:
    void si_tileSystemChanged();
    void si_extentsChanged(const QRectF& extents);

private:
    Q_DISABLE_COPY(TileSystem)

    TileSystemDescriptor m_descriptor;
    TileAxis m_x;
    TileAxis m_y;
    QRectF m_extents;
};

} // namespace mivo::tiling
