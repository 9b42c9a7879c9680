// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "ColumnMap.h"

namespace mivo::tilegen {

ColumnMap::ColumnMap(const std::vector<qint64>& columnOf)
{
    for (size_t k = 0; k < columnOf.size(); ++k) {
        const qint64 column = columnOf[k];
        if (column < 0)
            continue;
        if (!m_runs.empty()) {
            Run& last = m_runs.back();
            if (size_t(last.firstBin + last.count) == k && last.firstColumn + last.count == column) {
                ++last.count;
                continue;
            }
        }
        m_runs.push_back(Run{int(k), column, 1});
    }
}

} // namespace mivo::tilegen
