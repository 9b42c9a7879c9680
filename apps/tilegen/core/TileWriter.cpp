// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "TileWriter.h"

#include "SourcePublisher.h"
#include "TileEncoder.h"
#include "WorkerPool.h"

namespace mivo::tilegen {

TileWriter::TileWriter(WorkerPool& workers, const TileEncoder& encoder, SourcePublisher& publisher)
    : m_workers(workers)
    , m_encoder(encoder)
    , m_publisher(publisher)
{
}

TileWriter::~TileWriter()
{
    m_workers.waitForBackground();
}

void TileWriter::write(const TileKey& key, const QImage& tile)
{
    m_workers.startBackground([this, key, tile] {
        if (m_failed)
            return;
        try {
            m_publisher.writeTile(key, m_encoder.encode(tile));
            ++m_tilesWritten;
        } catch (const apps::Error& error) {
            capture(error);
        } catch (const std::exception& error) {
            capture(apps::Error(m_publisher.stagingDirectory(), QString::fromLocal8Bit(error.what())));
        }
    });
}

void TileWriter::capture(const apps::Error& error)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_error)
        m_error = error;
    m_failed = true;
}

void TileWriter::rethrowFailure() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_error)
        throw *m_error;
}

} // namespace mivo::tilegen
