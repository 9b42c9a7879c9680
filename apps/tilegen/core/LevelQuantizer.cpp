// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "LevelQuantizer.h"

#include <cmath>

namespace mivo::tilegen {

LevelQuantizer::LevelQuantizer(double minValue, double maxValue, int valueSteps)
    : m_min(minValue)
    , m_max(maxValue)
    , m_steps(valueSteps)
    , m_scale(valueSteps / (maxValue - minValue))
{
    Q_ASSERT(maxValue > minValue && "an empty level range cannot be quantised");
    Q_ASSERT(valueSteps >= 1 && valueSteps <= 255 && "indices are 8 bits and 0 means no data");
}

double LevelQuantizer::levelOf(int index) const
{
    return double(index) / m_steps * (m_max - m_min) + m_min;
}

} // namespace mivo::tilegen
