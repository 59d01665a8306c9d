#include "cli/Arguments.h"

#include <filesystem>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Sandbox.h"

namespace kestrel::test {
namespace {

using Command = Arguments::Command;

Arguments parse(std::vector<const char *> words)
{
    words.insert(words.begin(), "kestrel");
    return parseArguments(static_cast<int>(words.size()), words.data());
}

class ArgumentsTest : public testing::Test {
protected:
    ArgumentsTest() { fs::current_path(sandbox.path()); }
    ~ArgumentsTest() override { fs::current_path("/"); }

    Sandbox sandbox;
};

TEST_F(ArgumentsTest, aFolderOrNothingAtAllOpensTheWindow)
{
    fs::create_directories(sandbox / "Filme/plan");
    struct Case {
        std::vector<const char *> words;
        fs::path folder;
        bool usesTestSuite;
    };
    const std::vector<Case> cases{
        {{}, {}, false},
        {{"Filme"}, sandbox / "Filme", false},
        {{"./Filme/../Filme/"}, sandbox / "Filme", false},
        {{"."}, sandbox.path(), false},
        {{"Filme/plan"}, sandbox / "Filme/plan", false},
        {{"/"}, "/", false},
        {{"-openFolder", "Filme"}, sandbox / "Filme", true},
        {{"--openFolder", "noch nicht da"}, sandbox / "noch nicht da", true},
    };
    for (const auto &[words, folder, usesTestSuite] : cases) {
        const Arguments arguments = parse(words);
        EXPECT_EQ(arguments.command, Command::window) << folder;
        EXPECT_EQ(arguments.folder.native(), folder.native());
        EXPECT_EQ(arguments.usesTestSuite, usesTestSuite) << folder;
    }
}

TEST_F(ArgumentsTest, aCommandGoesBeforeAFolderOfThatName)
{
    fs::create_directory(sandbox / "doctor");
    EXPECT_EQ(parse({"doctor"}).command, Command::doctor);
    EXPECT_EQ(parse({"./doctor"}).command, Command::window);
}

TEST_F(ArgumentsTest, aDemonstrationHasItsFolders)
{
    const Arguments light = parse({"--demo", "Filme", "--snapshots", "Bilder"});
    EXPECT_EQ(light.command, Command::demo);
    EXPECT_EQ(light.folder, sandbox / "Filme");
    EXPECT_EQ(light.snapshots, sandbox / "Bilder");
    EXPECT_FALSE(light.isDark);
    EXPECT_TRUE(parse({"--demo", "Filme", "--dark", "--snapshots", "Bilder"}).isDark);
}

TEST_F(ArgumentsTest, measuringIsDecidedHereOrByTheStoredSetting)
{
    for (const char *command : {"plan", "convert", "measure", "clip"}) {
        EXPECT_EQ(parse({command, "x", "--measure"}).measuresQuality, true) << command;
        EXPECT_EQ(parse({command, "x", "--no-measure"}).measuresQuality, false) << command;
        EXPECT_EQ(parse({command, "x"}).measuresQuality, std::nullopt) << command;
    }
}

} // namespace
} // namespace kestrel::test
