#pragma once

#include <functional>
#include <string>

#include "support/Sandbox.h"

#include <sys/types.h>
#include <unistd.h>

namespace kestrel::test {

// Somebody without privileges, who owns nothing unless a test gives it to them.
constexpr uid_t ordinaryUser = 54321;

// Runs an action as that user in a process of its own, and returns what it returned, or what it threw.
// REQUIRES: the test runs as root.
std::string asOrdinaryUser(const std::function<std::string()> &action);

// Lets everybody get to the folder; test folders are otherwise their maker's alone.
void openWayTo(const fs::path &folder);

} // namespace kestrel::test

#define SKIP_UNLESS_ROOT()                                                                                   \
    if (::geteuid() != 0)                                                                                    \
    GTEST_SKIP() << "only root can act as another user"
