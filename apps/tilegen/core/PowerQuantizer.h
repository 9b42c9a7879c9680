// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "LevelQuantizer.h"

#include <array>
#include <cstring>
#include <vector>

namespace mivo::tilegen {

// Level indices straight from spectral powers, without a logarithm per bin: the
// index of a power p is that of the level 10 log10(p) + decibelOffset under a
// LevelQuantizer, found by comparing p with the power at which each index begins.
// Those thresholds are worked out once in double precision, so the result is the
// index of the exact level (a float logarithm could land a power on the wrong side
// of a threshold). A table over the float's exponent and top mantissa bits gives
// the index at the lower end of the power's range; one comparison finishes it.
// Zero gives the lowest data index, as silence does; so do NaN and negative powers.
class PowerQuantizer
{
public:
    PowerQuantizer(const LevelQuantizer& levels, double decibelOffset);

    quint8 indexOf(float power) const
    {
        return m_dense ? indexBySearch(sanitized(power)) : indexByTable(sanitized(power));
    }

    // indices[k] = indexOf(powers[k]) for k < count.
    void quantize(const float* powers, int count, quint8* indices) const;

    // The smallest power that gets `index` (2 .. valueSteps); below the first, 1.
    float threshold(int index) const { return m_threshold[size_t(index)]; }

private:
    // Sign, exponent and the top 4 mantissa bits: a power range of a factor 1 + 1/16
    // per entry, less than one index step (1.26 in power with the waterfall's defaults).
    static constexpr int bucketShift = 19;

    // NaN compares false: it becomes 0, the power of silence, as negative powers do.
    static float sanitized(float power) { return power >= 0.0f ? power : 0.0f; }
    quint8 indexByTable(float power) const
    {
        quint32 bits;
        std::memcpy(&bits, &power, sizeof bits);
        const quint8 base = m_base[bits >> bucketShift];
        return quint8(base + (power >= m_threshold[size_t(base) + 1] ? 1 : 0));
    }
    quint8 indexBySearch(float power) const;

    int m_steps;
    bool m_dense = false; // index steps narrower than a table entry: search instead
    // [i] for i in 2..steps: the threshold of index i; [0], [1]: 0; past steps: NaN,
    // which no power reaches.
    std::array<float, 258> m_threshold{};
    std::vector<quint8> m_base; // per table entry, the index at its lower end
};

} // namespace mivo::tilegen
