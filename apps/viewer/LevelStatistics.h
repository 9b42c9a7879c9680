#pragma once

#include <QPointF>
#include <QRectF>

namespace mivo::tiling {
class ITileProvider;
class TileSystem;
} // namespace mivo::tiling

namespace mivo::viewer {

/// Level figures of a region of the waterfall, read from tile pixels.
struct LevelStatistics
{
    /// The part of the region that was measured: the region within the data extents
    /// and the view. Null when nothing of the region is in view.
    QRectF measuredArea;
    /// Area-weighted count of data pixels read, in tile pixels of the level asked for.
    double dataPixels = 0.0;
    double peakLevel = 0.0;   ///< highest level, dB
    QPointF peakPosition;     ///< frequency and time of the centre of the (first) pixel holding it
    double meanLevel = 0.0;   ///< power mean: 10 log10 of the area-weighted mean of 10^(level / 10)
    double medianLevel = 0.0; ///< area-weighted median level
    /// Frequency and time covered by one pixel of the coarsest tile read (the peak's
    /// position is good to half of it).
    double frequencyResolution = 0.0;
    double timeResolution = 0.0;

    int tileCount = 0;    ///< tiles of the view's levels that cover the measured area
    int standInTiles = 0; ///< of these, tiles answered by a coarser cached tile
    int missingTiles = 0; ///< of these, tiles with no cached tile at all (not measured)
    /// Part of the region lies within the data but outside the view: not measured.
    bool clippedByView = false;

    bool hasData() const { return dataPixels > 0.0; }
    /// The figures stand for the region only approximately.
    bool isApproximate() const { return standInTiles > 0 || missingTiles > 0 || clippedByView; }
};

/**
 * Measures the levels of a region from the tiles a provider has cached: the tiles the
 * view of the given scales would draw, each answered by the provider as it answers the
 * painter (the tile itself or a coarser stand-in). Pixel indices become levels through
 * the tile system's mapping, as in the tile tooltip; index 0 means "no data" (as
 * mivo-tilegen writes it) and is left out. Pixels partly inside the region count with
 * the part inside. Tiles that are not Format_Indexed8 images count as missing.
 *
 * Reads only the part of the region in view, so the work is bounded by the view's
 * pixels whatever the region's size. Neither object is owned; both must outlive this one.
 */
class SelectionStatistics
{
public:
    SelectionStatistics(const tiling::TileSystem& tileSystem, tiling::ITileProvider& provider);

    /// The figures of @p region (values) for a view that shows @p view at @p xScale and
    /// @p yScale value units per pixel.
    LevelStatistics measure(const QRectF& region, const QRectF& view, double xScale, double yScale) const;

private:
    const tiling::TileSystem& m_tileSystem;
    tiling::ITileProvider& m_provider;
};

} // namespace mivo::viewer
