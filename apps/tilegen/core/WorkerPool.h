// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace mivo::tilegen {

// Runs jobs on `threads` cores: the calling thread plus threads - 1 pool threads. A
// thread that waits (for a batch, or for the background jobs) runs queued jobs in the
// meantime, so that no core idles while work is queued. With one thread everything
// runs on the calling thread: a batch's jobs in order when it is waited for,
// background jobs at once.
//
// Built on std::thread, std::mutex and std::condition_variable so that every hand-over
// between threads is one ThreadSanitizer can check.
class WorkerPool
{
public:
    // Jobs started together; the handle to wait for them.
    struct Batch
    {
        int unfinished = 0;
    };

    explicit WorkerPool(int threads);
    // Waits for the background jobs, then stops the pool threads.
    ~WorkerPool();
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    int threadCount() const { return int(m_threads.size()) + 1; }

    // Queues the jobs, in their order, ahead of the background jobs and returns at
    // once. What the jobs use must stay valid until wait() for the batch returns.
    std::shared_ptr<Batch> start(std::vector<std::function<void()>> jobs);
    // Returns when every job of `batch` is done, running queued jobs meanwhile.
    void wait(const std::shared_ptr<Batch>& batch);
    // start() and wait().
    void runAll(std::vector<std::function<void()>> jobs) { wait(start(std::move(jobs))); }

    // Starts a job that may run while the caller goes on. At most 8 per thread wait or
    // run at a time; beyond that the job runs on the calling thread at once, so a
    // producer that outpaces the pool does the work itself instead of waiting idle.
    void startBackground(std::function<void()> job);

    // Drops background jobs that have not started.
    void cancelQueued();
    // Returns when no background job waits or runs, running queued jobs meanwhile.
    void waitForBackground();

private:
    struct Task
    {
        std::function<void()> work;
        std::shared_ptr<Batch> batch; // null for background jobs
    };

    void workerLoop();
    void run(Task& task);
    // Runs queued tasks on the calling thread until `done` holds.
    template <typename Predicate> void helpUntil(Predicate done);

    const int m_backgroundSlots;
    std::mutex m_mutex;
    std::condition_variable m_workAvailable;
    std::condition_variable m_taskFinished;
    std::deque<Task> m_queue;
    int m_backgroundInUse = 0; // waiting or running
    bool m_stopping = false;
    std::vector<std::thread> m_threads;
};

} // namespace mivo::tilegen
