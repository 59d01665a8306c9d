#pragma once

#include <QCoreApplication>
#include <chrono>
#include <thread>

namespace kestrel::test {

// Lets the event loop work until the condition holds; false when it still does not after 30 seconds.
template <typename Condition>
bool eventually(Condition condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// Lets the event loop work for so long: for what must not happen.
inline void workFor(std::chrono::milliseconds time)
{
    const auto end = std::chrono::steady_clock::now() + time;
    eventually([end] { return std::chrono::steady_clock::now() > end; });
}

} // namespace kestrel::test
