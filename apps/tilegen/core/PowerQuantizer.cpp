// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "PowerQuantizer.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace mivo::tilegen {

PowerQuantizer::PowerQuantizer(const LevelQuantizer& levels, double decibelOffset)
    : m_steps(levels.valueSteps())
{
    m_threshold.fill(std::numeric_limits<float>::quiet_NaN());
    m_threshold[0] = 0.0f;
    m_threshold[1] = 0.0f;
    for (int index = 2; index <= m_steps; ++index) {
        // Index i begins where the level's position on the scale reaches i - 0.5;
        // multiplied before dividing, a border such as 0 dB comes out exact.
        const double level
            = levels.minValue() + (index - 0.5) * (levels.maxValue() - levels.minValue()) / levels.valueSteps();
        const double power = std::pow(10.0, (level - decibelOffset) / 10.0);
        // The smallest float not below the exact threshold, and never 0: silence
        // stays at the lowest index.
        float threshold = float(power);
        if (double(threshold) < power)
            threshold = std::nextafter(threshold, std::numeric_limits<float>::infinity());
        m_threshold[size_t(index)] = std::max(threshold, std::numeric_limits<float>::denorm_min());
    }

    // Per table entry: how many thresholds lie at or below its lowest power, and
    // whether a second one lies inside it.
    const size_t entries = size_t(1) << (32 - bucketShift);
    m_base.assign(entries, 1);
    for (size_t entry = 0; entry < entries / 2; ++entry) { // the other half is negative
        const quint32 lowBits = quint32(entry << bucketShift);
        const quint32 highBits = quint32((entry + 1) << bucketShift) - 1;
        float low, high;
        std::memcpy(&low, &lowBits, sizeof low);
        std::memcpy(&high, &highBits, sizeof high);
        if (std::isnan(low))
            continue; // never looked up: NaN becomes 0 first
        int index = 1;
        while (index < m_steps && low >= m_threshold[size_t(index) + 1])
            ++index;
        m_base[entry] = quint8(index);
        if (index + 1 < m_steps && !std::isnan(high) && high >= m_threshold[size_t(index) + 2])
            m_dense = true;
    }
}

quint8 PowerQuantizer::indexBySearch(float power) const
{
    // Thresholds 2..steps ascend; count those at or below the power.
    const float* first = m_threshold.data() + 2;
    const float* last = m_threshold.data() + m_steps + 1;
    return quint8(1 + (std::upper_bound(first, last, power) - first));
}

void PowerQuantizer::quantize(const float* powers, int count, quint8* indices) const
{
    if (m_dense) {
        for (int k = 0; k < count; ++k)
            indices[k] = indexBySearch(sanitized(powers[k]));
        return;
    }
    for (int k = 0; k < count; ++k)
        indices[k] = indexByTable(sanitized(powers[k]));
}

} // namespace mivo::tilegen
