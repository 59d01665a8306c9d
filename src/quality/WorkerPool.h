#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace kestrel {

// Runs tasks on a fixed number of threads, in the order of posting. May be used by any thread.
class WorkerPool {
public:
    // Returns the pool of the process: one thread for each core, whatever number of films is scored at once.
    // Its threads start with the first use.
    static WorkerPool &shared();

    explicit WorkerPool(unsigned threads); // REQUIRES: at least one
    // Runs the tasks that are still queued.
    ~WorkerPool();
    WorkerPool(const WorkerPool &) = delete;
    WorkerPool &operator=(const WorkerPool &) = delete;

    unsigned size() const { return static_cast<unsigned>(m_threads.size()); }
    // REQUIRES: `task` does not throw.
    void post(std::function<void()> task);

private:
    void work();

    // Guarded by m_lock.
    std::mutex m_lock;
    std::condition_variable m_wake;
    std::deque<std::function<void()>> m_tasks;
    bool m_isEnding = false;

    std::vector<std::thread> m_threads;
};

} // namespace kestrel
