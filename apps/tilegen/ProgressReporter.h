// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "core/TileGenerator.h"

#include <QElapsedTimer>

namespace mivo::tilegen {

// One self-overwriting status line on stderr: percentage, speed against real time,
// tiles per second and the time left. Silent unless enabled (a terminal, no --quiet).
class ProgressReporter
{
public:
    explicit ProgressReporter(bool enabled);

    void update(const TileGeneratorProgress& progress);
    // Ends the status line so that following messages start on a line of their own.
    void finish();

private:
    bool m_enabled;
    bool m_lineOpen = false;
    QElapsedTimer m_clock;
    qint64 m_lastPrint = -1000;
};

} // namespace mivo::tilegen
