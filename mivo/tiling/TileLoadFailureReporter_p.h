// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/tiling/TileId.h>
#include <mivo/tiling/TileLoadFailure.h>

#include <QObject>

namespace mivo::tiling {

/**
 * Carries a worker's failure reasons to the loader. It lives in the worker's thread
 * (a child of the TileLoaderThread), so that the worker's own meta methods stay the
 * two signals and four slots the loader's queued calls rely on. The loader connects
 * si_tileLoadFailedBecause() to its own signal of that name; being emitted before the
 * worker's si_tileLoadFailed() for the same tile, and queued into the same receiver,
 * it arrives first.
 */
class TileLoadFailureReporter : public QObject
{
    Q_OBJECT

public:
    explicit TileLoadFailureReporter(QObject* parent)
        : QObject(parent)
    {
    }

Q_SIGNALS:
    void si_tileLoadFailedBecause(const mivo::tiling::TileId& tileId, const mivo::tiling::TileLoadFailure& failure);

private:
    Q_DISABLE_COPY(TileLoadFailureReporter)
};

} // namespace mivo::tiling
