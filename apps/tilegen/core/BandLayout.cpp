// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "BandLayout.h"

#include "SpectrumAnalyzer.h"

#include <algorithm>
#include <limits>

namespace mivo::tilegen {

BandLayout BandLayout::of(const SignalInfo& info, int fftSize, const AxisGrid& xGrid)
{
    BandLayout layout;
    const int bins = SpectrumAnalyzer::binCount(fftSize, info.complex);
    layout.columnOf.assign(size_t(bins), -1);
    layout.firstColumn = std::numeric_limits<qint64>::max();
    for (int k = 0; k < bins; ++k) {
        const double frequency = info.complex
            ? info.centerFrequency + double(k - fftSize / 2) * info.sampleRate / fftSize
            : double(k) * info.sampleRate / fftSize;
        if (frequency < 0) {
            ++layout.droppedBins;
            continue;
        }
        const qint64 column = xGrid.pixelOf(frequency);
        layout.columnOf[size_t(k)] = column;
        layout.firstColumn = std::min(layout.firstColumn, column);
        layout.lastColumn = std::max(layout.lastColumn, column);
    }
    layout.low = info.complex ? std::max(0.0, info.centerFrequency - info.sampleRate / 2) : 0.0;
    layout.high = info.complex ? info.centerFrequency + info.sampleRate / 2 : info.sampleRate / 2;
    return layout;
}

} // namespace mivo::tilegen
