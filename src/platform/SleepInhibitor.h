#pragma once

#include <functional>
#include <memory>
#include <string>

namespace kestrel {

// Keeps the computer from falling asleep by itself; the display may turn off. Asks the session manager,
// else the power manager, else the login manager, over D-Bus and without waiting: the answers come through
// the main thread's event loop. The hold ends with the object, and with the process however that ends.
// REQUIRES: the main thread.
class SleepInhibitor {
public:
    // `onRefused` is called once where none of them grants the wish.
    explicit SleepInhibitor(std::function<void()> onRefused);
    ~SleepInhibitor();

    // Does nothing while it is held already. The reason is shown by the desktop.
    void hold(const std::string &reason);
    void release();
    bool isWanted() const;
    bool isGranted() const;

private:
    class Asking;
    std::unique_ptr<Asking> m_asking;
};

} // namespace kestrel
