#include "platform/Trash.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Mounts.h"
#include "support/OrdinaryUser.h"
#include "support/Sandbox.h"

#include <unistd.h>

namespace kestrel {

namespace {

using test::names;
using test::readFile;
using test::Sandbox;
using test::fs::path;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

// The user's trash, empty before every test.
class HomeTrash : public testing::Test {
protected:
    HomeTrash() { test::fs::remove_all(can); }

    const path can = test::home() / ".local/share/Trash";
    const Sandbox sandbox;
};

// A volume of its own.
class VolumeTrash : public testing::Test {
protected:
    const Sandbox sandbox;
    const path volume = sandbox / "Platte";
    const test::Mount mount = test::Mount::tmpfs(volume, 1 << 20);
    const std::string user = std::to_string(::getuid());
};

} // namespace

TEST_F(HomeTrash, notesWhereTheFileWasAndWhen)
{
    const auto file = sandbox.write("Ordner ü/Film 100%.mkv", "Inhalt");
    EXPECT_EQ(Trash::put(file), can / "files/Film 100%.mkv");
    EXPECT_FALSE(test::fs::exists(file));
    EXPECT_EQ(readFile(can / "files/Film 100%.mkv"), "Inhalt");
    EXPECT_EQ(test::fs::status(can).permissions(), test::fs::perms::owner_all);
    EXPECT_THAT(readFile(can / "info/Film 100%.mkv.trashinfo"),
                MatchesRegex("\\[Trash Info\\]\nPath=" + sandbox.path().native() +
                             "/Ordner%20%C3%BC/Film%20100%25\\.mkv\n"
                             "DeletionDate=[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\n"));
}

TEST_F(HomeTrash, keepsFilesOfTheSameNameApart)
{
    for (const char *content : {"eins", "zwei", "drei"})
        Trash::put(sandbox.write("Film.mkv", content));
    EXPECT_THAT(names(can / "files"), ElementsAre("Film 2.mkv", "Film 3.mkv", "Film.mkv"));
    EXPECT_THAT(names(can / "info"),
                ElementsAre("Film 2.mkv.trashinfo", "Film 3.mkv.trashinfo", "Film.mkv.trashinfo"));
    EXPECT_EQ(readFile(can / "files/Film.mkv"), "eins");
    EXPECT_EQ(readFile(can / "files/Film 3.mkv"), "drei");
}

TEST_F(HomeTrash, passesOverNamesThatAreHalfTaken)
{
    Trash::put(sandbox.write("erste.mkv", ""));
    sandbox.write("Film.mkv", "neu");
    test::fs::create_directory(can / "files/Film.mkv");               // content without a note
    test::fs::create_symlink("x", can / "info/Film 2.mkv.trashinfo"); // a note without content
    EXPECT_EQ(Trash::put(sandbox / "Film.mkv"), can / "files/Film 3.mkv");
    EXPECT_THAT(names(can / "info"),
                ElementsAre("Film 2.mkv.trashinfo", "Film 3.mkv.trashinfo", "erste.mkv.trashinfo"));
}

TEST_F(HomeTrash, takesNamesThatAreNoUtf8)
{
    EXPECT_EQ(Trash::put(sandbox.write("Gr\xfc\xdf\x65.mkv", "")).native(),
              (can / "files/Gr\xfc\xdf\x65.mkv").native());
    EXPECT_THAT(readFile(can / "info/Gr\xfc\xdf\x65.mkv.trashinfo"), testing::HasSubstr("/Gr%FC%DFe.mkv\n"));
}

TEST_F(HomeTrash, takesTheLongestNames)
{
    std::string name;
    while (name.size() < 250)
        name += "ü";
    const path target = Trash::put(sandbox.write(name + ".mkv", "lang"));
    EXPECT_EQ(readFile(target), "lang");
    EXPECT_TRUE(target.native().ends_with("ü.mkv"));
    EXPECT_TRUE(test::fs::exists(can / "info" / (target.filename().native() + ".trashinfo")));
}

TEST_F(HomeTrash, takesALinkAndNotWhatItPointsTo)
{
    const auto film = sandbox.write("Film.mkv", "Inhalt");
    test::fs::create_symlink(film, sandbox / "Link.mkv");
    EXPECT_TRUE(test::fs::is_symlink(Trash::put(sandbox / "Link.mkv")));
    EXPECT_EQ(readFile(film), "Inhalt");
}

TEST_F(HomeTrash, saysWhatIsWrongWithTheFile)
{
    try {
        Trash::put(sandbox / "fehlt.mkv");
        FAIL();
    } catch (const test::fs::filesystem_error &error) {
        EXPECT_EQ(error.code(), std::errc::no_such_file_or_directory);
        EXPECT_EQ(error.path1(), sandbox / "fehlt.mkv");
    }
}

TEST_F(VolumeTrash, keepsTheFileOnItsVolume)
{
    SKIP_WITHOUT(mount);
    const auto file = sandbox.write("Platte/Serie/Folge 1.mkv", "Inhalt");
    const path can = volume / (".Trash-" + user);
    EXPECT_EQ(Trash::put(file), can / "files/Folge 1.mkv");
    EXPECT_EQ(readFile(can / "files/Folge 1.mkv"), "Inhalt");
    EXPECT_THAT(readFile(can / "info/Folge 1.mkv.trashinfo"),
                testing::HasSubstr("\nPath=Serie/Folge%201.mkv\n"));
}

TEST_F(VolumeTrash, usesTheSharedFolderOnlyWhenItIsSafe)
{
    SKIP_WITHOUT(mount);
    using test::fs::perms;
    test::fs::create_directory(volume / ".Trash");
    test::fs::permissions(volume / ".Trash", perms::all);
    EXPECT_EQ(Trash::put(sandbox.write("Platte/a.mkv", "")), volume / (".Trash-" + user) / "files/a.mkv");
    test::fs::permissions(volume / ".Trash", perms::all | perms::sticky_bit);
    EXPECT_EQ(Trash::put(sandbox.write("Platte/b.mkv", "")), volume / ".Trash" / user / "files/b.mkv");
}

TEST_F(VolumeTrash, leavesTheFileWhereNothingCanBeMoved)
{
    SKIP_WITHOUT(mount);
    const auto file = sandbox.write("Platte/Film.mkv", "Inhalt");
    ASSERT_TRUE(mount.makeReadOnly());
    try {
        Trash::put(file);
        FAIL();
    } catch (const test::fs::filesystem_error &error) {
        EXPECT_EQ(error.code(), std::errc::read_only_file_system);
    }
    EXPECT_EQ(readFile(file), "Inhalt");
}

TEST_F(VolumeTrash, leavesTheFileWhereTheTrashIsNoFolderOfTheUsers)
{
    SKIP_WITHOUT(mount);
    const auto file = sandbox.write("Platte/Film.mkv", "Inhalt");
    test::fs::create_directory(volume / "fremd");
    test::fs::create_directory_symlink("fremd", volume / (".Trash-" + user));
    EXPECT_THROW(Trash::put(file), test::fs::filesystem_error);
    EXPECT_EQ(readFile(file), "Inhalt");
    EXPECT_THAT(names(volume / "fremd"), IsEmpty());
}

// What put() cannot do is known beforehand, and looking changes nothing.
class TrashObstacle : public VolumeTrash {
protected:
    using Kind = Trash::Obstacle::Kind;

