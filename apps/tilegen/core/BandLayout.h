// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "AxisGrid.h"
#include "SignalSource.h"

#include <vector>

namespace mivo::tilegen {

// Where the FFT bins of a recording land on the frequency grid. Bin k stands for its
// centre frequency: complex centre + (k - fftSize/2) * fs / fftSize, real
// k * fs / fftSize. Bins below 0 Hz cannot be shown and get no column.
struct BandLayout
{
    std::vector<qint64> columnOf; // level-0 column of each bin; -1: below 0 Hz
    int droppedBins = 0; // bins below 0 Hz
    qint64 firstColumn = 0; // the band's level-0 columns (only when some bin is kept)
    qint64 lastColumn = -1;
    double low = 0.0; // the band in Hz as the extents give it: complex
    double high = 0.0; // centre -+ fs/2 with the lower edge raised to 0, real 0 .. fs/2

    static BandLayout of(const SignalInfo& info, int fftSize, const AxisGrid& xGrid);

    bool empty() const { return lastColumn < firstColumn; }
};

} // namespace mivo::tilegen
