#include "quality/WorkerPool.h"

#include <algorithm>
#include <utility>

namespace kestrel {

WorkerPool &WorkerPool::shared()
{
    static WorkerPool pool(std::thread::hardware_concurrency());
    return pool;
}

WorkerPool::WorkerPool(unsigned threads)
{
    for (unsigned i = 0; i < std::max(threads, 1U); ++i)
        m_threads.emplace_back([this] { work(); });
}

WorkerPool::~WorkerPool()
{
    {
        const std::scoped_lock guard(m_lock);
        m_isEnding = true;
    }
    m_wake.notify_all();
    for (auto &thread : m_threads)
        thread.join();
}

void WorkerPool::post(std::function<void()> task)
{
    {
        const std::scoped_lock guard(m_lock);
        m_tasks.push_back(std::move(task));
    }
    m_wake.notify_one();
}

void WorkerPool::work()
{
    for (;;) {
        std::function<void()> task;
        {
            std::unique_lock guard(m_lock);
            m_wake.wait(guard, [this] { return m_isEnding || !m_tasks.empty(); });
            if (m_tasks.empty())
                return;
            task = std::move(m_tasks.front());
            m_tasks.pop_front();
        }
        task();
    }
}

} // namespace kestrel
