// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// Conversions from double to integer without undefined behaviour: NaN and values out
// of range give the values the x86-64 conversion instructions give.

#include <QtGlobal>

#include <cmath>
#include <limits>

namespace mivo::numeric {

/// double -> signed 64-bit by truncation; NaN and values outside the range give INT64_MIN.
inline qint64 truncateToInt64(double value)
{
    constexpr double twoToThe63 = 9223372036854775808.0;
    if (value >= -twoToThe63 && value < twoToThe63)
        return static_cast<qint64>(value);
    return std::numeric_limits<qint64>::min();
}

/// double -> int by truncation; NaN and values outside the range give INT_MIN, as a
/// plain cast does on x86-64. For pixel positions whose far-off values the drawing code
/// expects to land off screen on the negative side.
inline int truncateToIntOrMin(double value)
{
    if (value > -2147483649.0 && value < 2147483648.0)
        return static_cast<int>(value);
    return std::numeric_limits<int>::min();
}

/// double -> int by truncation, clamped to [INT_MIN, INT_MAX]; NaN gives 0. For
/// positions that must keep their side of the view when far outside it.
inline int truncateToIntSaturating(double value)
{
    if (std::isnan(value))
        return 0;
    if (value >= static_cast<double>(std::numeric_limits<int>::max()))
        return std::numeric_limits<int>::max();
    if (value <= static_cast<double>(std::numeric_limits<int>::min()))
        return std::numeric_limits<int>::min();
    return static_cast<int>(value);
}

} // namespace mivo::numeric
