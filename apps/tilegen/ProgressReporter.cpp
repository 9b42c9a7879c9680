// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "ProgressReporter.h"

#include <QString>

#include <cstdio>

namespace mivo::tilegen {

ProgressReporter::ProgressReporter(bool enabled)
    : m_enabled(enabled)
{
    m_clock.start();
}

void ProgressReporter::update(const TileGeneratorProgress& progress)
{
    if (!m_enabled)
        return;
    const qint64 now = m_clock.elapsed();
    const bool done = progress.framesDone == progress.framesTotal;
    if (now - m_lastPrint < 250 && !done)
        return;
    m_lastPrint = now;
    const double seconds = std::max(now, qint64(1)) / 1000.0;
    const double fraction = progress.framesTotal > 0 ? double(progress.framesDone) / progress.framesTotal : 1.0;
    const double left = fraction > 0 ? seconds / fraction - seconds : 0.0;
    const QString line = QStringLiteral("\r%1 %  %2x real time  %3 tiles (%4/s)  %5 s left   ")
                             .arg(fraction * 100.0, 5, 'f', 1)
                             .arg(progress.signalSecondsDone / seconds, 0, 'f', 1)
                             .arg(progress.tilesWritten)
                             .arg(double(progress.tilesWritten) / seconds, 0, 'f', 0)
                             .arg(left, 0, 'f', 0);
    std::fputs(line.toLocal8Bit().constData(), stderr);
    std::fflush(stderr);
    m_lineOpen = true;
}

void ProgressReporter::finish()
{
    if (m_lineOpen)
        std::fputs("\n", stderr);
    m_lineOpen = false;
}

} // namespace mivo::tilegen
