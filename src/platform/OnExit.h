#pragma once

#include <utility>

namespace kestrel {

// Runs an action when the scope is left, on every path. REQUIRES: the action does not throw.
template <typename Action>
class OnExit {
public:
    explicit OnExit(Action action) : m_action(std::move(action)) {}
    OnExit(const OnExit &) = delete;
    OnExit &operator=(const OnExit &) = delete;
    ~OnExit() { m_action(); }

private:
    Action m_action;
};

template <typename Action>
[[nodiscard]] OnExit<Action> onExit(Action action)
{
    return OnExit<Action>(std::move(action));
}

} // namespace kestrel
