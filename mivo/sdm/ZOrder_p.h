// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QRectF>

#include <cmath>

namespace mivo::sdm {

/// width x height; negative for a rectangle of negative width or height.
inline double zOrderArea(const QRectF& rect)
{
    return rect.width() * rect.height();
}

/// Whether an area of @p a lies in front of one of @p b: the smaller in front. A NaN
/// area lies behind every other, so that sorting sees a strict weak order (std::sort
/// may run past the ends of the range with anything less).
inline bool inFrontByArea(double a, double b)
{
    if (std::isnan(a))
        return false;
    if (std::isnan(b))
        return true;
    return a < b;
}

} // namespace mivo::sdm
