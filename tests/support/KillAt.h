#pragma once

#include <functional>

namespace kestrel::test {

// Runs an action in a process of its own and kills that (SIGKILL) right before its n-th system call that
// changes files, counted from 0. Returns false when the action ended before it got so far.
bool killedBeforeChange(int n, const std::function<void()> &action);

} // namespace kestrel::test
