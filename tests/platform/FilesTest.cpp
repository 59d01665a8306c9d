#include "platform/Files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/Cancelled.h"
#include "platform/Volume.h"
#include "support/Mounts.h"
#include "support/Sandbox.h"

namespace kestrel {

namespace {

using test::readFile;
using test::Sandbox;
using test::fs::path;
using testing::ElementsAre;

template <typename Action>
std::error_code failureOf(const Action &action)
{
    try {
        action();
    } catch (const test::fs::filesystem_error &error) {
        return error.code();
    }
    return {};
}

} // namespace

TEST(Files, neverMovesOverAnything)
{
    const Sandbox sandbox;
    const auto file = sandbox.write("Film.mkv", "neu");
    sandbox.write("besetzt.mkv", "alt");
    test::fs::create_directory(sandbox / "Ordner.mkv");
    test::fs::create_symlink("nirgends", sandbox / "Link.mkv");
    for (const char *name : {"besetzt.mkv", "Ordner.mkv", "Link.mkv"})
        EXPECT_EQ(failureOf([&] { Files::moveToFreeName(file, sandbox / name); }), std::errc::file_exists)
            << name;
    EXPECT_EQ(readFile(sandbox / "besetzt.mkv"), "alt");
    EXPECT_TRUE(test::fs::is_symlink(sandbox / "Link.mkv") && Files::exists(sandbox / "Link.mkv"));

    Files::moveToFreeName(file, sandbox / "frei.mkv");
    EXPECT_EQ(readFile(sandbox / "frei.mkv"), "neu");
    EXPECT_FALSE(Files::exists(file));
}

// Neither of the two knows a rename that replaces nothing; the second one knows no links either.
TEST(Files, neverMovesOverAnythingOnAShare)
{
    const Sandbox sandbox;
    for (const char *name : {"a", "b"})
        test::fs::create_directory(sandbox / name);
    const auto linking = test::Mount::share(sandbox / "a", sandbox / "nas");
    SKIP_WITHOUT(linking);
    const auto linkless = test::Mount::sshfs(sandbox / "b", sandbox / "server", "disable_hardlink");
    SKIP_WITHOUT(linkless);
    for (const path &share : {sandbox / "nas", sandbox / "server"}) {
        const path file = sandbox.write(share / "Film.mkv", "neu"), other = share / "besetzt.mkv";
        sandbox.write(other, "alt");
        EXPECT_EQ(failureOf([&] { Files::moveToFreeName(file, other); }), std::errc::file_exists) << share;
        EXPECT_EQ(failureOf([&] { Files::moveToFreeName(share / "fehlt", share / "x"); }),
                  std::errc::no_such_file_or_directory)
            << share;
        EXPECT_EQ(readFile(other), "alt");
        Files::moveToFreeName(file, share / "frei.mkv");
        EXPECT_EQ(readFile(share / "frei.mkv"), "neu");
        test::fs::create_directory(share / "Ordner");
        Files::moveToFreeName(share / "Ordner", share / "Anderer");
        EXPECT_THAT(test::names(share), ElementsAre("Anderer", "besetzt.mkv", "frei.mkv"));
    }
}

TEST(Files, endsAMoveThatWasCutOffBetweenTwoNames)
{
    const Sandbox sandbox;
    const auto file = sandbox.write("Film.mkv", "neu");
    test::fs::create_hard_link(file, sandbox / "Ziel.mkv");
    EXPECT_TRUE(Files::areNamesOfOneFile(file, sandbox / "Ziel.mkv"));
    Files::moveToFreeName(file, sandbox / "Ziel.mkv");
    EXPECT_THAT(test::names(sandbox.path()), ElementsAre("Ziel.mkv"));
    EXPECT_EQ(readFile(sandbox / "Ziel.mkv"), "neu");

    // A link to a file, and a file under its own name, are no second names of it.
    test::fs::create_symlink("Ziel.mkv", sandbox / "Link.mkv");
    for (const path &name : {sandbox / "Link.mkv", sandbox / "Ziel.mkv"}) {
        EXPECT_FALSE(Files::areNamesOfOneFile(name, sandbox / "Ziel.mkv"));
        EXPECT_EQ(failureOf([&] { Files::moveToFreeName(sandbox / "Ziel.mkv", name); }),
                  std::errc::file_exists)
            << name;
        EXPECT_EQ(readFile(sandbox / "Ziel.mkv"), "neu");
    }
}

TEST(Files, comparesEveryByte)
{
    const Sandbox sandbox;
    const std::string content(9'000'000, 'x');
    const auto file = sandbox.write("a", content);
    EXPECT_TRUE(Files::haveSameBytes(file, sandbox.write("b", content), {}));
    EXPECT_FALSE(Files::haveSameBytes(file, sandbox.write("b", content + "x"), {}));
    EXPECT_FALSE(Files::haveSameBytes(file, sandbox.write("b", content.substr(1) + "y"), {}));
    std::stop_source stopped;
    stopped.request_stop();
    EXPECT_THROW(Files::haveSameBytes(file, file, stopped.get_token()), Cancelled);
}

TEST(Files, tellsVersionsOfAFileApart)
{
    const Sandbox sandbox;
    const auto file = sandbox.write("Film.mkv", "eins");
    const Files::Attributes first = Files::attributes(file);
    EXPECT_TRUE(first.sameVersion(Files::attributes(file)));
    EXPECT_TRUE(first.isRegular);

    sandbox.write("Film.mkv", "zwei!");
    Files::setModified(file, first.modified);
    EXPECT_FALSE(first.sameVersion(Files::attributes(file))) << "size";
    sandbox.write("Film.mkv", "drei");
    Files::setModified(file, {first.modified.tv_sec, (first.modified.tv_nsec + 1000) % 1'000'000'000});
    EXPECT_FALSE(first.sameVersion(Files::attributes(file))) << "time";
    sandbox.write("anders", "vier");
    Files::setModified(sandbox / "anders", first.modified);
    Files::moveOver(sandbox / "anders", file);
    EXPECT_FALSE(first.sameVersion(Files::attributes(file))) << "another file";
}

TEST(Files, copiesTheContentOverAnOldFile)
{
    const Sandbox sandbox;
    const std::string content(5'000'000, 'x');
    const auto source = sandbox.write("Film.mkv", content);
    const auto target = sandbox.write("Kopie.mkv", std::string(6'000'000, 'y'));
    Files::copy(source, target, {});
    EXPECT_TRUE(readFile(target) == content);
    EXPECT_EQ(failureOf([&] { Files::copy(sandbox / "fehlt", target, {}); }),
              std::errc::no_such_file_or_directory);
    EXPECT_TRUE(readFile(target) == content); // an unreadable source has not emptied the target
}

TEST(Files, stopsCopyingWhenAskedTo)
{
    const Sandbox sandbox;
    const auto source = sandbox.write("Film.mkv", "Inhalt");
    std::stop_source stopped;
    stopped.request_stop();
    EXPECT_THROW(Files::copy(source, sandbox / "Kopie.mkv", stopped.get_token()), Cancelled);
    EXPECT_EQ(readFile(sandbox / "Kopie.mkv"), "");
    EXPECT_EQ(readFile(source), "Inhalt");
}

TEST(Files, reportsAFullVolume)
{
    const Sandbox sandbox;
    const auto mount = test::Mount::tmpfs(sandbox / "klein", 1 << 20);
    SKIP_WITHOUT(mount);
    EXPECT_EQ(Volume::freeBytes(sandbox / "klein"), 1 << 20);
    const auto source = sandbox.write("Film.mkv", std::string((1 << 20) + 1, 'x'));
    EXPECT_EQ(failureOf([&] { Files::copy(source, sandbox / "klein/Film.mkv", {}); }),
              std::errc::no_space_on_device);
}

TEST(Files, replacesASmallFileAsAWhole)
{
    const Sandbox sandbox;
    const auto file = sandbox / "journal.json";
    Files::writeAtomically(file, "erste, lange Fassung");
    Files::writeAtomically(file, "zweite");
    EXPECT_EQ(Files::readAll(file), "zweite");
    EXPECT_THAT(test::names(sandbox.path()), ElementsAre("journal.json"));

    // Where the new content cannot be prepared, the old one stays.
    test::fs::create_directory(sandbox / "journal.json.new");
    EXPECT_EQ(failureOf([&] { Files::writeAtomically(file, "dritte"); }), std::errc::is_a_directory);
    EXPECT_EQ(Files::readAll(file), "zweite");
}

TEST(Files, comparesLocationsBySpelling)
{
    const struct {
        const char *path, *expected;
    } cases[] = {
        {"/a/b", "/a/b"},      {"/a/b/", "/a/b"}, {"/a/./c/../b/.", "/a/b"},
        {"//a///b//", "/a/b"}, {"/", "/"},        {"/..", "/"},
    };
    for (const auto &[given, expected] : cases)
        EXPECT_EQ(Files::standardized(given).native(), expected) << given;
    EXPECT_EQ(Files::standardized("Filme/").native(), (test::fs::current_path() / "Filme").native());
}

TEST(Volume, cannotTellTheSpaceWhereNothingIs)
{
    const Sandbox sandbox;
    EXPECT_GT(Volume::freeBytes(sandbox.path()).value_or(0), 0);
    EXPECT_EQ(Volume::freeBytes(sandbox / "fehlt"), std::nullopt);
}

} // namespace kestrel
