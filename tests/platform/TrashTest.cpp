#include "platform/Trash.h"

#include <gmock/gmock.h>

#include "support/Mounts.h"
#include "support/OrdinaryUser.h"
#include "support/Sandbox.h"

#include <unistd.h>

namespace kestrel::test {

namespace {

using fs::path;
using fs::perms;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// The user's trash, empty before every test.
class HomeTrash : public testing::Test {
protected:
    HomeTrash() { fs::remove_all(can); }

    const path can = home() / ".local/share/Trash";
    const Sandbox sandbox;
};

// A volume of its own, with a film.
class VolumeTrash : public testing::Test {
protected:
    using Kind = Trash::Obstacle::Kind;

    void SetUp() override
    {
        SKIP_WITHOUT(mount);
        film = sandbox.write("Platte/Serie/Folge 1.mkv", "Inhalt");
    }
    // Whether the file went to the trash; or the obstacle's number, the error, and whether the file stayed.
    static std::string lookedAtAndPut(const path &file)
    {
        const auto found = Trash::obstacle(file);
        try {
            Trash::put(file);
            return found ? "an obstacle and yet moved" : "moved";
        } catch (const fs::filesystem_error &) {
            return found && fs::exists(file) ? stays(found->kind) : "failed";
        }
    }
    static std::string stays(Kind kind) { return "stays for " + std::to_string(static_cast<int>(kind)); }

