// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// Reads a recording to its end the way the generator does, checking what each read
// returns.

#include <core/SignalSource.h>

#include <cstdlib>
#include <vector>

namespace fuzz {

/// Reads @p source in blocks of 4096 samples, until its end or past @p limit samples;
/// returns how many it read.
inline qint64 readAllSamples(mivo::tilegen::ISignalSource& source, qint64 limit)
{
    constexpr qint64 block = 4096;
    std::vector<float> samples(2 * block);
    qint64 total = 0;
    while (total < limit) {
        const qint64 n = source.read(samples.data(), block);
        if (n == 0)
            break;
        if (n < 0 || n > block)
            abort();
        total += n;
    }
    return total;
}

} // namespace fuzz
