#include <QApplication>
#include <clocale>
#include <cstdlib>
#include <fstream>

#include <gtest/gtest.h>

#include "support/Sandbox.h"
#include "ui/look/Theme.h"

namespace {

// Qt's own screen that nobody sees is 800 pixels wide, and newer Qt fits a remembered window into its screen.
std::string largeScreen()
{
    const auto file = kestrel::test::home() / "screen.json";
    std::ofstream(file) << R"({"screens": [{"name": "large", "x": 0, "y": 0, "width": 1920, "height": 1080,
                                           "logicalDpi": 96, "logicalBaseDpi": 96, "dpr": 1}]})";
    return "offscreen:configfile=" + file.native();
}

} // namespace

// With windows, which need no screen, in the light theme, and without the user's desktop around them.
int main(int count, char **words)
{
    kestrel::test::useOwnHome();
    ::setenv("QT_QPA_PLATFORM", largeScreen().c_str(), 0);
    for (const char *bus : {"DBUS_SESSION_BUS_ADDRESS", "DBUS_SYSTEM_BUS_ADDRESS"})
        ::setenv(bus, "disabled:", 1);
    QApplication application(count, words);
    std::setlocale(LC_NUMERIC, "C");
    kestrel::Theme::apply(application, false);
    ::testing::InitGoogleTest(&count, words);
    return RUN_ALL_TESTS();
}
