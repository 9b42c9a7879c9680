// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "PyramidBuilder.h"

#include <QtGlobal>

#include <cstring>

namespace mivo::tilegen {

// The rules that make a coarser pixel of two finer ones, as plain loops over whole
// rows without a branch per pixel, so that the compiler makes vector code of them.
// Both rules are symmetric in a and b, and 0 (no data) is neutral to both.

inline quint8 combineMaximum(unsigned a, unsigned b)
{
    return quint8(a > b ? a : b);
}

inline quint8 combineMean(unsigned a, unsigned b)
{
    // The one holding data, or 0 for none; both: the rounded mean.
    const unsigned mean = (a + b + 1) >> 1;
    return quint8(a != 0 && b != 0 ? mean : (a | b));
}

template <quint8 (*combine)(unsigned, unsigned)>
void combineRowsWith(const quint8* a, const quint8* b, int count, quint8* out)
{
    for (int i = 0; i < count; ++i)
        out[i] = combine(a[i], b[i]);
}

// out[i] = combine(a[i], b[i]): two rows into the row of the next y level.
inline void combineRows(const quint8* a, const quint8* b, int count, quint8* out, Reduction reduction)
{
    if (reduction == Reduction::Maximum)
        combineRowsWith<combineMaximum>(a, b, count, out);
    else
        combineRowsWith<combineMean>(a, b, count, out);
}

// out[i] = combine(in[2i], in[2i + 1]); the pair is read as one 16-bit word.
template <quint8 (*combine)(unsigned, unsigned)> void halveRowWith(const quint8* in, int count, quint8* out)
{
    for (int i = 0; i < count; ++i) {
        quint16 pair;
        std::memcpy(&pair, in + 2 * i, sizeof pair);
        out[i] = combine(pair & 0xffu, unsigned(pair) >> 8);
    }
}

// A row into the row of the next x level (count output pixels).
inline void halveRow(const quint8* in, int count, quint8* out, Reduction reduction)
{
    if (reduction == Reduction::Maximum)
        halveRowWith<combineMaximum>(in, count, out);
    else
        halveRowWith<combineMean>(in, count, out);
}

inline bool anyNonZero(const quint8* pixels, int count)
{
    quint8 any = 0;
    for (int i = 0; i < count; ++i)
        any |= pixels[i];
    return any != 0;
}

} // namespace mivo::tilegen
