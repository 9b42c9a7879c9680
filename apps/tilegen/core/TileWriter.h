// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TileKey.h"
#include <common/Error.h>

#include <QImage>

#include <atomic>
#include <mutex>
#include <optional>

namespace mivo::tilegen {

class SourcePublisher;
class TileEncoder;
class WorkerPool;

// Encodes tiles and writes them through a SourcePublisher as background jobs of a
// WorkerPool, so that the thread that builds the pyramid goes on at once. The first
// failure of any job is kept and rethrown by rethrowFailure(); once a job has failed,
// the jobs still to come skip their work.
//
// Does not take ownership of the pool, encoder or publisher, which must outlive the
// writer. Its destructor waits for the pool's background jobs, since they use it.
class TileWriter
{
public:
    TileWriter(WorkerPool& workers, const TileEncoder& encoder, SourcePublisher& publisher);
    ~TileWriter();
    TileWriter(const TileWriter&) = delete;
    TileWriter& operator=(const TileWriter&) = delete;

    // Starts encoding and writing `tile` (Indexed8; shared, not copied) under `key`.
    void write(const TileKey& key, const QImage& tile);

    // Tiles written so far; a tile counts once its file is written.
    quint64 tilesWritten() const { return m_tilesWritten; }
    bool failed() const { return m_failed; }
    // Throws the first failure of a job, if any.
    void rethrowFailure() const;

private:
    void capture(const apps::Error& error);

    WorkerPool& m_workers;
    const TileEncoder& m_encoder;
    SourcePublisher& m_publisher;
    std::atomic<quint64> m_tilesWritten{0};
    std::atomic<bool> m_failed{false};
    mutable std::mutex m_mutex;
    std::optional<apps::Error> m_error;
};

} // namespace mivo::tilegen
