// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cmath>
#include <cstdint>
#include <random>

namespace mivo::synth {

// A seeded generator whose sequence is fixed by the C++ standard (mt19937_64) and
// whose conversions are our own: std's distributions may differ between library
// implementations, and the same seed must give the same recording everywhere.
class SynthRandom
{
public:
    explicit SynthRandom(std::uint64_t seed)
        : m_engine(seed)
    {
    }

    // Uniform in [0, 1).
    double uniform() { return double(m_engine() >> 11) * 0x1.0p-53; }
    double uniform(double low, double high) { return low + (high - low) * uniform(); }
    int integer(int low, int highInclusive) { return low + int(uniform() * (highInclusive - low + 1)); }
    bool bit() { return (m_engine() >> 63) != 0; }

    // Standard normal (Box-Muller; the second value is kept for the next call).
    double normal()
    {
        if (m_hasSpare) {
            m_hasSpare = false;
            return m_spare;
        }
        const double u1 = 1.0 - uniform(); // (0, 1]
        const double u2 = uniform();
        const double radius = std::sqrt(-2.0 * std::log(u1));
        m_spare = radius * std::sin(2.0 * M_PI * u2);
        m_hasSpare = true;
        return radius * std::cos(2.0 * M_PI * u2);
    }

private:
    std::mt19937_64 m_engine;
    double m_spare = 0.0;
    bool m_hasSpare = false;
};

} // namespace mivo::synth
