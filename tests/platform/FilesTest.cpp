#include "platform/Files.h"

#include <gmock/gmock.h>

#include "platform/Cancelled.h"
#include "platform/Volume.h"
#include "support/Mounts.h"
#include "support/Sandbox.h"

namespace kestrel::test {

namespace {

using fs::path;
using testing::ElementsAre;
constexpr auto isTaken = std::errc::file_exists, isMissing = std::errc::no_such_file_or_directory;

template <typename Action>
std::error_code failureOf(const Action &action)
{
    try {
        action();
    } catch (const fs::filesystem_error &error) {
        return error.code();
    }
    return {};
}

std::error_code move(const path &from, const path &to)
{
    return failureOf([&] { Files::moveToFreeName(from, to); });
}

std::stop_token stopped()
{
    std::stop_source source;
    source.request_stop();
    return source.get_token();
}

class FilesTest : public testing::Test {
protected:
    const Sandbox sandbox;
    const path file = sandbox.write("Film.mkv", "neu");
};

} // namespace

// The file system of the tests; and two shares that know no rename that replaces nothing, of which the second
// knows no links either.
TEST_F(FilesTest, neverMovesOverAnything)
{
    for (const char *name : {"a", "b"})
        fs::create_directory(sandbox / name);
    const auto linking = Mount::share(sandbox / "a", sandbox / "nas");
    const auto linkless = Mount::sshfs(sandbox / "b", sandbox / "server", "disable_hardlink");
    for (const path &folder : {sandbox.path() / "local", sandbox / "nas", sandbox / "server"}) {
        SCOPED_TRACE(folder);
        const path film = sandbox.write(folder / "Film.mkv", "neu");
        sandbox.write(folder / "besetzt.mkv", "alt");
        fs::create_directory(folder / "Ordner.mkv");
        fs::create_symlink("nirgends", folder / "Link.mkv");
        for (const char *name : {"besetzt.mkv", "Ordner.mkv", "Link.mkv"})
            EXPECT_EQ(move(film, folder / name), isTaken) << name;
        EXPECT_EQ(move(folder / "fehlt", folder / "x"), isMissing);
        EXPECT_EQ(readFile(folder / "besetzt.mkv"), "alt");
        EXPECT_TRUE(fs::is_symlink(folder / "Link.mkv") && Files::exists(folder / "Link.mkv"));
        EXPECT_EQ(move(film, folder / "frei.mkv"), std::error_code());
        EXPECT_EQ(readFile(folder / "frei.mkv"), "neu");
        EXPECT_EQ(move(folder / "Ordner.mkv", folder / "Anderer"), std::error_code());
        EXPECT_THAT(names(folder), ElementsAre("Anderer", "Link.mkv", "besetzt.mkv", "frei.mkv"));
    }
    SKIP_WITHOUT(linking);
    SKIP_WITHOUT(linkless);
}

TEST_F(FilesTest, endsAMoveThatWasCutOffBetweenTwoNames)
{
    const path target = sandbox / "Ziel.mkv";
    fs::create_hard_link(file, target);
    EXPECT_TRUE(Files::areNamesOfOneFile(file, target));
    EXPECT_EQ(move(file, target), std::error_code());
    EXPECT_THAT(names(sandbox.path()), ElementsAre("Ziel.mkv"));
    EXPECT_EQ(readFile(target), "neu");

    // A link to a file, and a file under its own name, are no second names of it.
    fs::create_symlink("Ziel.mkv", sandbox / "Link.mkv");
    for (const path &name : {sandbox / "Link.mkv", target}) {
        EXPECT_FALSE(Files::areNamesOfOneFile(name, target));
        EXPECT_EQ(move(target, name), isTaken) << name;
        EXPECT_EQ(readFile(target), "neu");
    }
}

TEST_F(FilesTest, comparesEveryByte)
{
    const std::string content(9'000'000, 'x');
    sandbox.write("a", content);
    const auto isSame = [&](const std::string &other, std::stop_token stop = {}) {
        return Files::haveSameBytes(sandbox / "a", sandbox.write("b", other), std::move(stop));
    };
    EXPECT_TRUE(isSame(content));
    EXPECT_FALSE(isSame(content + "x"));
    EXPECT_FALSE(isSame(content.substr(1) + "y"));
    EXPECT_THROW(isSame(content, stopped()), Cancelled);
}

TEST_F(FilesTest, tellsVersionsOfAFileApart)
{
    const Files::Attributes first = Files::attributes(file);
    EXPECT_TRUE(first.sameVersion(Files::attributes(file)));
    EXPECT_TRUE(first.isRegular);

    sandbox.write("Film.mkv", "zwei!");
    Files::setModified(file, first.modified);
    EXPECT_FALSE(first.sameVersion(Files::attributes(file))) << "size";
    sandbox.write("Film.mkv", "alt");
    Files::setModified(file, {first.modified.tv_sec, (first.modified.tv_nsec + 1000) % 1'000'000'000});
    EXPECT_FALSE(first.sameVersion(Files::attributes(file))) << "time";
    Files::setModified(sandbox.write("anders", "neu"), first.modified);
    Files::moveOver(sandbox / "anders", file);
    EXPECT_FALSE(first.sameVersion(Files::attributes(file))) << "another file";
}

TEST_F(FilesTest, copiesTheContentOverAnOldFileUntilItIsStopped)
{
    const std::string content(5'000'000, 'x');
    const path source = sandbox.write("Quelle.mkv", content);
    const path target = sandbox.write("Kopie.mkv", std::string(6'000'000, 'y'));
    Files::copy(source, target, {});
    EXPECT_EQ(failureOf([&] { Files::copy(sandbox / "fehlt", target, {}); }), isMissing);
    EXPECT_TRUE(readFile(target) == content) << "an unreadable source has not emptied the target";
    EXPECT_THROW(Files::copy(source, sandbox / "halb.mkv", stopped()), Cancelled);
    EXPECT_EQ(readFile(sandbox / "halb.mkv"), "");
    EXPECT_TRUE(readFile(source) == content);
}

TEST_F(FilesTest, reportsAFullVolume)
{
    const auto mount = Mount::tmpfs(sandbox / "klein", 1 << 20);
    SKIP_WITHOUT(mount);
    EXPECT_EQ(Volume::freeBytes(sandbox / "klein"), 1 << 20);
    EXPECT_EQ(Volume::freeBytes(sandbox / "fehlt"), std::nullopt);
    sandbox.write("Film.mkv", std::string((1 << 20) + 1, 'x'));
    EXPECT_EQ(failureOf([&] { Files::copy(file, sandbox / "klein/Film.mkv", {}); }),
              std::errc::no_space_on_device);
}

TEST_F(FilesTest, replacesASmallFileAsAWhole)
{
    Files::writeAtomically(file, "erste, lange Fassung");
    Files::writeAtomically(file, "zweite");
    EXPECT_EQ(Files::readAll(file), "zweite");
    EXPECT_THAT(names(sandbox.path()), ElementsAre("Film.mkv"));

    // Where the new content cannot be prepared, the old one stays.
    fs::create_directory(sandbox / "Film.mkv.new");
    EXPECT_EQ(failureOf([&] { Files::writeAtomically(file, "dritte"); }), std::errc::is_a_directory);
    EXPECT_EQ(Files::readAll(file), "zweite");
}

TEST_F(FilesTest, comparesLocationsBySpelling)
{
    for (const auto &[given, expected] : {std::pair("/a/b", "/a/b"),
                                          {"/a/b/", "/a/b"},
                                          {"/a/./c/../b/.", "/a/b"},
                                          {"//a///b//", "/a/b"},
                                          {"/", "/"},
                                          {"/..", "/"}})
        EXPECT_EQ(Files::standardized(given).native(), expected) << given;
    EXPECT_EQ(Files::standardized("Filme/").native(), (fs::current_path() / "Filme").native());
}

} // namespace kestrel::test
