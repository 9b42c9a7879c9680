// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <limits>

namespace mivo::detail {

/// The scale after one zoom-in by @p zoomFactor (the fraction of the range that goes),
/// written as scale - scale * zoomFactor, the exact expression the zooms use.
inline double zoomedInScale(double scale, double zoomFactor)
{
    return scale - scale * zoomFactor;
}

/**
 * The fraction k that zooms out by exactly one zoom-in of @p zoomFactor:
 * scale + scale * k == scale / (1 - zoomFactor). A factor of 1 (a zoom-in to
 * nothing) gives infinity, which the axes clamp to their largest scale.
 */
inline double zoomOutFactor(double zoomFactor)
{
    const double rest = 1.0 - zoomFactor;
    if (rest == 0.0)
        return std::numeric_limits<double>::infinity();
    return zoomFactor / rest;
}

} // namespace mivo::detail
