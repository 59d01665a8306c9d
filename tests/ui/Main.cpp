#include <QApplication>
#include <clocale>
#include <cstdlib>

#include <gtest/gtest.h>

#include "support/OwnHome.h"
#include "ui/look/Theme.h"

// With windows, which need no screen, in the light theme, and without the user's desktop around them.
int main(int count, char **words)
{
    kestrel::test::useOwnHome();
    ::setenv("QT_QPA_PLATFORM", "offscreen", 0);
    for (const char *bus : {"DBUS_SESSION_BUS_ADDRESS", "DBUS_SYSTEM_BUS_ADDRESS"})
        ::setenv(bus, "disabled:", 1);
    QApplication application(count, words);
    std::setlocale(LC_NUMERIC, "C");
    kestrel::Theme::apply(application, false);
    ::testing::InitGoogleTest(&count, words);
    return RUN_ALL_TESTS();
}
