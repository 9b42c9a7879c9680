// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QtGlobal>

namespace mivo::tilegen {

// The tile grid along one axis, anchored at value 0: at zoom level z a pixel covers
// baseValue * 2^z value units, pixel p covers [p * s(z), (p + 1) * s(z)), and tile n
// holds pixels n * tileSize .. (n + 1) * tileSize - 1. Level 0 is the finest.
class AxisGrid
{
public:
    // The waterfall evaluates 2^z as a 32-bit integer.
    static constexpr int maximumZoomLevel = 30;

    AxisGrid(double baseValue, int tileSize);

    double baseValue() const { return m_baseValue; }
    int tileSize() const { return m_tileSize; }

    // Value units one pixel covers at `zoomLevel`.
    double pixelSpan(int zoomLevel) const;

    // The level-0 pixel covering `value`. A value that lies on a pixel border within
    // the rounding error of the division belongs to the pixel above the border, as
    // the half-open pixel intervals say; that keeps frames spaced exactly one pixel
    // apart in distinct pixels.
    qint64 pixelOf(double value) const;

    // Level-0 pixel -> pixel at `zoomLevel` (floor division by 2^zoomLevel).
    static qint64 pixelAtLevel(qint64 pixel0, int zoomLevel);
    // Pixel at some level -> its tile and position in the tile.
    qint64 tileOf(qint64 pixel) const;
    int offsetInTile(qint64 pixel) const;

    // The coarsest level needed: the first at which level-0 pixels first..last fall
    // into a single tile, capped at maximumZoomLevel.
    int topZoomLevel(qint64 firstPixel0, qint64 lastPixel0) const;

private:
    double m_baseValue;
    int m_tileSize;
};

} // namespace mivo::tilegen
