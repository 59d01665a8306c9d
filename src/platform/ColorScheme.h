#pragma once

#include <functional>
#include <memory>
#include <optional>

namespace kestrel {

// Follows the desktop's choice between light and dark, as its settings portal reports it. Does not block;
// replies come through the main thread's event loop. REQUIRES: the main thread.
class ColorScheme {
public:
    // Calls `onChange` with the first reply and with every change after it, as long as the object lives. A
    // desktop without a preference counts as light; an absent value means that no portal reports it.
    explicit ColorScheme(std::function<void(std::optional<bool> isDark)> onChange);
    ~ColorScheme();

private:
    class Listener;
    std::unique_ptr<Listener> m_listener;
};

} // namespace kestrel
