#pragma once

#include <functional>
#include <memory>
#include <string>

namespace kestrel {

// Keeps the computer from suspending by itself; the display may turn off. Asks the session manager, else the
// power manager, else the login manager, over D-Bus and without blocking: the replies come through the main
// thread's event loop. The hold ends with the object, and with the process however that ends. REQUIRES: the
// main thread.
class SleepInhibitor {
public:
    // `onRefused` is called once when none of them grants the wish.
    explicit SleepInhibitor(std::function<void()> onRefused);
    ~SleepInhibitor();

    // Does nothing while it is held already. The desktop shows the reason.
    void hold(const std::string &reason);
    void release();
    bool isWanted() const;
    bool isGranted() const;

private:
    class Asking;
    std::unique_ptr<Asking> m_asking;
};

} // namespace kestrel
