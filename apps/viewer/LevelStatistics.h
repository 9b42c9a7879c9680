// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QPointF>
#include <QRectF>
#include <QVector>

#include <optional>

namespace mivo::tiling {
class ITileProvider;
class TileSystem;
} // namespace mivo::tiling

namespace mivo::viewer {

/// A level met in the data and how much of the data holds it.
struct LevelShare
{
    double level = 0.0; ///< dB
    double pixels = 0.0; ///< area-weighted count, in tile pixels of the level asked for
};

/// Level figures of a region of the waterfall, read from tile pixels.
struct LevelStatistics
{
    /// The part of the region that was measured: the region within the data extents
    /// and the view. Null when nothing of the region is in view.
    QRectF measuredArea;
    /// Area-weighted count of data pixels read, in tile pixels of the level asked for.
    double dataPixels = 0.0;
    double peakLevel = 0.0; ///< highest level, dB
    QPointF peakPosition; ///< frequency and time of the centre of the (first) pixel holding it
    double meanLevel = 0.0; ///< power mean: 10 log10 of the area-weighted mean of 10^(level / 10)
    double medianLevel = 0.0; ///< area-weighted median level: levelAt(0.5)
    /// Every level met, ascending, with its share; empty without data.
    QVector<LevelShare> distribution;
    /// Frequency and time covered by one pixel of the coarsest tile read (the peak's
    /// position is good to half of it).
    double frequencyResolution = 0.0;
    double timeResolution = 0.0;

    int tileCount = 0; ///< tiles of the view's levels that cover the measured area
    int standInTiles = 0; ///< of these, tiles answered by a coarser cached tile
    int missingTiles = 0; ///< of these, tiles with no cached tile at all (not measured)
    /// Part of the region lies within the data but outside the view: not measured.
    bool clippedByView = false;

    bool hasData() const { return dataPixels > 0.0; }
    /// The figures stand for the region only approximately.
    bool isApproximate() const { return standInTiles > 0 || missingTiles > 0 || clippedByView; }

    /// The lowest level at or below which lies at least @p fraction (0 .. 1) of the
    /// data, by area; 0.0 without data.
    double levelAt(double fraction) const;
};

/// A range of levels for the colours, dB.
struct LevelRange
{
    double lower = 0.0;
    double upper = 0.0;
};

/**
 * Colour levels that fit the data of @p statistics: the lower level at the
 * @p lowFraction quantile, so that the noise floor looks dark, and the upper one at
 * the @p highFraction quantile, so that the strongest few signals get the brightest
 * colour. Both are widened outwards to whole dB (as the colour editor shows levels)
 * and kept at least 1 dB apart. Empty when there is no data.
 */
std::optional<LevelRange> autoLevelRange(const LevelStatistics& statistics, double lowFraction = 0.05,
                                         double highFraction = 0.995);

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
