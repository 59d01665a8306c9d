#include "cli/Interrupt.h"

#include <chrono>
#include <utility>

namespace kestrel {

namespace {

constexpr std::chrono::milliseconds patience{500}; // while the event loop is busy with something else

} // namespace

Interrupt::Interrupt() : m_signals([this] { askToSuspend(); })
{
    Signals::ignoreBrokenPipes();
    m_signals.setOnEnd([this] { m_stop.request_stop(); });
}

void Interrupt::askToSuspend()
{
    std::unique_lock guard(m_lock);
    if (m_onSuspend) {
        m_isAsked = true;
        m_onSuspend();
        m_answered.wait_for(guard, patience, [this] { return !m_isAsked; });
        if (!std::exchange(m_isAsked, false))
            return;
    }
    // Freezes everything at once, because the shell waits for it. An ffmpeg runs on, and waits when its pipe
    // is full.
    Signals::freeze();
}

void Interrupt::suspend(const std::function<void()> &before, const std::function<void()> &after)
{
    {
        const std::scoped_lock guard(m_lock);
        if (!std::exchange(m_isAsked, false))
            return;
        m_answered.notify_all();
    }
    before();
    Signals::suspend();
    after();
}

void Interrupt::setOnSuspend(std::function<void()> action)
{
    const std::scoped_lock guard(m_lock);
    m_onSuspend = std::move(action);
}

} // namespace kestrel
