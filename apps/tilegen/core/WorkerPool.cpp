#include "WorkerPool.h"

#include <algorithm>

namespace mivo::tilegen {

WorkerPool::WorkerPool(int threads)
    : m_backgroundSlots(4 * std::max(1, threads))
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
        task.work();
        finished(task);
    }
}

void WorkerPool::finished(const Task& task)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (task.batch)
            --task.batch->unfinished;
        else
            --m_backgroundInUse;
    }
    m_taskFinished.notify_all();
}

void WorkerPool::runAll(const std::vector<std::function<void()>>& jobs)
{
    if (m_threads.empty() || jobs.size() <= 1) {
        for (const auto& job : jobs)
            job();
        return;
    }
    const auto batch = std::make_shared<Batch>();
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        batch->unfinished = int(jobs.size()) - 1;
        // In front of the background jobs, in their own order.
        for (std::size_t i = jobs.size() - 1; i >= 1; --i)
            m_queue.push_front(Task{jobs[i], batch});
    }
    m_workAvailable.notify_all();
    jobs.front()();

    // Take back what nobody has started.
    std::vector<Task> takenBack;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        for (auto it = m_queue.begin(); it != m_queue.end();) {
            if (it->batch == batch) {
                takenBack.push_back(std::move(*it));
                it = m_queue.erase(it);
            } else {
                ++it;
            }
        }
    }
    for (const Task& task : takenBack) {
        task.work();
        finished(task);
    }
    std::unique_lock<std::mutex> lock(m_mutex);
    m_taskFinished.wait(lock, [&batch] { return batch->unfinished == 0; });
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
    const auto background = std::stable_partition(m_queue.begin(), m_queue.end(),
                                                  [](const Task& task) { return task.batch != nullptr; });
    m_backgroundInUse -= int(std::distance(background, m_queue.end()));
    m_queue.erase(background, m_queue.end());
}

void WorkerPool::waitForBackground()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_taskFinished.wait(lock, [this] { return m_backgroundInUse == 0; });
}

} // namespace mivo::tilegen
