#include "encoding/CurrentRunner.h"

#include <utility>

#include "platform/OnExit.h"

namespace kestrel {

int CurrentRunner::run(FFmpegRunner &runner, std::stop_token stop)
{
    {
        const std::scoped_lock guard(m_lock);
        m_runners.push_back(&runner);
    }
    const auto forget = onExit([&] {
        const std::scoped_lock guard(m_lock);
        std::erase(m_runners, &runner);
    });
    return runner.run(std::move(stop), [&] {
        const std::scoped_lock guard(m_lock);
        if (m_suspendedSince)
            runner.suspend();
    });
}

void CurrentRunner::suspend()
{
    const std::scoped_lock guard(m_lock);
    if (!m_suspendedSince)
        m_suspendedSince = Clock::now();
    for (FFmpegRunner *runner : m_runners)
        runner->suspend();
}

void CurrentRunner::resume()
{
    const std::scoped_lock guard(m_lock);
    if (const auto since = std::exchange(m_suspendedSince, std::nullopt))
        m_suspended += Clock::now() - *since;
    for (FFmpegRunner *runner : m_runners)
        runner->resume();
}

double CurrentRunner::suspendedSeconds() const
{
    const std::scoped_lock guard(m_lock);
    auto all = m_suspended;
    if (m_suspendedSince)
        all += Clock::now() - *m_suspendedSince;
    return all.count();
}

} // namespace kestrel