    static std::optional<Kind> kindOf(const path &file)
    {
        const auto found = Trash::obstacle(file);
        return found ? std::optional(found->kind) : std::nullopt;
    }
    // The obstacle's number, and whether the file went to the trash all the same.
    static std::string lookedAtAndPut(const path &file)
    {
        const auto found = kindOf(file);
        bool isMoved = true;
        try {
            Trash::put(file);
        } catch (const test::fs::filesystem_error &) {
            isMoved = false;
        }
        return (found ? std::to_string(static_cast<int>(*found)) : "none") + (isMoved ? " moved" : " stayed");
    }
    static std::string stays(Kind kind) { return std::to_string(static_cast<int>(kind)) + " stayed"; }

    const path film = sandbox.write("Platte/Serie/Film.mkv", "Inhalt");
    const path folder = volume / "Serie";
};

TEST_F(TrashObstacle, noneWhereTheFileGoes)
{
    SKIP_WITHOUT(mount);
    EXPECT_EQ(kindOf(film), std::nullopt);
    EXPECT_THAT(names(volume), ElementsAre("Serie")) << "looking makes no trash";
    EXPECT_EQ(lookedAtAndPut(film), "none moved");
    EXPECT_EQ(lookedAtAndPut(sandbox.write("zu Hause.mkv", "")), "none moved");
    EXPECT_THROW(Trash::obstacle(film), test::fs::filesystem_error) << "it has gone";
}

TEST_F(TrashObstacle, isAFileOrFolderThatIsLocked)
{
    SKIP_WITHOUT(mount);
    const auto withAttribute = [](const char *flag, const path &what, const path &file) {
        if (!test::shell(std::string("chattr +") + flag + " " + test::quoted(what) + " 2>/dev/null"))
            return std::string("cannot be tried");
        const std::string said = lookedAtAndPut(file);
        test::shell(std::string("chattr -") + flag + " " + test::quoted(what));
        return said;
    };
    const path home = sandbox.write("zu Hause/Film.mkv", "");
    for (const path &file : {film, home}) {
        if (withAttribute("i", file, file) == "cannot be tried")
            GTEST_SKIP() << "chattr needs root and a file system that knows it";
        for (const char *flag : {"i", "a"}) {
            EXPECT_EQ(withAttribute(flag, file, file), stays(Kind::lockedFile)) << flag << file;
            EXPECT_EQ(withAttribute(flag, file.parent_path(), file), stays(Kind::lockedFolder)) << flag;
        }
    }
}

TEST_F(TrashObstacle, isAFolderThatCannotBeChanged)
{
    SKIP_WITHOUT(mount);
    ASSERT_TRUE(mount.makeReadOnly());
    EXPECT_EQ(lookedAtAndPut(film), stays(Kind::folder));
    EXPECT_EQ(Trash::obstacle(film)->reason, std::errc::read_only_file_system);
}

TEST_F(TrashObstacle, isATrashThatIsNoFolderOfTheUsers)
{
    SKIP_WITHOUT(mount);
    test::fs::create_directory(volume / "fremd");
    test::fs::create_directory_symlink("fremd", volume / (".Trash-" + user));
    EXPECT_EQ(lookedAtAndPut(film), stays(Kind::trash));
}

TEST_F(TrashObstacle, isWhatAnOrdinaryUserMayNotDo)
{
    SKIP_WITHOUT(mount);
    SKIP_UNLESS_ROOT();
    using test::fs::perms;
    const auto said = [&] { return test::asOrdinaryUser([&] { return lookedAtAndPut(film); }); };
    test::openWayTo(sandbox.path());
    test::fs::permissions(volume, perms(0755));

    EXPECT_EQ(said(), stays(Kind::folder));
    test::fs::permissions(folder, perms(01777));
    EXPECT_EQ(said(), stays(Kind::anothersFile));
    ASSERT_EQ(::chown(film.c_str(), test::ordinaryUser, 0), 0);
    EXPECT_EQ(said(), stays(Kind::trash)) << "nothing may be made at the volume's root";
    test::fs::permissions(volume, perms(0777));
    EXPECT_EQ(said(), "none moved");
}

TEST_F(HomeTrash, aDeviceMountedTwiceIsTwoVolumes)
{
    const auto mount = test::Mount::bind(sandbox.path(), sandbox / "noch einmal");
    SKIP_WITHOUT(mount);
    sandbox.write("Film.mkv", "Inhalt");
    const path file = sandbox / "noch einmal/Film.mkv";
    EXPECT_EQ(Trash::obstacle(file), std::nullopt);
    EXPECT_EQ(Trash::put(file),
              sandbox / ("noch einmal/.Trash-" + std::to_string(::getuid())) / "files/Film.mkv");
}

} // namespace kestrel
