// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "AxisGrid.h"

#include <cfloat>
#include <cmath>

namespace mivo::tilegen {

AxisGrid::AxisGrid(double baseValue, int tileSize)
    : m_baseValue(baseValue)
    , m_tileSize(tileSize)
{
    Q_ASSERT(baseValue > 0 && tileSize > 0 && "a grid needs positive pixel and tile sizes");
}

double AxisGrid::pixelSpan(int zoomLevel) const
{
    return std::ldexp(m_baseValue, zoomLevel);
}

qint64 AxisGrid::pixelOf(double value) const
{
    const double position = value / m_baseValue;
    const double nearest = std::round(position);
    // A few units in the last place: the error of computing value and the quotient.
    const double tolerance = 8.0 * DBL_EPSILON * std::fmax(1.0, std::fabs(position));
    if (std::fabs(position - nearest) <= tolerance)
        return qint64(nearest);
    return qint64(std::floor(position));
}

qint64 AxisGrid::pixelAtLevel(qint64 pixel0, int zoomLevel)
{
    // Arithmetic shift is floor division for negative pixels too.
    return pixel0 >> zoomLevel;
}

qint64 AxisGrid::tileOf(qint64 pixel) const
{
    const qint64 size = m_tileSize;
    return pixel >= 0 ? pixel / size : -((-pixel + size - 1) / size);
}

int AxisGrid::offsetInTile(qint64 pixel) const
{
    return int(pixel - tileOf(pixel) * m_tileSize);
}

int AxisGrid::topZoomLevel(qint64 firstPixel0, qint64 lastPixel0) const
{
    for (int level = 0; level < maximumZoomLevel; ++level) {
        if (tileOf(pixelAtLevel(firstPixel0, level)) == tileOf(pixelAtLevel(lastPixel0, level)))
            return level;
    }
    return maximumZoomLevel;
}

} // namespace mivo::tilegen
