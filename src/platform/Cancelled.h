#pragma once

#include <exception>
#include <stop_token>

namespace kestrel {

// Thrown by work that was asked to stop. It is never shown to the user.
class Cancelled : public std::exception {
public:
    const char *what() const noexcept override { return "cancelled"; }
};

inline void throwIfStopped(const std::stop_token &stop)
{
    if (stop.stop_requested())
        throw Cancelled();
}

} // namespace kestrel
