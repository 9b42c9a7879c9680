// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "WorkerPool.h"

#include <algorithm>

namespace mivo::tilegen {

WorkerPool::WorkerPool(int threads)
    : m_backgroundSlots(8 * std::max(1, threads))
{
    for (int i = 1; i < threads; ++i)
        m_threads.emplace_back([this] { workerLoop(); });
}

WorkerPool::~WorkerPool()
{
    waitForBackground();
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stopping = true;
    }
    m_workAvailable.notify_all();
    for (std::thread& thread : m_threads)
        thread.join();
}

void WorkerPool::workerLoop()
{
    for (;;) {
        Task task;
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_workAvailable.wait(lock, [this] { return m_stopping || !m_queue.empty(); });
            if (m_queue.empty())
                return; // stopping
            task = std::move(m_queue.front());
            m_queue.pop_front();
        }
        run(task);
    }
}

void WorkerPool::run(Task& task)
{
    task.work();
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (task.batch)
            --task.batch->unfinished;
        else
            --m_backgroundInUse;
    }
    m_taskFinished.notify_all();
}

template <typename Predicate> void WorkerPool::helpUntil(Predicate done)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!done()) {
        if (m_queue.empty()) {
            m_taskFinished.wait(lock);
            continue;
        }
        Task task = std::move(m_queue.front());
        m_queue.pop_front();
        lock.unlock();
        run(task);
        lock.lock();
    }
}

std::shared_ptr<WorkerPool::Batch> WorkerPool::start(std::vector<std::function<void()>> jobs)
{
    const auto batch = std::make_shared<Batch>();
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        batch->unfinished = int(jobs.size());
        // In front of the background jobs, in their own order.
        for (auto it = jobs.rbegin(); it != jobs.rend(); ++it)
            m_queue.push_front(Task{std::move(*it), batch});
    }
    m_workAvailable.notify_all();
    return batch;
}

void WorkerPool::wait(const std::shared_ptr<Batch>& batch)
{
    helpUntil([&batch] { return batch->unfinished == 0; });
}

void WorkerPool::startBackground(std::function<void()> job)
{
    if (!m_threads.empty()) {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (m_backgroundInUse < m_backgroundSlots) {
            ++m_backgroundInUse;
            m_queue.push_back(Task{std::move(job), nullptr});
            lock.unlock();
            m_workAvailable.notify_one();
            return;
        }
    }
    job();
}

void WorkerPool::cancelQueued()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto background
        = std::stable_partition(m_queue.begin(), m_queue.end(), [](const Task& task) { return task.batch != nullptr; });
    m_backgroundInUse -= int(std::distance(background, m_queue.end()));
    m_queue.erase(background, m_queue.end());
}

void WorkerPool::waitForBackground()
{
    helpUntil([this] { return m_backgroundInUse == 0; });
}

} // namespace mivo::tilegen
