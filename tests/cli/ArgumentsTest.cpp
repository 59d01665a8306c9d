#include "cli/Arguments.h"

#include <gmock/gmock.h>

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

TEST_F(ArgumentsTest, aFolderOrNothingAtAllOpensTheWindowUnlessItIsCalledLikeACommand)
{
    fs::create_directories(sandbox / "Filme/plan");
    fs::create_directory(sandbox / "doctor");
    struct Case {
        std::vector<const char *> words;
        Command command;
        fs::path folder;
        bool usesTestSuite = false;
    };
    for (const auto &[words, command, folder, usesTestSuite] : std::vector<Case>{
             {{}, Command::window, {}},
             {{"Filme"}, Command::window, sandbox / "Filme"},
             {{"./Filme/../Filme/"}, Command::window, sandbox / "Filme"},
             {{"."}, Command::window, sandbox.path()},
             {{"Filme/plan"}, Command::window, sandbox / "Filme/plan"},
             {{"/"}, Command::window, "/"},
             {{"doctor"}, Command::doctor, {}},
             {{"./doctor"}, Command::window, sandbox / "doctor"},
             {{"-openFolder", "Filme"}, Command::window, sandbox / "Filme", true},
             {{"--openFolder", "noch nicht da"}, Command::window, sandbox / "noch nicht da", true},
             {{"--demo", "Filme", "--snapshots", "Bilder"}, Command::demo, sandbox / "Filme"},
         }) {
        const Arguments arguments = parse(words);
        EXPECT_EQ(arguments.command, command) << folder;
        EXPECT_EQ(arguments.folder.native(), folder.native());
        EXPECT_EQ(arguments.usesTestSuite, usesTestSuite) << folder;
    }
    EXPECT_EQ(parse({"--demo", "Filme", "--snapshots", "Bilder"}).snapshots, sandbox / "Bilder");
    EXPECT_FALSE(parse({"--demo", "Filme", "--snapshots", "Bilder"}).isDark);
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
