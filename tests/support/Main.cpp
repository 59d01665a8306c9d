#include <QCoreApplication>
#include <clocale>
#include <cstdlib>

#include <gtest/gtest.h>

#include "support/Sandbox.h"

// Every test process has a home folder and a temporary folder of its own, so that no test sees or touches
// the user's.
int main(int count, char **words)
{
    const auto &home = kestrel::test::home();
    ::setenv("HOME", home.c_str(), 1);
    std::filesystem::create_directories(home / "tmp");
    ::setenv("TMPDIR", (home / "tmp").c_str(), 1);
    ::unsetenv("XDG_CACHE_HOME");
    ::unsetenv("XDG_DATA_HOME");
    ::unsetenv("XDG_CONFIG_HOME");
    const QCoreApplication application(count, words);
    std::setlocale(LC_NUMERIC, "C");
    ::testing::InitGoogleTest(&count, words);
    return RUN_ALL_TESTS();
}
