// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// The small pyramid the builder suites share: 16-pixel tiles over level-0 columns
// 10..40, x levels 0..2, y levels 0..3, and rows of values that make neighbours differ.

#include "core/PyramidBuilder.h"

#include <QtGlobal>

#include <vector>

namespace pyramidtest {

inline mivo::tilegen::PyramidBuilder::Settings smallPyramid(mivo::tilegen::Reduction reduction)
{
    mivo::tilegen::PyramidBuilder::Settings settings;
    settings.tileSize = 16;
    settings.firstColumn = 10;
    settings.lastColumn = 40;
    settings.topXZoom = 2;
    settings.topYZoom = 3;
    settings.reduction = reduction;
    return settings;
}

// Columns 10..40 for bins 0..30, except a gap 20..23 (those bins have no column).
inline std::vector<qint64> columnsWithGap()
{
    std::vector<qint64> columnOf;
    for (qint64 c = 10; c <= 40; ++c)
        columnOf.push_back(c >= 20 && c <= 23 ? -1 : c);
    return columnOf;
}

// The value of column c (10..40) in `row`; `pass` tells repeated rows apart.
inline int rowValue(qint64 row, qint64 c, int pass)
{
    return 1 + int((row * 37 + c * 11 + pass * 101) % 255);
}

inline std::vector<quint8> rowValues(qint64 row, int pass)
{
    std::vector<quint8> values;
    for (qint64 c = 10; c <= 40; ++c)
        values.push_back(quint8(rowValue(row, c, pass)));
    return values;
}

} // namespace pyramidtest
