// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "BackgroundFlusher.h"

#include <QFile>

#include <fcntl.h>
#include <unistd.h>

namespace mivo::tilegen {

BackgroundFlusher::BackgroundFlusher(const QString& directory, qint64 bytesPerFlush)
    : m_fd(::open(QFile::encodeName(directory).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
    , m_bytesPerFlush(bytesPerFlush)
{
}

BackgroundFlusher::~BackgroundFlusher()
{
    stop();
    if (m_fd >= 0)
        ::close(m_fd);
}

void BackgroundFlusher::written(qint64 bytes)
{
    if (m_fd < 0)
        return;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_unflushed += bytes;
        if (m_stopping || m_requested || m_unflushed < m_bytesPerFlush)
            return;
        m_unflushed = 0;
        m_requested = true;
        if (!m_thread.joinable())
            m_thread = std::thread([this] { loop(); });
    }
    m_wake.notify_one();
}

void BackgroundFlusher::loop()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [this] { return m_requested || m_stopping; });
        if (m_stopping)
            return;
        lock.unlock();
        ::syncfs(m_fd);
        lock.lock();
        m_requested = false;
    }
}

void BackgroundFlusher::stop()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_one();
    if (m_thread.joinable())
        m_thread.join();
}

void BackgroundFlusher::flush()
{
    stop();
    if (m_fd >= 0)
        ::syncfs(m_fd);
}

} // namespace mivo::tilegen
