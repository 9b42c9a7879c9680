// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// Integer rules of the tile grid, shared by the tile system and the provider. Each
// reproduces the documented arithmetic without undefined behaviour: out-of-range
// conversions and over-wide shifts give the values the processor's own instructions
// give.

#include <mivo/core/NumericConversions_p.h>
#include <mivo/tiling/TileAxis.h>

#include <QtGlobal>

#include <cmath>
#include <limits>

namespace mivo::tiling::geometry {

using numeric::truncateToInt64;

/// double -> unsigned 64-bit by truncation: quotients of 2^63 and more are converted
/// by subtracting 2^63 and adding it back as the top bit; negative values give the
/// two's complement of their truncation.
inline quint64 truncateToUInt64(double value)
{
    constexpr double twoToThe63 = 9223372036854775808.0;
    constexpr quint64 topBit = quint64(1) << 63;
    if (value < twoToThe63)
        return static_cast<quint64>(truncateToInt64(value));
    // NaN lands here too and, like values of 2^64 and more, gives 0.
    return static_cast<quint64>(truncateToInt64(value - twoToThe63)) ^ topBit;
}

/// f(z): 1 for level 0, else 2 << (z - 1) as a 32-bit shift (count modulo 32) read as
/// a signed 32-bit number.
inline double zoomFactor(quint16 zoomLevel)
{
    if (zoomLevel == 0)
        return 1.0;
    const quint32 shifted = quint32(2) << ((zoomLevel - 1u) & 31u);
    // Two's complement reading of the 32 bits, without relying on the conversion.
    const qint64 asSigned = shifted >= 0x80000000u ? qint64(shifted) - (qint64(1) << 32) : qint64(shifted);
    return static_cast<double>(asSigned);
}

/// Value units per tile pixel at @p zoomLevel.
inline double pixelValueSpan(const TileAxis& axis, quint16 zoomLevel)
{
    return axis.basevalue * zoomFactor(zoomLevel);
}

/// The tile index of @p value; 0 on an axis without tiles (tile size 0).
inline quint64 tileIndex(const TileAxis& axis, double value, quint16 zoomLevel)
{
    if (axis.tilesize == 0)
        return 0;
    return truncateToUInt64(value / pixelValueSpan(axis, zoomLevel)) / axis.tilesize;
}

/// @p index >> @p shift, 0 once the whole index has been shifted out.
inline quint64 shiftedIndex(quint64 index, unsigned int shift)
{
    return shift >= 64 ? 0 : index >> shift;
}

} // namespace mivo::tiling::geometry