    const Sandbox sandbox;
    const path volume = sandbox / "Platte";
    const Mount mount = Mount::tmpfs(volume, 1 << 20);
    const std::string user = std::to_string(::getuid());
    path film;
};

} // namespace

TEST_F(HomeTrash, notesWhereTheFileWasAndWhen)
{
    const auto file = sandbox.write("Ordner ü/Film 100%.mkv", "Inhalt");
    EXPECT_EQ(Trash::put(file), can / "files/Film 100%.mkv");
    EXPECT_FALSE(fs::exists(file));
    EXPECT_EQ(readFile(can / "files/Film 100%.mkv"), "Inhalt");
    EXPECT_EQ(fs::status(can).permissions(), perms::owner_all);
    EXPECT_THAT(
        readFile(can / "info/Film 100%.mkv.trashinfo"),
        testing::MatchesRegex("\\[Trash Info\\]\nPath=" + sandbox.path().native() +
                              "/Ordner%20%C3%BC/Film%20100%25\\.mkv\n"
                              "DeletionDate=[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\n"));
}

TEST_F(HomeTrash, keepsFilesOfTheSameNameApart)
{
    for (const char *content : {"eins", "zwei"})
        Trash::put(sandbox.write("Film.mkv", content));
    fs::create_directory(can / "files/Film 3.mkv");             // content without a note
    fs::create_symlink("x", can / "info/Film 4.mkv.trashinfo"); // a note without content
    EXPECT_EQ(Trash::put(sandbox.write("Film.mkv", "drei")), can / "files/Film 5.mkv");
    EXPECT_THAT(names(can / "info"), ElementsAre("Film 2.mkv.trashinfo", "Film 4.mkv.trashinfo",
                                                 "Film 5.mkv.trashinfo", "Film.mkv.trashinfo"));
    EXPECT_EQ(readFile(can / "files/Film.mkv"), "eins");
    EXPECT_EQ(readFile(can / "files/Film 2.mkv"), "zwei");
    EXPECT_EQ(readFile(can / "files/Film 5.mkv"), "drei");
}

TEST_F(HomeTrash, takesNamesOfAnyBytesAndTheLongest)
{
    EXPECT_EQ(Trash::put(sandbox.write("Gr\xfc\xdf\x65.mkv", "")).native(),
              (can / "files/Gr\xfc\xdf\x65.mkv").native());
    EXPECT_THAT(readFile(can / "info/Gr\xfc\xdf\x65.mkv.trashinfo"), HasSubstr("/Gr%FC%DFe.mkv\n"));
    std::string name;
    while (name.size() < 250)
        name += "ü";
    const path target = Trash::put(sandbox.write(name + ".mkv", "lang"));
    EXPECT_EQ(readFile(target), "lang");
    EXPECT_TRUE(target.native().ends_with("ü.mkv"));
    EXPECT_TRUE(fs::exists(can / "info" / (target.filename().native() + ".trashinfo")));
}

TEST_F(HomeTrash, takesALinkAndNotWhatItPointsTo)
{
    const auto film = sandbox.write("Film.mkv", "Inhalt");
    fs::create_symlink(film, sandbox / "Link.mkv");
    EXPECT_TRUE(fs::is_symlink(Trash::put(sandbox / "Link.mkv")));
    EXPECT_EQ(readFile(film), "Inhalt");
}

TEST_F(HomeTrash, saysWhatIsWrongWithTheFile)
{
    try {
        Trash::put(sandbox / "fehlt.mkv");
        FAIL();
    } catch (const fs::filesystem_error &error) {
        EXPECT_EQ(error.code(), std::errc::no_such_file_or_directory);
        EXPECT_EQ(error.path1(), sandbox / "fehlt.mkv");
    }
}

TEST_F(HomeTrash, aDeviceMountedTwiceIsTwoVolumes)
{
    const auto mount = Mount::bind(sandbox.path(), sandbox / "noch einmal");
    SKIP_WITHOUT(mount);
    sandbox.write("Film.mkv", "Inhalt");
    const path file = sandbox / "noch einmal/Film.mkv";
    EXPECT_EQ(Trash::obstacle(file), std::nullopt);
    EXPECT_EQ(Trash::put(file),
              sandbox / ("noch einmal/.Trash-" + std::to_string(::getuid())) / "files/Film.mkv");
}

TEST_F(VolumeTrash, keepsTheFileOnItsVolume)
{
    const path can = volume / (".Trash-" + user);
    EXPECT_EQ(Trash::obstacle(film), std::nullopt);
    EXPECT_THAT(names(volume), ElementsAre("Serie")) << "looking makes no trash";
    EXPECT_EQ(Trash::put(film), can / "files/Folge 1.mkv");
    EXPECT_EQ(readFile(can / "files/Folge 1.mkv"), "Inhalt");
    EXPECT_THAT(readFile(can / "info/Folge 1.mkv.trashinfo"), HasSubstr("\nPath=Serie/Folge%201.mkv\n"));
    EXPECT_THROW(Trash::obstacle(film), fs::filesystem_error) << "it has gone";
    EXPECT_EQ(lookedAtAndPut(sandbox.write("zu Hause.mkv", "")), "moved");
}

TEST_F(VolumeTrash, usesTheSharedFolderOnlyWhenItIsSafe)
{
    fs::create_directory(volume / ".Trash");
    fs::permissions(volume / ".Trash", perms::all);
    EXPECT_EQ(Trash::put(sandbox.write("Platte/a.mkv", "")), volume / (".Trash-" + user) / "files/a.mkv");
    fs::permissions(volume / ".Trash", perms::all | perms::sticky_bit);
    EXPECT_EQ(Trash::put(sandbox.write("Platte/b.mkv", "")), volume / ".Trash" / user / "files/b.mkv");
}

// What put() cannot do is known beforehand, and the file stays.
TEST_F(VolumeTrash, leavesAFileOrFolderThatIsLocked)
{
    const auto withAttribute = [](const char *flag, const path &what, const path &file) {
        if (!shell(std::string("chattr +") + flag + " " + quoted(what) + " 2>/dev/null"))
            return std::string("cannot be tried");
        const std::string said = lookedAtAndPut(file);
        shell(std::string("chattr -") + flag + " " + quoted(what));
        return said;
    };
    for (const path &file : {film, sandbox.write("zu Hause/Film.mkv", "")}) {
        if (withAttribute("i", file, file) == "cannot be tried")
            GTEST_SKIP() << "chattr needs root and a file system that knows it";
        for (const char *flag : {"i", "a"}) {
            EXPECT_EQ(withAttribute(flag, file, file), stays(Kind::lockedFile)) << flag << file;
            EXPECT_EQ(withAttribute(flag, file.parent_path(), file), stays(Kind::lockedFolder)) << flag;
        }
    }
}

TEST_F(VolumeTrash, leavesTheFileWhereNothingCanBeMoved)
{
    ASSERT_TRUE(mount.makeReadOnly());
    EXPECT_EQ(Trash::obstacle(film)->reason, std::errc::read_only_file_system);
    EXPECT_EQ(lookedAtAndPut(film), stays(Kind::folder));
    try {
        Trash::put(film);
        FAIL();
    } catch (const fs::filesystem_error &error) {
        EXPECT_EQ(error.code(), std::errc::read_only_file_system);
    }
}

TEST_F(VolumeTrash, leavesTheFileWhereTheTrashIsNoFolderOfTheUsers)
{
    fs::create_directory(volume / "fremd");
    fs::create_directory_symlink("fremd", volume / (".Trash-" + user));
    EXPECT_EQ(lookedAtAndPut(film), stays(Kind::trash));
    EXPECT_THAT(names(volume / "fremd"), IsEmpty());
}

TEST_F(VolumeTrash, leavesWhatAnOrdinaryUserMayNotMove)
{
    SKIP_UNLESS_ROOT();
    const auto said = [&] { return asOrdinaryUser([&] { return lookedAtAndPut(film); }); };
    openWayTo(sandbox.path());
    fs::permissions(volume, perms(0755));
    EXPECT_EQ(said(), stays(Kind::folder));
    fs::permissions(film.parent_path(), perms(01777));
    EXPECT_EQ(said(), stays(Kind::anothersFile));
    ASSERT_EQ(::chown(film.c_str(), ordinaryUser, 0), 0);
    EXPECT_EQ(said(), stays(Kind::trash)) << "nothing may be made at the volume's root";
    fs::permissions(volume, perms(0777));
    EXPECT_EQ(said(), "moved");
}

} // namespace kestrel::test
