// Against a real message bus of the test's own, with Debian's mock of a file manager on it, and a stand-in of
// xdg-open.

#include "platform/FileManager.h"

#include <chrono>
#include <cstdlib>
#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/Signals.h"
#include "support/Buses.h"
#include "support/Eventually.h"

namespace kestrel {
namespace {

using test::eventually;
using testing::HasSubstr;

const std::string service = "org.freedesktop.FileManager1";
const std::string showItems = "'ShowItems', 'ass', '', ";

class FileManagerTest : public testing::Test {
protected:
    void SetUp() override
    {
        if (buses.problem())
            GTEST_SKIP() << *buses.problem();
        const auto script =
            programs.write("xdg-open", "#!/bin/sh\n/bin/grep SigBlk /proc/self/status > " +
                                           test::quoted(sandbox / "blocked") + "\necho \"$#: $*\" > " +
                                           test::quoted(sandbox / "opened") + "\n");
        std::filesystem::permissions(script, std::filesystem::perms::owner_all);
        ::setenv("PATH", programs.path().c_str(), 1);
    }

    bool serve(const std::string &code)
    {
        return buses.serve("session", service, "/org/freedesktop/FileManager1", service,
                           {showItems + "'" + code + "'"});
    }
    bool isOpened(const std::string &uri)
    {
        return eventually([&] { return test::readFile(sandbox / "opened") == "1: " + uri + "\n"; });
    }

    test::Buses buses;
    test::Sandbox sandbox, programs;
    std::optional<bool> isTaken;
    FileManager::OnAnswer onAnswer = [this](bool answer) { isTaken = answer; };
};

TEST_F(FileManagerTest, showsAFileWhateverItsName)
{
    ASSERT_TRUE(serve("")) << buses.error(service);
    FileManager::reveal("/Filme/100% Über/./b\xff#?;+&.mkv", onAnswer);
    ASSERT_TRUE(eventually([&] { return isTaken; }));
    EXPECT_TRUE(*isTaken);
    EXPECT_THAT(buses.log(service),
                HasSubstr("ShowItems [\"file:///Filme/100%25%20%C3%9Cber/b%FF%23%3F%3B%2B%26.mkv\"] \"\"\n"));
    EXPECT_FALSE(std::filesystem::exists(sandbox / "opened"));
}

TEST_F(FileManagerTest, opensTheFolderWhereThereIsNoFileManager)
{
    FileManager::reveal("/Filme \xff/a.mkv", onAnswer);
    EXPECT_TRUE(isOpened("file:///Filme%20%FF"));
    EXPECT_TRUE(eventually([&] { return isTaken == true; }));
}

TEST_F(FileManagerTest, opensTheFolderWhereTheFileManagerDoesNotAnswer)
{
    ASSERT_TRUE(serve("import time; time.sleep(30)")) << buses.error(service);
    const auto start = std::chrono::steady_clock::now();
    FileManager::reveal("/Filme/a.mkv", onAnswer);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2)) << "nobody waits for it";
    EXPECT_EQ(isTaken, std::nullopt);
    EXPECT_TRUE(isOpened("file:///Filme"));
    EXPECT_TRUE(eventually([&] { return isTaken == true; }));
}

TEST_F(FileManagerTest, opensFilesAndFolders)
{
    const Signals blocking; // a player, say, must not have them blocked
    FileManager::open("/Filme/Ein Film.mkv", onAnswer);
    EXPECT_TRUE(eventually([&] { return isTaken == true; }));
    EXPECT_TRUE(isOpened("file:///Filme/Ein%20Film.mkv"));
    EXPECT_EQ(test::readFile(sandbox / "blocked"), "SigBlk:\t0000000000000000\n");
    FileManager::open("/");
    EXPECT_TRUE(isOpened("file:///"));

    isTaken.reset();
    programs.write("xdg-open", "#!/bin/sh\nexit 3\n"); // as where no program is there for such files
    FileManager::open("/Filme/Ein Film.mkv", onAnswer);
    EXPECT_TRUE(eventually([&] { return isTaken == false; }));
}

TEST(FileManager, saysWhenNothingTakesAFile)
{
    const test::Sandbox empty;
    ::setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + (empty / "bus").native()).c_str(), 1);
    ::setenv("PATH", empty.path().c_str(), 1);
    std::optional<bool> isTaken;
    FileManager::reveal("/Filme/a.mkv"); // by those who do not care
    FileManager::reveal("/Filme/a.mkv", [&](bool answer) { isTaken = answer; });
    EXPECT_TRUE(eventually([&] { return isTaken == false; }));
    test::workFor(std::chrono::milliseconds(100)); // until both are gone
}

} // namespace
} // namespace kestrel
