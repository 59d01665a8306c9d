// On a real message bus of the test's own, with an ear on it.

#include "platform/Launcher.h"

#include <cstdlib>
#include <regex>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Buses.h"
#include "support/Eventually.h"

namespace kestrel {
namespace {

using test::eventually;
using testing::HasSubstr;

// What is heard on the bus, one message a line.
class Ear {
public:
    explicit Ear(const test::Buses &buses)
    {
        test::shell("dbus-monitor --address " + buses.address("session") +
                    " \"interface='com.canonical.Unity.LauncherEntry'\" > " + test::quoted(m_file) +
                    " 2> /dev/null &");
    }
    bool isListening() const { return heard().find("NameLost") != std::string::npos; }
    // The last message, with single blanks; empty before message `number`.
    std::string message(std::size_t number) const
    {
        const std::string text = heard();
        std::size_t at = 0, count = 0;
        for (std::size_t next = 0; (next = text.find("member=Update", next)) != std::string::npos; ++count)
            at = next++;
        return count == number && text.ends_with("]\n")
                   ? std::regex_replace(text.substr(at), std::regex("\\s+"), " ")
                   : "";
    }

private:
    std::string heard() const { return test::readFile(m_file); }

    test::Sandbox m_sandbox;
    std::filesystem::path m_file = m_sandbox / "heard";
};

TEST(Launcher, drawsTheProgressOnTheIcon)
{
    const test::Buses buses;
    if (buses.problem())
        GTEST_SKIP() << *buses.problem();
    const Ear ear(buses);
    ASSERT_TRUE(eventually([&] { return ear.isListening(); }));

    struct Case {
        std::optional<std::string> text;
        std::string progress, isVisible;
    };
    const std::vector<Case> cases{
        {"0 %", "0", "true"},         {"43 %", "0.43", "true"}, {"100 %", "1", "true"},
        {std::nullopt, "0", "false"}, {"120 %", "1", "true"},   {"bald", "0", "false"},
        {"3 Dateien", "0", "false"},
    };
    std::size_t number = 0;
    for (const auto &[text, progress, isVisible] : cases) {
        Launcher::setBadge(text);
        ++number;
        EXPECT_TRUE(eventually([&] { return !ear.message(number).empty(); })) << text.value_or("none");
        const std::string message = ear.message(number);
        EXPECT_THAT(message, HasSubstr("string \"application://app.kestrel.Kestrel.desktop\""));
        EXPECT_THAT(message, HasSubstr("string \"progress\" variant double " + progress + " )"));
        EXPECT_THAT(message, HasSubstr("string \"progress-visible\" variant boolean " + isVisible));
        EXPECT_THAT(message, HasSubstr("string \"count-visible\" variant boolean false"));
    }
}

TEST(Launcher, doesNothingWithoutABus)
{
    const test::Sandbox empty;
    ::setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + (empty / "bus").native()).c_str(), 1);
    testing::internal::CaptureStderr();
    Launcher::setBadge("43 %");
    Launcher::setBadge(std::nullopt);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace
} // namespace kestrel
