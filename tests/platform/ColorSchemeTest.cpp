// Against a real message bus of the test's own, with Debian's mock of the settings portal on it.

#include "platform/ColorScheme.h"

#include <chrono>
#include <cstdlib>
#include <optional>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Buses.h"
#include "support/Eventually.h"

namespace kestrel {
namespace {

using namespace std::chrono_literals;
using test::eventually;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string service = "org.freedesktop.portal.Desktop";
const std::string settings = "org.freedesktop.portal.Settings";

class ColorSchemeTest : public testing::Test {
protected:
    void SetUp() override
    {
        if (buses.problem())
            GTEST_SKIP() << *buses.problem();
    }

    bool serve(const std::string &code)
    {
        return buses.serve("session", service, "/org/freedesktop/portal/desktop", settings,
                           {"'Read', 'ss', 'v', '" + code + "'"});
    }
    void announce(const std::string &group, const std::string &key, const std::string &value) const
    {
        test::shell("dbus-send --bus=" + buses.address("session") +
                    " --type=signal /org/freedesktop/portal/desktop " + settings +
                    ".SettingChanged string:" + group + " string:" + key + " variant:" + value);
    }
    std::function<void(std::optional<bool>)> onChange = [this](auto isDark) { told.push_back(isDark); };

    test::Buses buses;
    std::vector<std::optional<bool>> told; // whether dark
};

// As portals do, in a wrapping of its own inside the answer's.
const std::string dark = "ret = dbus.UInt32(1, variant_level=2)";

TEST_F(ColorSchemeTest, tellsWhatTheDesktopPrefersAndFollowsIt)
{
    ASSERT_TRUE(serve(dark)) << buses.error(service);
    const ColorScheme scheme(onChange);
    ASSERT_TRUE(eventually([&] { return !told.empty(); })) << buses.error(service);
    EXPECT_THAT(told, ElementsAre(true));
    EXPECT_THAT(buses.log(service), testing::HasSubstr("\"org.freedesktop.appearance\" \"color-scheme\""));

    const std::string group = "org.freedesktop.appearance", key = "color-scheme";
    announce(group, key, "uint32:0");
    EXPECT_TRUE(eventually([&] { return told.size() == 2; })) << "no preference is light";
    announce(group, "contrast", "uint32:1");
    announce("org.gnome.desktop.interface", key, "uint32:1");
    announce(group, key, "uint32:2");
    announce(group, key, "uint32:1");
    EXPECT_TRUE(eventually([&] { return told.size() == 3; }));
    announce(group, key, "string:dark");
    announce(group, key, "uint32:1");
    test::workFor(100ms);
    EXPECT_THAT(told, ElementsAre(true, false, true)) << "nothing else, and nothing twice";
}

TEST_F(ColorSchemeTest, neitherWaitsForThePortalNorOutlivesItsOwner)
{
    ASSERT_TRUE(serve("import time; time.sleep(3); " + dark)) << buses.error(service);
    const auto start = std::chrono::steady_clock::now();
    std::optional<ColorScheme> scheme(std::in_place, onChange);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
    ASSERT_TRUE(eventually([&] { return buses.calls(service, "Read") == 1; }));
    scheme.reset();
    test::workFor(3500ms);
    announce("org.freedesktop.appearance", "color-scheme", "uint32:1");
    test::workFor(200ms);
    EXPECT_THAT(told, IsEmpty());

    const ColorScheme next(onChange); // the portal does answer
    EXPECT_TRUE(eventually([&] { return told == std::vector{std::optional(true)}; }));
}

TEST_F(ColorSchemeTest, saysSoWithoutAPortal)
{
    const ColorScheme scheme(onChange);
    EXPECT_TRUE(eventually([&] { return told == std::vector{std::optional<bool>()}; }));
}

TEST(ColorScheme, saysSoWithoutABus)
{
    const test::Sandbox empty;
    ::setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + (empty / "bus").native()).c_str(), 1);
    bool isTold = false;
    const ColorScheme scheme([&](auto isDark) { isTold = !isDark; });
    EXPECT_TRUE(eventually([&] { return isTold; }));
}

} // namespace
} // namespace kestrel
