#pragma once

#include <functional>

namespace kestrel::test {

// Runs an action in a process of its own and kills that (SIGKILL) right before its n-th system call that
// changes files, counted from 0. Returns false when the action ended before it got so far.
bool killedBeforeChange(int n, const std::function<void()> &action);

// The same, but instead of the kill `meanwhile` runs right before that call, and the action continues to its
// end.
bool interruptedBeforeChange(int n, const std::function<void()> &action,
                             const std::function<void()> &meanwhile);

// The same, but the call is done and answers with an I/O error, as where a server's answer gets lost.
bool deniedAfterChange(int n, const std::function<void()> &action);

} // namespace kestrel::test
