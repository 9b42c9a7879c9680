// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QtGlobal>

#include <vector>

namespace mivo::tilegen {

// Where each FFT bin goes in a level-0 row, as runs of bins that land in consecutive
// columns, so that merging a row is a few plain loops rather than a lookup per bin.
class ColumnMap
{
public:
    struct Run
    {
        int firstBin = 0;
        qint64 firstColumn = 0; // absolute level-0 column of firstBin
        int count = 0; // bins firstBin + i go to column firstColumn + i
    };

    // columnOf[k]: the column of bin k; negative: the bin is left out.
    explicit ColumnMap(const std::vector<qint64>& columnOf);

    const std::vector<Run>& runs() const { return m_runs; }

private:
    std::vector<Run> m_runs;
};

} // namespace mivo::tilegen
