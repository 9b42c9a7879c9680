// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QString>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace mivo::tilegen {

// Puts what is written into a file system on its disk in the background while more
// is being written, so that the flush before publishing finds little left to do and
// the disk's work overlaps the computation. Flushes the whole file system holding
// the directory (syncfs); where that is not possible, does nothing.
class BackgroundFlusher
{
public:
    explicit BackgroundFlusher(const QString& directory, qint64 bytesPerFlush = qint64(16) << 20);
    // Waits for a flush in progress.
    ~BackgroundFlusher();
    BackgroundFlusher(const BackgroundFlusher&) = delete;
    BackgroundFlusher& operator=(const BackgroundFlusher&) = delete;

    // Thread-safe. After every bytesPerFlush bytes, starts a flush on a thread of its
    // own unless one is running; never waits for one.
    void written(qint64 bytes);

    // Stops the background flushes, then flushes once more and returns when
    // everything written before the call is on the disk.
    void flush();

private:
    void loop();
    void stop();

    int m_fd = -1;
    const qint64 m_bytesPerFlush;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    qint64 m_unflushed = 0;
    bool m_requested = false;
    bool m_stopping = false;
    std::thread m_thread; // started with the first request
};

} // namespace mivo::tilegen
