#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace mivo::tilegen {

// Runs jobs on `threads` cores: the calling thread plus threads - 1 pool threads. With
// one thread everything runs inline, in order.
//
// Built on std::thread, std::mutex and std::condition_variable so that every hand-over
// between threads is one ThreadSanitizer can check.
class WorkerPool
{
public:
    explicit WorkerPool(int threads);
    // Waits for the background jobs, then stops the pool threads.
    ~WorkerPool();
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    int threadCount() const { return int(m_threads.size()) + 1; }

    // Runs all jobs and returns when they are done. Job 0 runs on the calling thread,
    // the others go ahead of queued background jobs; those the pool has not started
    // by the time job 0 is done are taken back and run on the calling thread too.
    void runAll(const std::vector<std::function<void()>>& jobs);

    // Starts a job that may run while the caller goes on. At most 4 per thread wait or
    // run at a time; beyond that the job runs on the calling thread at once, so a
    // producer that outpaces the pool does the work itself instead of waiting idle.
    void startBackground(std::function<void()> job);

    // Drops background jobs that have not started.
    void cancelQueued();
    // Returns when no background job waits or runs.
    void waitForBackground();

private:
    struct Batch
    {
        int unfinished = 0;
    };
    struct Task
    {
        std::function<void()> work;
        std::shared_ptr<Batch> batch; // null for background jobs
    };

    void workerLoop();
    void finished(const Task& task);

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
